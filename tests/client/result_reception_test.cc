// Reception of result-bearing replies: the letters, field descriptions, every wire form of a
// value, messages between rows, row-id prefixes, batches, and streams that break off or lie.
#include <gtest/gtest.h>

#include <cstdlib>

#include "connection/client_text.h"
#include "connection/wire.h"
#include "result_wire.h"
#include "results/field_access.h"

namespace {
// The stored bytes of field i of the current row.
std::string stored(const ResultRecord* result, int32_t i) {
  int32_t len = 0;
  const uint8_t* v = field_bytes(result->current_row, result->fields, i, &len);
  return v ? std::string(reinterpret_cast<const char*>(v), len) : std::string("<null>");
}

template <typename T>
T slot_value(const ResultRecord* result, int32_t i) {
  T v;
  memcpy(&v, result->current_row + ROW_HEADER_SIZE + result->fields[i].offset, sizeof v);
  return v;
}

ResultRecord* const kUntouched = reinterpret_cast<ResultRecord*>(0x1234);
}  // namespace

TEST(ResultReception, EveryTypeCodeOnTheWire) {
  // Codes 1 to 64 and an array, each with a value of its wire form.
  std::vector<std::string> descs;
  std::string row = "R";
  std::vector<int32_t> types;
  for (int32_t t = 1; t <= 64; t++) types.push_back(t);
  types.push_back(10005);
  for (int32_t t : types) {
    descs.push_back(field_desc("C" + std::to_string(t), t));
    int32_t width = type_slot_width(t);
    if (t == TC_FLOAT)
      row += float_field(-2.5f);
    else if (t == TC_DOUBLE)
      row += double_field(6.25);
    else if (width == 1)
      row += byte_field(static_cast<char>(0xF0 + t));
    else if (width == 2)
      row += i16_field(-1000 - t);
    else if (width == 4)
      row += int_field(-100000 - t);
    else if (width == 8)
      row += i64_field(-10000000000LL - t);
    else
      row += wire_str("v" + std::to_string(t));
  }
  Received r(result_head(descs) + row + "K");
  ASSERT_NE(nullptr, r.result);
  EXPECT_EQ(1, r.status);
  EXPECT_EQ(1, r.result->row_count);
  EXPECT_EQ(65, r.result->field_count);
  for (int32_t i = 0; i < 65; i++) {
    int32_t t = types[i];
    SCOPED_TRACE(t);
    EXPECT_FALSE(field_is_null(r.result->current_row, i));
    int32_t width = type_slot_width(t);
    EXPECT_EQ(width == 16, field_is_ref(r.result->current_row, i));
    if (t == TC_FLOAT)
      EXPECT_EQ(-2.5f, slot_value<float>(r.result, i));
    else if (t == TC_DOUBLE)
      EXPECT_EQ(6.25, slot_value<double>(r.result, i));
    else if (width == 1)
      EXPECT_EQ(static_cast<int8_t>(0xF0 + t), slot_value<int8_t>(r.result, i));
    else if (width == 2)
      EXPECT_EQ(-1000 - t, slot_value<int16_t>(r.result, i));
    else if (width == 4)
      EXPECT_EQ(-100000 - t, slot_value<int32_t>(r.result, i));
    else if (width == 8)
      EXPECT_EQ(-10000000000LL - t, slot_value<int64_t>(r.result, i));
    else {
      std::string want = "v" + std::to_string(t);
      EXPECT_EQ(want, stored(r.result, i));
      // The bytes lie in the arena with a zero behind them.
      int32_t len = 0;
      EXPECT_EQ(0, field_bytes(r.result->current_row, r.result->fields, i, &len)[len]);
    }
  }
  // The zone types keep their bytes as they came.
  Received tz(result_head({field_desc("T", TC_TIME_TZ), field_desc("D", TC_DATETIME_TZ)}) + "R" +
              time_tz_field(0x01020304, 0x0506) + datetime_tz_field(0x1112131415161718LL, -2) + "K");
  EXPECT_EQ(std::string("\x01\x02\x03\x04\x05\x06", 6), stored(tz.result, 0));
  EXPECT_EQ(std::string("\x11\x12\x13\x14\x15\x16\x17\x18\xff\xfe", 10), stored(tz.result, 1));
}

