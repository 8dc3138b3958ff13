// Arrays of parameters: the array binds and their refusals, the batch on the wire (row 0 as
// records, the other rows packed into blocks of whole rows) and ZVC_ExecuteBatch's refusals.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "param_wire.h"
#include "peer.h"
#include "reply_script.h"
#include "statements/param_set.h"
#include "zvc.h"

namespace {
const std::string kDone = "U" + be32(3) + "K";

// Values in machine order, one after the other, as a caller's block holds them.
template <typename T>
std::string native(std::initializer_list<T> values) {
  std::string out;
  for (T v : values) out.append(reinterpret_cast<const char*>(&v), sizeof v);
  return out;
}

// Texts behind an int32 length prefix in machine order.
std::string prefixed(std::initializer_list<std::string> texts) {
  std::string out;
  for (const std::string& t : texts) out += native<int32_t>({static_cast<int32_t>(t.size())}) + t;
  return out;
}

// A packed value: the type byte unless the server speaks 201, the length, the bytes.
std::string packed(bool utp, int16_t type, const std::string& bytes) {
  return (utp ? std::string(1, static_cast<char>(type)) : "") + wire_str(bytes);
}

std::string block(const std::string& values) { return wire_str(values); }

int32_t bind_pos(void** h, int32_t pos, int32_t type, int32_t rows, std::string& values,
                 const std::vector<int32_t>& lengths, int32_t param_num = 0) {
  return ZVC_BindParamArrayByPos(h, pos, param_num, DIR_IN, type, rows, &values[0], static_cast<int32_t>(values.size()),
                                 lengths.data());
}

int32_t bind_name(void** h, const char* name, int32_t type, int32_t rows, std::string& values,
                  const std::vector<int32_t>& lengths, int32_t direction = DIR_IN) {
  return ZVC_BindParamArrayByName(h, name, 0, direction, type, rows, &values[0], static_cast<int32_t>(values.size()),
                                  lengths.data());
}

void** handle_of(ConnRecord** conn) { return reinterpret_cast<void**>(conn); }
}  // namespace

// Every type an array can hold: its record in row 0, its packed form in row 1, a null in row 2.
TEST(ParamArray, EveryTypeOnTheWire) {
  struct Column {
    int32_t ctype;
    std::string values;
    std::vector<int32_t> lengths;
    int16_t wire;
    std::string row0, row1;
  };
  std::vector<Column> columns = {
      {CT_BOOL, std::string("\1\0\0", 3), {1, 1, 0}, TC_TINYINT, "\1", std::string(1, '\0')},
      {CT_BYTE, "\x7f\x80z", {1, 1, 0}, TC_TINYINT, "\x7f", "\x80"},
      {CT_BYTE63, "xyz", {1, 1, -1}, TC_CHAR, "x", "y"},
      {CT_INT16, native<int16_t>({-2, 300, 5}), {2, 2, 0}, TC_SMALLINT, be16(-2), be16(300)},
      {CT_INT32, native<int32_t>({70000, -5, 5}), {4, 4, 0}, TC_INTEGER, be32(70000), be32(-5)},
      {CT_FLOAT, native<float>({1.5f, -2.0f, 5}), {4, 4, 0}, TC_FLOAT, be32(0x3fc00000),
       be32(static_cast<int32_t>(0xc0000000u))},
      {CT_INT64, native<int64_t>({-5000000000LL, 1, 5}), {8, 8, 0}, TC_BIGINT, be64(-5000000000LL), be64(1)},
      {CT_DOUBLE, native<double>({-0.25, 2.0, 5}), {8, 8, 0}, TC_DOUBLE,
       be64(static_cast<int64_t>(0xbfd0000000000000ULL)), be64(0x4000000000000000LL)},
      {CT_EPOCH_MS, native<int64_t>({86400000, 0, 5}), {8, 8, 0}, TC_DATETIME, be64(86400000), be64(0)},
      {CT_NUMERIC, "3.14-1" + std::string(3 * 41 - 6, '\0'), {4, 2, 0}, TC_CHAR, "3.14", "-1"},
      {CT_DATE, "2026-11-231970-01-01", {10, 10, 0}, TC_CHAR, "2026-11-23", "1970-01-01"},
      {CT_TIME, "10:00:0023:59:59", {8, 8, 0}, TC_CHAR, "10:00:00", "23:59:59"},
      {CT_DATETIME, "2026-01-01 10:00:00", {19, 0, 0}, TC_CHAR, "2026-01-01 10:00:00", ""},
      {CT_TEXT, prefixed({"h\xc3\xa9llo", "", "n"}), {6, 1, 0}, TC_CHAR, "h\xc3\xa9llo", ""},
      {CT_TEXT62, prefixed({"a", "bc", ""}), {1, 2, 0}, TC_CHAR, "a", "bc"},
      {CT_BINARY, prefixed({std::string("\0\1\2", 3)}) + prefixed({"\xff"}) + "?" + prefixed({""}), {3, 2, 0},
       TC_BINARY, std::string("\0\1\2", 3), "\xff"},
  };
  StreamPeer peer(kDone);
  std::string records, row1, row2;
  int32_t pos = 0;
  for (Column& c : columns) {
    ASSERT_EQ(0, bind_pos(handle_of(&peer.conn), ++pos, c.ctype, 3, c.values, c.lengths)) << c.ctype;
    records += param_record("", 1, c.wire, c.row0);
    row1 += packed(true, c.wire, c.row1);
    row2 += packed(true, c.wire, "");
  }
  EXPECT_EQ(0, ZVC_ExecuteBatch(&peer.conn, "insert", 3));
  EXPECT_EQ(command_bytes("insert", 3 << 16 | pos) + records + block(row1 + row2), peer.sent());
}

