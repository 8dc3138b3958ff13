// Reception of result-bearing replies: the letters, field descriptions, every wire form of a
// value, messages between rows, row-id prefixes, batches, and streams that break off or lie.
#include <gtest/gtest.h>

#include <tuple>

#include "connection/wire.h"
#include "result_wire.h"
#include "results/field_access.h"

namespace {
// The stored bytes of field i of the current row, and `behind` bytes after them.
std::string stored(const ResultRecord* result, int32_t i, int32_t behind = 0) {
  int32_t len = 0;
  const uint8_t* v = field_bytes(result->current_row, result->fields, i, &len);
  return v ? std::string(reinterpret_cast<const char*>(v), len + behind) : std::string("<null>");
}

std::string slot(const ResultRecord* result, int32_t i, size_t width) {
  return std::string(reinterpret_cast<const char*>(result->current_row) + ROW_HEADER_SIZE + result->fields[i].offset,
                     width);
}

// The chain as text: each record's kind letter, its count (of rows for A) and its row id.
std::string chain(const ResultRecord* rec) {
  std::string out;
  for (; rec; rec = rec->next)
    out += std::string(1, " IUDA"[rec->result_kind]) +
           std::to_string(rec->result_kind == RK_ROWS ? rec->row_count : rec->effect_count) + rec->row_id + " ";
  return out;
}

ResultRecord* const kUntouched = reinterpret_cast<ResultRecord*>(0x1234);
const std::string kHead = result_head({field_desc("N", TC_INTEGER)});
}  // namespace

TEST(ResultReception, EveryTypeCodeOnTheWire) {
  Received r(every_type_reply());
  ASSERT_NE(nullptr, r.result);
  EXPECT_EQ(1, r.status);
  for (int32_t i = 0; i < 65; i++) {
    SCOPED_TRACE(every_type(i));
    std::string want = sample_value(every_type(i)).second;
    bool counted = wire_form(every_type(i)) == 'v';
    EXPECT_FALSE(field_is_null(r.result->current_row, i));
    EXPECT_EQ(counted, field_is_ref(r.result->current_row, i));
    // Counted values lie in the arena with a zero behind them.
    EXPECT_EQ(counted ? want + '\0' : want, counted ? stored(r.result, i, 1) : slot(r.result, i, want.size()));
  }
}

TEST(ResultReception, NullsAndLengthsOfFixedTypes) {
  // d_len is only tested against 1 for fixed types: 3 still reads an INTEGER's four bytes. d_len 0
  // or below is null, for CHAR too, with nothing behind it. Large values take areas of their own.
  std::string big(100000, 'b');
  big[99999] = 'e';
  Received r(result_head({field_desc("I", TC_INTEGER), field_desc("B", TC_BIGINT), field_desc("S", TC_CHAR),
                          field_desc("N", TC_BLOB)}) +
             "R" + be32(3) + be32(77) + be32(1) + be64(-5) + be32(0) + be32(-7) + "R" + null_field() +
             null_field() + wire_str(big) + wire_str(std::string(40000, 'm')) + "K");
  ASSERT_NE(nullptr, r.result);
  EXPECT_EQ(2, r.status);
  EXPECT_EQ(host_bytes<int32_t>(77), slot(r.result, 0, 4));
  EXPECT_EQ(host_bytes<int64_t>(-5), slot(r.result, 1, 8));
  EXPECT_EQ("<null>", stored(r.result, 2));
  EXPECT_EQ("<null>", stored(r.result, 3));
  ASSERT_EQ(0, next_row(r.result));
  EXPECT_EQ("<null>", stored(r.result, 0));
  EXPECT_EQ("<null>", stored(r.result, 1));
  EXPECT_EQ(big, stored(r.result, 2));
  EXPECT_EQ(std::string(40000, 'm'), stored(r.result, 3));
}

TEST(ResultReception, FieldDescriptions) {
  Received r(result_head({field_desc("T.C%A", TC_INTEGER, 10, 3), field_desc("C", TC_NUMERIC), field_desc("S.T.C", 4),
                          field_desc("C%A.B", TC_BOOL), field_desc(".X%", TC_DOUBLE)}) +
             "K");
  ASSERT_NE(nullptr, r.result);
  EXPECT_EQ(0, r.status);
  std::string parts;  // table|name|alias, "-" for none
  for (int i = 0; i < 5; i++) {
    const char* p[] = {r.result->fields[i].table, r.result->fields[i].name, r.result->fields[i].alias};
    for (int j = 0; j < 3; j++) parts += std::string(p[j] ? p[j] : "-") + (j < 2 ? "|" : " ");
  }
  EXPECT_EQ("T|C|A -|C|- S|T.C|- -|C|A.B |X| ", parts);
  const FieldDesc& f = r.result->fields[0];
  EXPECT_EQ((std::vector<int32_t>{TC_INTEGER, 5, 10, 3}), (std::vector<int32_t>{f.type, f.ctype, f.size, f.detail}));
  EXPECT_EQ(nullptr, r.result->row_table);  // a select without rows leaves the row storage unmade
  EXPECT_EQ(r.peer.conn, r.result->conn);
}