TEST(ResultReception, NullsAndLengthsOfFixedTypes) {
  // d_len is only tested against 1 for fixed types: 3 still reads an INTEGER's four bytes, and 1
  // a BIGINT's eight. d_len 0 or below is null, for CHAR too, with nothing behind it.
  std::string reply = result_head({field_desc("I", TC_INTEGER), field_desc("B", TC_BIGINT),
                                   field_desc("S", TC_CHAR), field_desc("N", TC_CHAR), field_desc("T", TC_TINYINT),
                                   field_desc("E", TC_CHAR)}) +
                      "R" + be32(3) + be32(77) + be32(1) + be64(-5) + be32(0) + be32(-7) + be32(9) + "\x05" +
                      wire_str("") + "R" + null_field() + null_field() + wire_str("x") + null_field() +
                      null_field() + null_field() + "K";
  Received r(reply);
  ASSERT_NE(nullptr, r.result);
  EXPECT_EQ(2, r.status);
  EXPECT_EQ(77, slot_value<int32_t>(r.result, 0));
  EXPECT_EQ(-5, slot_value<int64_t>(r.result, 1));
  EXPECT_EQ("<null>", stored(r.result, 2));
  EXPECT_EQ("<null>", stored(r.result, 3));
  EXPECT_EQ(5, slot_value<int8_t>(r.result, 4));
  EXPECT_EQ("<null>", stored(r.result, 5));  // an empty string is sent as d_len 0: null
  // Status bytes: fields 0 to 3 in byte 0, 4 and 5 in byte 1.
  EXPECT_EQ(0x50, r.result->current_row[24]);
  EXPECT_EQ(0x04, r.result->current_row[25]);
  ASSERT_EQ(0, next_row(r.result));
  EXPECT_EQ(0x65, r.result->current_row[24]);
  EXPECT_EQ(0x05, r.result->current_row[25]);
  EXPECT_EQ("x", stored(r.result, 2));

  // Field index 5 alone set: byte 1, bits 2 and 3 (reference bit on, null bit off).
  Received six(result_head({field_desc("A", TC_CHAR), field_desc("B", TC_CHAR), field_desc("C", TC_CHAR),
                            field_desc("D", TC_CHAR), field_desc("E", TC_CHAR), field_desc("F", TC_CHAR)}) +
               "R" + null_field() + null_field() + null_field() + null_field() + null_field() + wire_str("six") + "K");
  EXPECT_EQ(0x55, six.result->current_row[24]);
  EXPECT_EQ(0x09, six.result->current_row[25]);
}

TEST(ResultReception, FieldDescriptionsAndLayout) {
  Received r(result_head({field_desc("T.C%A", TC_INTEGER, 10, 3), field_desc("C", TC_NUMERIC, 12, 2),
                          field_desc("S.T.C", TC_SMALLINT, 5, 0), field_desc("C%A.B", TC_BOOL, -1, 0),
                          field_desc(".X%", TC_DOUBLE, 8, 7)}) +
             "K");
  ASSERT_NE(nullptr, r.result);
  EXPECT_EQ(0, r.status);
  const FieldDesc* f = r.result->fields;
  EXPECT_STREQ("T", f[0].table);
  EXPECT_STREQ("C", f[0].name);
  EXPECT_STREQ("A", f[0].alias);
  EXPECT_EQ(TC_INTEGER, f[0].type);
  EXPECT_EQ(5, f[0].ctype);
  EXPECT_EQ(10, f[0].size);
  EXPECT_EQ(3, f[0].detail);
  EXPECT_EQ(nullptr, f[1].table);
  EXPECT_STREQ("C", f[1].name);
  EXPECT_EQ(nullptr, f[1].alias);
  EXPECT_EQ(9, f[1].ctype);
  EXPECT_STREQ("S", f[2].table);  // only the first "." splits
  EXPECT_STREQ("T.C", f[2].name);
  EXPECT_EQ(nullptr, f[3].table);  // a "." inside the alias splits nothing
  EXPECT_STREQ("C", f[3].name);
  EXPECT_STREQ("A.B", f[3].alias);
  EXPECT_EQ(-1, f[3].size);
  EXPECT_STREQ("", f[4].table);
  EXPECT_STREQ("X", f[4].name);
  EXPECT_STREQ("", f[4].alias);
  // 5 fields: 2 status bytes, then slots of 4, 16, 2, 1 and 8 bytes.
  EXPECT_EQ(2, f[0].offset);
  EXPECT_EQ(6, f[1].offset);
  EXPECT_EQ(22, f[2].offset);
  EXPECT_EQ(24, f[3].offset);
  EXPECT_EQ(25, f[4].offset);
  EXPECT_EQ(24 + 33, r.result->row_size);
  // A select without rows leaves the row storage unmade.
  EXPECT_EQ(0, r.result->row_count);
  EXPECT_EQ(nullptr, r.result->row_table);
  EXPECT_EQ(nullptr, r.result->current_row);
  EXPECT_EQ(RK_ROWS, r.result->result_kind);
  EXPECT_EQ(r.peer.conn, r.result->conn);

  Received four(result_head({field_desc("A", TC_INTEGER), field_desc("B", TC_INTEGER), field_desc("C", TC_INTEGER),
                             field_desc("D", TC_INTEGER)}) +
                "K");
  EXPECT_EQ(1, four.result->fields[0].offset);
  EXPECT_EQ(24 + 17, four.result->row_size);
  Received none(result_head({}) + "R" + "R" + "K");
  ASSERT_NE(nullptr, none.result);
  EXPECT_EQ(0, none.result->field_count);
  EXPECT_EQ(24, none.result->row_size);
  EXPECT_EQ(2, none.result->row_count);
}