// Rows of one int32 fill blocks until less than 64000 of the 512000 bytes are free behind a row:
// 49,778 rows of 9 bytes with type bytes, 56,001 rows of 8 without.
TEST(ParamArray, BlocksOfWholeRowsAtTheBufferRule) {
  const struct {
    const char* version;
    std::vector<int32_t> blocks;
  } cases[] = {{"301", {448002, 141804}}, {"201", {448008, 76264}}};
  const int32_t rows = 65535;
  std::string values;
  for (int32_t r = 0; r < rows; r++) values += native<int32_t>({r * 3});
  std::vector<int32_t> lengths(rows, 4);
  for (const auto& c : cases) {
    StreamPeer peer("U" + be32(rows) + "K");
    peer.drain();
    strcpy(peer.conn->version, c.version);
    bool utp = strcmp(c.version, "201") != 0;
    std::string copy = values;
    ASSERT_EQ(0, bind_pos(handle_of(&peer.conn), 1, CT_INT32, rows, copy, lengths));
    EXPECT_EQ(0, ZVC_ExecuteBatch(&peer.conn, "insert", rows));
    std::string expected = command_bytes("insert", static_cast<int32_t>(0xFFFF0001u)) +
                           param_record("", 1, TC_INTEGER, be32(0));
    int32_t row = 1;
    for (int32_t size : c.blocks) {
      std::string rows_of_block;
      while (static_cast<int32_t>(rows_of_block.size()) < size)
        rows_of_block += packed(utp, TC_INTEGER, be32(row++ * 3));
      expected += block(rows_of_block);
    }
    EXPECT_EQ(rows, row) << c.version;
    EXPECT_TRUE(expected == peer.sent()) << c.version;
  }
}