TEST(ResultReception, MessagesBetweenRowsAreJoined) {
  Received r(kHead + "R" + int_field(1) + "M" + wire_str("first ") + "W" + wire_str("second ") + "R" + int_field(2) +
             "E" + wire_str("third") + "F" + wire_str("!") + "R" + int_field(3) + "K");
  ASSERT_NE(nullptr, r.result);
  EXPECT_EQ(3, r.status);  // server errors among rows change no return code
  EXPECT_EQ(3, r.result->row_count);
  EXPECT_STREQ("first second third!", r.result->message);
  EXPECT_EQ(nullptr, r.peer.conn->error_text);

  // Texts join up to 1 MiB; the texts behind that are read and dropped, and the rows go on.
  std::string many = kHead + "R" + int_field(1);
  for (int i = 0; i < 120000; i++) many += "M" + wire_str(std::to_string(10000000 + i) + "|");
  Received flood(many + "R" + int_field(2) + "K");
  ASSERT_NE(nullptr, flood.result);
  EXPECT_EQ(2, flood.result->row_count);
  void* handle = flood.result;
  const int32_t kept = (1024 * 1024 - 1) / 9;  // whole texts of 9 bytes that fit with the NUL
  ASSERT_EQ(kept * 9, ZVC_GetErrorLength(&handle));
  EXPECT_EQ("10000000|10000001|", std::string(flood.result->message, 18));
  EXPECT_EQ(std::to_string(10000000 + kept - 1) + "|", std::string(flood.result->message + (kept - 1) * 9, 9));
}

TEST(ResultReception, LettersOfAReply) {
  // Records in arrival order; the head counts the inserts; the status is that of the last rows batch.
  Received ins("I" + wire_str("r1") + "I" + wire_str("r2") + "K");
  EXPECT_EQ(0, ins.status);
  EXPECT_EQ("I2r1 I0r2 ", chain(ins.result));
  EXPECT_STREQ("r2", ins.peer.conn->last_rowid);
  EXPECT_EQ(1, ins.peer.conn->rowid_valid);
  Received mixed("U" + be32(3) + kHead + int_rows(2) + "D" + be32(7) + "I" + wire_str("r9") + "K");
  EXPECT_EQ(2, mixed.status);
  EXPECT_EQ("U4 A2 D7 I0r9 ", chain(mixed.result));
  EXPECT_EQ(nullptr, mixed.result->conn);  // only row results name their connection

  // An error ends with -1 and no chain.
  Received err("E" + wire_str("bad thing") + "K");
  EXPECT_EQ(-1, err.status);
  EXPECT_EQ(nullptr, err.result);
  EXPECT_STREQ("bad thing", err.peer.conn->error_text);

  // Texts alone: a later W or M sets the status back to 0, and the last text is the one kept.
  Received texts("E" + wire_str("e1") + "W" + wire_str("w1") + "M" + wire_str("m1") + "K");
  EXPECT_EQ(0, texts.status);
  EXPECT_EQ(nullptr, texts.result);
  EXPECT_STREQ("m1", texts.peer.conn->error_text);

  // An unknown letter ends the reply like K; it is consumed.
  Received odd("U" + be32(4) + "?" + "K");
  EXPECT_EQ(0, odd.status);
  EXPECT_EQ("U4 ", chain(odd.result));
  char next = 0;
  ASSERT_EQ(1, recv_char(odd.peer.conn, &next));
  EXPECT_EQ('K', next);
}

TEST(ResultReception, RowIdsAndRowPrefixes) {
  // A "*" row carries a prefix into bytes 4 to 23 of the row; a longer one is cut to 20 bytes and
  // the stream stays in step.
  Received r(kHead + "*" + wire_str("ABC") + int_field(5) + "*" + wire_str(std::string(25, 'p')) + int_field(6) +
             "R" + int_field(7) + "K");
  ASSERT_NE(nullptr, r.result);
  EXPECT_EQ(3, r.status);
  EXPECT_EQ(std::string("\0\0\0\0ABC\0", 8), std::string(reinterpret_cast<char*>(r.result->current_row), 8));
  ASSERT_EQ(0, next_row(r.result));
  EXPECT_EQ(std::string(20, 'p'), std::string(reinterpret_cast<char*>(r.result->current_row) + 4, 20));
  EXPECT_EQ(host_bytes<int32_t>(6), slot(r.result, 0, 4));
  ASSERT_EQ(0, next_row(r.result));
  EXPECT_EQ(host_bytes<int32_t>(7), slot(r.result, 0, 4));

  // A row id over 31 bytes keeps 31 of them, and reading goes on.
  Received ins("I" + wire_str(std::string(40, 'i')) + "U" + be32(2) + "K");
  EXPECT_EQ("I1" + std::string(31, 'i') + " U2 ", chain(ins.result));
  EXPECT_EQ(std::string(31, 'i'), ins.peer.conn->last_rowid);
}