TEST(ResultReception, MessagesBetweenRowsAreJoined) {
  std::string reply = result_head({field_desc("N", TC_INTEGER)}) + "R" + int_field(1) + "M" + wire_str("first ") +
                      "W" + wire_str("second ") + "R" + int_field(2) + "E" + wire_str("third") + "F" +
                      wire_str("!") + "R" + int_field(3) + "K";
  Received r(reply);
  ASSERT_NE(nullptr, r.result);
  EXPECT_EQ(3, r.status);  // server errors among rows change no return code
  EXPECT_EQ(3, r.result->row_count);
  EXPECT_STREQ("first second third!", r.result->message);
  EXPECT_EQ(nullptr, r.peer.conn->error_text);
}

TEST(ResultReception, LettersOfAReply) {
  // Two inserts: two records, the first counting both.
  Received ins("I" + wire_str("r1") + "I" + wire_str("r2") + "K");
  ASSERT_NE(nullptr, ins.result);
  EXPECT_EQ(0, ins.status);
  EXPECT_EQ(RK_INSERT, ins.result->result_kind);
  EXPECT_EQ(2, ins.result->effect_count);
  EXPECT_STREQ("r1", ins.result->row_id);
  ResultRecord* second = ins.result->next;
  ASSERT_NE(nullptr, second);
  EXPECT_EQ(RK_INSERT, second->result_kind);
  EXPECT_EQ(0, second->effect_count);
  EXPECT_STREQ("r2", second->row_id);
  EXPECT_EQ(nullptr, second->next);
  EXPECT_STREQ("r2", ins.peer.conn->last_rowid);
  EXPECT_EQ(1, ins.peer.conn->rowid_valid);

  // Several kinds in arrival order; the status is that of the last rows batch.
  Received mixed("U" + be32(3) + result_head({field_desc("N", TC_INTEGER)}) + int_rows(2) + "D" + be32(7) + "I" +
                 wire_str("r9") + "K");
  ASSERT_NE(nullptr, mixed.result);
  EXPECT_EQ(2, mixed.status);
  ResultRecord* rec = mixed.result;
  EXPECT_EQ(RK_UPDATE, rec->result_kind);
  EXPECT_EQ(3 + 1, rec->effect_count);  // the head counts the insert too
  rec = rec->next;
  EXPECT_EQ(RK_ROWS, rec->result_kind);
  EXPECT_EQ(2, rec->row_count);
  rec = rec->next;
  EXPECT_EQ(RK_DELETE, rec->result_kind);
  EXPECT_EQ(7, rec->effect_count);
  rec = rec->next;
  EXPECT_EQ(RK_INSERT, rec->result_kind);
  EXPECT_EQ(nullptr, rec->next);
  EXPECT_EQ(nullptr, mixed.result->conn);  // only row results name their connection

  // An error ends with -1 and no chain; a warning after it sets the status back to 0.
  Received err("E" + wire_str("bad thing") + "K");
  EXPECT_EQ(-1, err.status);
  EXPECT_EQ(nullptr, err.result);
  EXPECT_STREQ("bad thing", err.peer.conn->error_text);
  Received warn("E" + wire_str("bad") + "W" + wire_str("careful") + "K");
  EXPECT_EQ(0, warn.status);
  EXPECT_STREQ("careful", warn.peer.conn->error_text);
  Received msg("F" + wire_str("fatal") + "U" + be32(1) + "M" + wire_str("note") + "K");
  EXPECT_EQ(0, msg.status);
  ASSERT_NE(nullptr, msg.result);
  EXPECT_STREQ("note", msg.peer.conn->error_text);

  // An unknown letter ends the reply like K; it is consumed.
  Received odd("U" + be32(4) + "?" + "K");
  EXPECT_EQ(0, odd.status);
  ASSERT_NE(nullptr, odd.result);
  char next = 0;
  ASSERT_EQ(1, recv_char(odd.peer.conn, &next));
  EXPECT_EQ('K', next);
}