// A value that overflows the buffer behind whole rows sends those rows first and carries on with
// its own row, which is never split; a row the buffer cannot hold alone makes it larger.
TEST(ParamArray, AnOverflowingValueKeepsItsRowWhole) {
  const struct {
    std::vector<int32_t> sizes;               // the text's length in each row
    std::vector<std::vector<int32_t>> blocks;  // the rows of each block
  } cases[] = {
      {{1, 1, 511980, 1}, {{1}, {2}, {3}}},  // fits once row 1 has gone
      {{1, 1, 511990, 1}, {{1}, {2}, {3}}},  // still too large then: the buffer grows
      {{1, 600000, 1}, {{1}, {2}}},          // no whole row stands before it
      {{1, 2, 3, 4}, {{1, 2, 3}}},
  };
  for (const auto& c : cases) {
    int32_t rows = static_cast<int32_t>(c.sizes.size());
    std::string ints, texts;
    std::vector<int32_t> int_lengths(rows, 4), text_lengths;
    std::vector<std::string> row_bytes;
    for (int32_t r = 0; r < rows; r++) {
      std::string text(static_cast<size_t>(c.sizes[r]), static_cast<char>('a' + r));
      ints += native<int32_t>({r});
      texts += native<int32_t>({c.sizes[r]}) + text;
      text_lengths.push_back(c.sizes[r]);
      row_bytes.push_back(packed(true, TC_INTEGER, be32(r)) + packed(true, TC_CHAR, text));
    }
    StreamPeer peer(kDone);
    peer.drain();
    ASSERT_EQ(0, bind_pos(handle_of(&peer.conn), 1, CT_INT32, rows, ints, int_lengths));
    ASSERT_EQ(0, bind_pos(handle_of(&peer.conn), 2, CT_TEXT, rows, texts, text_lengths));
    EXPECT_EQ(0, ZVC_ExecuteBatch(&peer.conn, "insert", rows));
    std::string expected = command_bytes("insert", rows << 16 | 2) + param_record("", 1, TC_INTEGER, be32(0)) +
                           param_record("", 1, TC_CHAR, "a");
    for (const auto& rows_of_block : c.blocks) {
      std::string values;
      for (int32_t r : rows_of_block) values += row_bytes[static_cast<size_t>(r)];
      expected += block(values);
    }
    EXPECT_TRUE(expected == peer.sent()) << c.sizes[2];
  }
}

// The refusals of an array bind by position, in their order, on a connection handle.
TEST(ParamArray, RefusalsByPositionInTheirOrder) {
  StreamPeer peer("");
  void** h = handle_of(&peer.conn);
  std::string ints = native<int32_t>({1, 2, 3});
  const std::vector<int32_t> lengths = {4, 4, 4};
  const struct {
    int32_t pos, num, direction, type, rows, rc;
    const char* text;
  } cases[] = {
      {4001, 4, 4, CT_INT32, 3, -51, "[EC051]Error invalid param NO : 4001 out of range paramnum : 4 "},
      {1, 4001, 1, CT_INT32, 3, -51, "[EC051]Error invalid param NO : 1 out of range paramnum : 4001 "},
      {0, 4, 4, CT_INT32, 3, -52, "[EC052]Error invalid param type 4"},
      {1, 4, 1, CT_INT32, 0, -51, "[EC051]Error bindparam arraysize 0 invalid"},
      {5, 4, 1, CT_INT32, 3, -51, "[EC051]Error invalid param NO : 5 out of range paramnum : 4 "},
      {1, 4, 2, CT_INT32, 3, -8, "[EC056]Error bindparam unsurpported ret -8 invalid"},
      {1, 4, 1, CT_INT32, 2, -51, "[EC051]Error bindparam arraysize 2 does not match the set's 3 rows"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.rc, ZVC_BindParamArrayByPos(h, c.pos, c.num, c.direction, c.type, c.rows, &ints[0], 12,
                                            lengths.data()))
        << c.text;
    EXPECT_EQ(c.text, error_text_of(h));
  }
  EXPECT_EQ(-3, ZVC_BindParamArrayByPos(h, 1, 4, 1, CT_INT32, 3, nullptr, 12, lengths.data()));
}

// By name: each name once (-53 without a text, whatever its case), outputs skipped.
TEST(ParamArray, ByName) {
  StreamPeer peer("U" + be32(2) + "K");
  void** h = handle_of(&peer.conn);
  std::string ids = native<int32_t>({1, 2});
  std::string names = prefixed({"x", "y"});
  ASSERT_EQ(0, bind_name(h, "id", CT_INT32, 2, ids, {4, 4}));
  EXPECT_EQ(-52, bind_name(h, "id", CT_INT32, 2, ids, {4, 4}, 5));
  EXPECT_EQ("[EC052]Error invalid param type 5", error_text_of(h));
  EXPECT_EQ(-53, bind_name(h, "ID", CT_INT32, 2, ids, {4, 4}));
  EXPECT_EQ("[EC052]Error invalid param type 5", error_text_of(h));
  EXPECT_EQ(0, bind_name(h, "out", CT_INT32, 2, ids, {4, 4}, DIR_OUT));
  ASSERT_EQ(0, bind_name(h, "name", CT_TEXT, 2, names, {1, 1}));
  EXPECT_EQ(0, ZVC_ExecuteBatch(&peer.conn, "insert into t values (:id, :name)", 2));
  EXPECT_EQ(command_bytes("insert into t values (:id, :name)", 0x00020002) +
                param_record("id", 1, TC_INTEGER, be32(1)) + param_record("name", 1, TC_CHAR, "x") +
                block(packed(true, TC_INTEGER, be32(2)) + packed(true, TC_CHAR, "y")),
            peer.sent());
}