TEST(ResultReception, RowsComeInBatches) {
  // An exact multiple of 20000 takes one further batch that brings none.
  Received even(kHead + int_rows(20000) + "K");
  EXPECT_EQ(0, even.status);
  EXPECT_EQ(20000, even.result->row_count);
  Received more(kHead + int_rows(20001) + "K");
  EXPECT_EQ(1, more.status);
  more.result->row_cursor = 20000;
  ASSERT_EQ(0, next_row(more.result));
  EXPECT_EQ(host_bytes<int32_t>(20000), slot(more.result, 0, 4));

  // recv_rows_200 stops at 200; the letter that ends the rows goes back to the caller.
  StreamPeer peer(kHead + int_rows(250) + "U");
  ResultRecord* result = static_cast<ResultRecord*>(calloc(1, sizeof(ResultRecord)));
  result->kind = HT_RESULT;
  char letter = 0;
  ASSERT_EQ(1, recv_char(peer.conn, &letter));
  ASSERT_EQ(0, read_field_descs(peer.conn, result));
  EXPECT_EQ(200, recv_rows_200(peer.conn, result));
  EXPECT_EQ(50, recv_rows_200(peer.conn, result));
  EXPECT_EQ(250, result->row_count);
  EXPECT_EQ('U', peer.conn->pushback);
  free_result(result);
}

TEST(ResultReception, RecvResultAllFillsOneRecord) {
  // An error before the rows is overruled by their count; a message behind them joins the record's.
  StreamPeer peer("E" + wire_str("early") + kHead + int_rows(3) + "M" + wire_str("hi") + "K");
  ResultRecord* result = nullptr;
  EXPECT_EQ(3, recv_result_all(peer.conn, &result));
  ASSERT_NE(nullptr, result);
  EXPECT_EQ(3, result->row_count);
  EXPECT_STREQ("hi", result->message);
  EXPECT_STREQ("early", peer.conn->error_text);
  EXPECT_EQ(peer.conn, result->conn);
  free_result(result);

  // A second A replaces the descriptions and rows of the first; U is no letter of this reply.
  StreamPeer twice(kHead + int_rows(3) + result_head({field_desc("A", TC_CHAR), field_desc("B", TC_CHAR)}) + "R" +
                   wire_str("x") + wire_str("y") + "U" + be32(1) + "K");
  result = nullptr;
  EXPECT_EQ(1, recv_result_all(twice.conn, &result));
  ASSERT_NE(nullptr, result);
  EXPECT_EQ(1, result->row_count);
  ASSERT_EQ(0, next_row(result));
  EXPECT_EQ("y", stored(result, 1));
  free_result(result);
}

TEST(ResultReception, BrokenAndHostileStreamsFailCleanly) {
  const std::string head = result_head({field_desc("N", TC_INTEGER), field_desc("S", TC_CHAR)});
  // The codes of recv_result and of recv_result_all, for which U, D and I end the reply at once.
  const std::tuple<const char*, std::string, int32_t, int32_t> cases[] = {
      {"nothing", "", -4, -4},
      {"row cut in a value", head + "R" + int_field(1) + be32(5) + "ab", -4, -4},
      {"records then a cut", "U" + be32(1) + "I" + wire_str("x") + head + "R", -4, 0},
      {"huge row id length", "I" + be32(0x7fffffff) + "K", -4, 0},
      {"negative prefix length", head + "*" + be32(-2) + int_field(1) + wire_str("a") + "K", -4, -4},
      {"value of 2 GB", head + "R" + int_field(1) + be32(0x7fffffff) + "K", -4, -4},
      {"4001 columns", "A" + be32(4001) + "K", -4, -4},
      {"negative name length", "A" + be32(1) + be32(-3) + "K", -4, -4},
  };
  for (const auto& [what, reply, code, all_code] : cases) {
    SCOPED_TRACE(what);
    StreamPeer peer(reply), again(reply);
    ResultRecord* result = kUntouched;
    EXPECT_EQ(code, recv_result(peer.conn, &result));
    EXPECT_EQ(kUntouched, result);  // nothing reaches the caller; what was built is freed
    EXPECT_EQ(all_code, recv_result_all(again.conn, &result));
    EXPECT_EQ(all_code < 0 ? kUntouched : nullptr, result);
  }
}