TEST(ResultReception, ServerTextsPrintByVerboseMode) {
  const std::string reply = "E" + wire_str("e1") + "W" + wire_str("w1") + "M" + wire_str("m1") + "K";
  struct Case {
    int32_t mode;
    const char* printed;
  };
  const Case cases[] = {
      {1,
       "[EC031]Error in recv result :e1 \n[WC032]Server Warning in recv result :w1 \n"
       "[MC033]Server send message :m1 \n"},
      {2, "[EC031]Error in recv result :e1 \n[MC033]Server send message :m1 \n"},
      {4, "[WC032]Server Warning in recv result :w1 \n[MC033]Server send message :m1 \n"},
      {0, "[MC033]Server send message :m1 \n"},
  };
  for (const Case& c : cases) {
    StreamPeer peer(reply);
    peer.conn->verbose_mode = c.mode;
    ResultRecord* result = kUntouched;
    testing::internal::CaptureStdout();
    EXPECT_EQ(0, recv_result(peer.conn, &result));
    EXPECT_EQ(c.printed, testing::internal::GetCapturedStdout()) << c.mode;
    EXPECT_EQ(nullptr, result);
  }
  // recv_result_all prints the same lines.
  StreamPeer all("E" + wire_str("e2") + "K");
  ResultRecord* result = kUntouched;
  testing::internal::CaptureStdout();
  EXPECT_EQ(-1, recv_result_all(all.conn, &result));
  EXPECT_EQ("[EC031]Error in recv result :e2 \n", testing::internal::GetCapturedStdout());
  EXPECT_EQ(nullptr, result);
}

TEST(ResultReception, RowIdsAndRowPrefixes) {
  // A "*" row carries a prefix into bytes 4 to 23 of the row; a longer one is cut to 20 bytes and
  // the stream stays in step.
  std::string head = result_head({field_desc("N", TC_INTEGER)});
  Received r(head + "*" + wire_str("ABC") + int_field(5) + "*" + wire_str(std::string(25, 'p')) + int_field(6) +
             "R" + int_field(7) + "K");
  ASSERT_NE(nullptr, r.result);
  EXPECT_EQ(3, r.status);
  const uint8_t* row = r.result->current_row;
  EXPECT_EQ(0, memcmp(row, "\0\0\0\0ABC\0", 8));
  EXPECT_EQ(5, slot_value<int32_t>(r.result, 0));
  ASSERT_EQ(0, next_row(r.result));
  EXPECT_EQ(std::string(20, 'p'), std::string(reinterpret_cast<const char*>(r.result->current_row) + 4, 20));
  EXPECT_EQ(0, r.result->current_row[24] & 1);
  EXPECT_EQ(6, slot_value<int32_t>(r.result, 0));
  ASSERT_EQ(0, next_row(r.result));
  EXPECT_EQ(7, slot_value<int32_t>(r.result, 0));

  // A row id over 31 bytes keeps 31 of them, with its terminator, and reading goes on.
  std::string long_id(40, 'i');
  Received ins("I" + wire_str(long_id) + "U" + be32(2) + "K");
  ASSERT_NE(nullptr, ins.result);
  EXPECT_EQ(std::string(31, 'i'), ins.result->row_id);
  EXPECT_EQ(std::string(31, 'i'), ins.peer.conn->last_rowid);
  ASSERT_NE(nullptr, ins.result->next);
  EXPECT_EQ(2, ins.result->next->effect_count);
}