// ZVC_ExecuteBatch refuses before it sends anything; a query through it runs but leaves a text;
// one row needs no block; the emptied set sends nothing with the next statement.
TEST(ParamArray, ExecuteBatchRefusalsAndEdges) {
  StreamPeer peer(result_head({field_desc("t.a%a", TC_INTEGER)}) + int_rows(1) + "K" + "U" + be32(1) + "K" + "K");
  void** h = handle_of(&peer.conn);
  EXPECT_EQ(-1, ZVC_ExecuteBatch(&peer.conn, "insert", 1));
  EXPECT_EQ("[EC025]Error ExecuteBatch without  bindparams  \n", error_text_of(h));
  std::string many = std::string(65536 * 4, '\1');
  ASSERT_EQ(0, bind_pos(h, 1, CT_INT32, 65536, many, std::vector<int32_t>(65536, 4)));
  EXPECT_EQ(-1, ZVC_ExecuteBatch(&peer.conn, "insert", 2));
  EXPECT_EQ("[EC057]Error ExecuteBatch with paramsbind arraysize 65536  does not match ArrayCount 2 \n",
            error_text_of(h));
  EXPECT_EQ(-57, ZVC_ExecuteBatch(&peer.conn, "insert", 65536));
  EXPECT_EQ("[EC057]Error ExecuteBatch arraysize 65536 does not fit a batch of 1 to 65535 rows \n", error_text_of(h));
  EXPECT_EQ("", peer.sent());
  ZVC_ClearParams(h);

  std::string ints = native<int32_t>({5});
  ASSERT_EQ(0, bind_pos(h, 1, CT_INT32, 1, ints, {4}));
  EXPECT_EQ(1, ZVC_ExecuteBatch(&peer.conn, "select a from t where a = ?", 1));
  EXPECT_EQ("[EC026]Error ExecuteBatch can't surpport a select_sql  \n", error_text_of(h));
  ASSERT_EQ(0, bind_pos(h, 1, CT_INT32, 1, ints, {4}));
  EXPECT_EQ(0, ZVC_ExecuteBatch(&peer.conn, "update", 1));
  EXPECT_EQ(command_bytes("select a from t where a = ?", 0x00010001) + param_record("", 1, TC_INTEGER, be32(5)) +
                command_bytes("update", 0x00010001) + param_record("", 1, TC_INTEGER, be32(5)),
            peer.sent());
  EXPECT_EQ(0, ZVC_ExecNoQuery(&peer.conn, "plain"));
  EXPECT_EQ(command_bytes("plain"), peer.sent());
}

// ZVC_ExecuteBatchCount hands on the count of the reply's U or D record, and 0 after a failure.
TEST(ParamArray, TheBatchCountComesFromTheReply) {
  const struct {
    std::string reply;
    int32_t rc, changed;
  } cases[] = {{"U" + be32(3) + "K", 0, 3},
               {"D" + be32(2) + "K", 0, 2},
               {"I" + wire_str("1") + "I" + wire_str("2") + "K", 0, 0},
               {"E" + wire_str("[E10001]row 2") + "K", -1, 0}};
  for (const auto& c : cases) {
    StreamPeer peer(c.reply);
    void** h = handle_of(&peer.conn);
    std::string ints = native<int32_t>({1, 2, 3});
    ASSERT_EQ(0, bind_pos(h, 1, CT_INT32, 3, ints, {4, 4, 4}));
    int32_t changed = -7;
    EXPECT_EQ(c.rc, ZVC_ExecuteBatchCount(&peer.conn, "insert", 3, &changed)) << c.reply;
    EXPECT_EQ(c.changed, changed) << c.reply;
  }
}