TEST(ResultReception, RowsComeInBatches) {
  std::string head = result_head({field_desc("N", TC_INTEGER)});
  // An exact multiple of 20000 takes one further batch that brings none.
  Received even(head + int_rows(20000) + "K");
  ASSERT_NE(nullptr, even.result);
  EXPECT_EQ(0, even.status);
  EXPECT_EQ(20000, even.result->row_count);
  Received more(head + int_rows(20001) + "K");
  EXPECT_EQ(1, more.status);
  EXPECT_EQ(20001, more.result->row_count);
  EXPECT_EQ(0, slot_value<int32_t>(more.result, 0));
  more.result->row_cursor = 20000;
  ASSERT_EQ(0, next_row(more.result));
  EXPECT_EQ(20000, slot_value<int32_t>(more.result, 0));

  // recv_rows_200 stops at 200; the letter that ends the rows goes back to the caller.
  StreamPeer peer(head + int_rows(250) + "U");
  ResultRecord* result = static_cast<ResultRecord*>(client_alloc(sizeof(ResultRecord)));
  result->kind = HT_RESULT;
  char letter = 0;
  EXPECT_EQ(1, recv_char(peer.conn, &letter));
  EXPECT_EQ('A', letter);
  EXPECT_EQ(0, read_field_descs(peer.conn, result));
  EXPECT_EQ(200, recv_rows_200(peer.conn, result));
  EXPECT_EQ(50, recv_rows_200(peer.conn, result));
  EXPECT_EQ(250, result->row_count);
  EXPECT_EQ('U', peer.conn->pushback);
  uint8_t* row = reinterpret_cast<uint8_t*>(1);
  EXPECT_EQ(101, recv_row(peer.conn, result, &row));
  EXPECT_EQ(nullptr, row);
  EXPECT_EQ('U', peer.conn->pushback);
  // The stream has ended: the next read fails.
  EXPECT_EQ(1, recv_char(peer.conn, &letter));
  EXPECT_EQ(-4, recv_row(peer.conn, result, &row));
  EXPECT_EQ(-4, recv_rows_200(peer.conn, result));
  EXPECT_EQ(250, result->row_count);
  free_result(result);
}

TEST(ResultReception, RecvResultAllFillsOneRecord) {
  std::string head = result_head({field_desc("N", TC_INTEGER)});
  // An error before the rows is overruled by their count; a message behind them joins the record's.
  StreamPeer peer("E" + wire_str("early") + head + int_rows(3) + "M" + wire_str("hi") + "K");
  ResultRecord* result = nullptr;
  testing::internal::CaptureStdout();
  int32_t status = recv_result_all(peer.conn, &result);
  EXPECT_EQ("[EC031]Error in recv result :early \n", testing::internal::GetCapturedStdout());
  EXPECT_EQ(3, status);
  ASSERT_NE(nullptr, result);
  EXPECT_EQ(3, result->row_count);
  EXPECT_STREQ("hi", result->message);
  EXPECT_STREQ("early", peer.conn->error_text);
  EXPECT_EQ(nullptr, result->next);
  EXPECT_EQ(peer.conn, result->conn);
  free_result(result);

  // A second A replaces the descriptions and rows of the first.
  StreamPeer twice(head + int_rows(3) + result_head({field_desc("A", TC_CHAR), field_desc("B", TC_CHAR)}) + "R" +
                   wire_str("x") + wire_str("y") + "K");
  result = nullptr;
  EXPECT_EQ(1, recv_result_all(twice.conn, &result));
  ASSERT_NE(nullptr, result);
  EXPECT_EQ(2, result->field_count);
  EXPECT_EQ(1, result->row_count);
  EXPECT_STREQ("A", result->fields[0].name);
  ASSERT_EQ(0, next_row(result));
  EXPECT_EQ("y", stored(result, 1));
  free_result(result);

  // U, D and I are not letters of this reply: they end it.
  StreamPeer upd(head + int_rows(2) + "U" + be32(1) + "K");
  result = nullptr;
  EXPECT_EQ(2, recv_result_all(upd.conn, &result));
  ASSERT_NE(nullptr, result);
  EXPECT_EQ(2, result->row_count);
  free_result(result);

  StreamPeer none("K");
  result = kUntouched;
  EXPECT_EQ(0, recv_result_all(none.conn, &result));
  EXPECT_EQ(nullptr, result);
}

TEST(ResultReception, BrokenAndHostileStreamsFailCleanly) {
  std::string head = result_head({field_desc("N", TC_INTEGER), field_desc("S", TC_CHAR)});
  struct Case {
    const char* what;
    std::string reply;
    int32_t code;      // of recv_result
    int32_t all_code;  // of recv_result_all, for which U, D and I end the reply at once
  };
  const Case cases[] = {
      {"nothing", "", -4, -4},
      {"row cut in a value", head + "R" + int_field(1) + be32(5) + "ab", -4, -4},
      {"row cut in d_len", head + "R" + int_field(1) + std::string("\0\0", 2), -4, -4},
      {"rows then silence", head + "R" + int_field(1) + wire_str("a"), -4, -4},
      {"records then a cut", "U" + be32(1) + "I" + wire_str("x") + head + "R", -4, 0},
      {"count cut", "U" + be32(1) + std::string("D\0", 2), -4, 0},
      {"row id cut", "I" + be32(10) + "abc", -4, 0},
      {"negative row id length", "I" + be32(-1) + "K", -4, 0},
      {"huge row id length", "I" + be32(0x7fffffff) + "K", -4, 0},
      {"negative prefix length", head + "*" + be32(-2) + int_field(1) + wire_str("a") + "K", -4, -4},
      {"server text cut", "E" + be32(100) + "short", -4, -4},
      {"negative server text length", "M" + be32(-5) + "K", -4, -4},
      {"4001 columns", "A" + be32(4001) + "K", -4, -4},
      {"negative column count", "A" + be32(-1) + "K", -4, -4},
      {"column count cut", std::string("A\0\0", 3), -4, -4},
      {"value of 2 GB", head + "R" + int_field(1) + be32(0x7fffffff) + "K", -4, -4},
      {"value just over the cap", head + "R" + int_field(1) + be32(MAX_VALUE_LEN + 1) + "K", -4, -4},
      {"description cut in the name", "A" + be32(1) + be32(10) + "abc", -1, -1},
      {"description cut in the type", "A" + be32(2) + field_desc("A", TC_INTEGER) + wire_str("B") + be32(5), -1, -1},
      {"negative name length", "A" + be32(1) + be32(-3) + "K", -1, -1},
      {"huge name length", "A" + be32(1) + be32(0x7ffffff0) + "K", -1, -1},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    StreamPeer peer(c.reply);
    ResultRecord* result = kUntouched;
    EXPECT_EQ(c.code, recv_result(peer.conn, &result));
    EXPECT_EQ(kUntouched, result);  // nothing reaches the caller; what was built is freed
    StreamPeer again(c.reply);
    result = kUntouched;
    EXPECT_EQ(c.all_code, recv_result_all(again.conn, &result));
    EXPECT_EQ(c.all_code < 0 ? kUntouched : nullptr, result);
  }
}

TEST(ResultReception, LargeValuesTakeAreasOfTheirOwn) {
  std::string big(100000, 'b');
  big[99999] = 'e';
  Received r(result_head({field_desc("S", TC_BLOB), field_desc("T", TC_CHAR)}) + "R" + wire_str(big) +
             wire_str("tail") + "R" + wire_str("small") + wire_str(std::string(40000, 'm')) + "K");
  ASSERT_NE(nullptr, r.result);
  EXPECT_EQ(2, r.status);
  EXPECT_EQ(big, stored(r.result, 0));
  EXPECT_EQ("tail", stored(r.result, 1));
  ASSERT_EQ(0, next_row(r.result));
  EXPECT_EQ("small", stored(r.result, 0));
  EXPECT_EQ(std::string(40000, 'm'), stored(r.result, 1));
}
