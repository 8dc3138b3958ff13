// Field access: refusals of a kind a value has no form in, the values and lengths delivered,
// binary copies and pieces, and the checks before any conversion.
#include <gtest/gtest.h>

#include <tuple>

#include "result_wire.h"

// A value asked for as a kind it has no form in is refused, and the buffer is left alone; the
// same columns as the kinds they have are delivered.
TEST(ResultConvert, AValueOfAnotherKindIsRefused) {
  const struct {
    int32_t type, ctype, rc;
  } cases[] = {
      {TC_CHAR, CT_INT32, -13},     {TC_DOUBLE, CT_INT32, -13},        {TC_BIGINT, CT_INT32, -13},
      {TC_INTEGER, CT_INT16, -13},  {TC_DATE, CT_DOUBLE, -13},         {TC_INTEGER, CT_BINARY, -13},
      {TC_DATE, CT_EPOCH_MS, -13},  {TC_INTERVAL_YEAR, CT_INTERVAL, -13}, {TC_UNTYPED, CT_TEXT, -13},
      {TC_CHAR, CT_BINARY, 0},      {TC_NUMERIC, CT_INT32, 0},         {TC_DATETIME, CT_EPOCH_MS, 0},
      {TC_DATE, CT_TEXT, 0},        {TC_SMALLINT, CT_INT16, 0},        {TC_FLOAT, CT_DOUBLE, 0},
  };
  Received r(every_type_reply());
  ASSERT_NE(nullptr, r.result);
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << "type " << c.type << " ctype " << c.ctype);
    uint8_t buf[64];
    memset(buf, 0xAB, sizeof buf);
    int32_t out_len = -1;
    EXPECT_EQ(c.rc, r.get(c.type, c.ctype, buf, 64, &out_len));  // column n holds type code n
    if (c.rc != 0) {
      EXPECT_EQ(0, out_len);
      EXPECT_EQ(std::string(64, '\xAB'), std::string(reinterpret_cast<char*>(buf), 64));
    }
  }
}

TEST(ResultConvert, ValuesDelivered) {
  using B = std::vector<std::pair<int32_t, std::string>>;  // CType, the bytes it delivers
  const int64_t big = -5000000000LL;
  const std::tuple<int32_t, std::string, B> cases[] = {
      {TC_BOOL, byte_field('T'), B{{1, host_bytes<int32_t>(84)}, {4, host_bytes<int16_t>(84)}, {3, "T"}}},
      {TC_SMALLINT, i16_field(-300), B{{4, host_bytes<int16_t>(-300)}, {6, host_bytes<int64_t>(-300)}}},
      {TC_INTEGER, int_field(-70000),
       B{{1, host_bytes<int32_t>(-70000)}, {8, host_bytes(-70000.0)}, {28, host_bytes<int64_t>(-70000)},
         {31, host_bytes<int64_t>(-70000)}, {63, host_bytes<int32_t>(-70000).substr(0, 1)}}},
      {TC_BIGINT, i64_field(big),
       B{{6, host_bytes(big)}, {7, host_bytes(-5e9f)}, {8, host_bytes(-5e9)}, {28, host_bytes(big)},
         {31, host_bytes(big)}}},
      {TC_NUMERIC, wire_str("12.5"),
       B{{5, host_bytes<int32_t>(12)}, {7, host_bytes(12.5f)}, {8, host_bytes(12.5)}, {9, "12.5"}}},
      {TC_NUMERIC, wire_str("99999999999"),  // integers held to int32
       B{{5, host_bytes<int32_t>(INT32_MAX)}, {6, host_bytes<int64_t>(INT32_MAX)}, {8, host_bytes(99999999999.0)}}},
      {TC_DOUBLE, double_field(-1234.5), B{{7, host_bytes(-1234.5f)}, {8, host_bytes(-1234.5)}}},
      {TC_DATETIME, i64_field(-1), B{{23, host_bytes<int64_t>(-1)}}},
      {TC_INTERVAL_YEAR_MONTH, int_field(-14), B{{28, host_bytes<int32_t>(-14)}}},
      {TC_INTERVAL_DAY_SECOND, i64_field(90061000000LL), B{{31, host_bytes<int64_t>(90061000000LL)}}},
  };
  for (const auto& c : cases) {
    Received r(one_value_reply(std::get<0>(c), std::get<1>(c)));
    for (const auto& d : std::get<2>(c)) {
      SCOPED_TRACE(testing::Message() << "type " << std::get<0>(c) << " ctype " << d.first);
      char buf[16];
      memset(buf, '#', sizeof buf);
      int32_t out = -1;
      EXPECT_EQ(0, r.get(1, d.first, buf, sizeof buf, &out));
      EXPECT_EQ(d.second + "#", std::string(buf, d.second.size() + 1));  // nothing more, no terminator
      EXPECT_EQ(static_cast<int32_t>(d.second.size()), out);
    }
  }
}

TEST(ResultConvert, BinaryCopiesAndPieces) {
  Received r(result_head({field_desc("C", TC_CHAR), field_desc("B", TC_BLOB), field_desc("I", TC_INTEGER)}) + "R" +
             wire_str("hello") + wire_str(std::string("a\0b\0c", 5)) + int_field(9) + "K");
  char buf[16];
  int32_t out = 0;
  memset(buf, '#', sizeof buf);
  EXPECT_EQ(-12, r.get(1, 15, buf, 3, &out));  // cut: buffer_len bytes and the count left behind
  EXPECT_EQ(2, out);
  EXPECT_EQ("hel#", std::string(buf, 4));
  EXPECT_EQ(0, r.get(2, 15, buf, 16, &out));
  EXPECT_EQ(5, out);
  EXPECT_EQ(std::string("a\0b\0c\0", 6), std::string(buf, 6));  // the buffer is zeroed first

  // Pieces of 2 from a 5-byte value by their offset in out_len: 2, 2, 1, the end, then outside it.
  const std::tuple<int32_t, int32_t, std::string> pieces[] = {{0, 0, "he"}, {2, 0, "ll"}, {4, 0, "o"},
                                                              {5, 0, ""},   {6, -18, ""}, {-1, -18, ""}};
  for (const auto& p : pieces) {
    out = std::get<0>(p);
    EXPECT_EQ(std::get<1>(p), r.get(1, 18, buf, 2, &out)) << std::get<0>(p);
    EXPECT_EQ(std::get<2>(p), std::get<1>(p) ? "" : std::string(buf, out)) << std::get<0>(p);
  }
}

TEST(ResultConvert, ChecksBeforeConverting) {
  Received r(result_head({field_desc("I", TC_INTEGER), field_desc("C", TC_CHAR)}) + "R" + int_field(1) +
             null_field() + "R" + int_field(2) + wire_str("x") + "K");
  ASSERT_NE(nullptr, r.result);
  int32_t v = 0, out = 9;
  EXPECT_EQ(-3, r.get(1, 5, nullptr, 4, &out));
  EXPECT_EQ(9, out);
  EXPECT_EQ(-15, r.get(3, 5, &v, 4, &out));
  EXPECT_EQ(-11, r.get(2, 99, &v, 4, &out));  // a null field, whatever the CType
  EXPECT_EQ(0, out);
  ASSERT_EQ(0, next_row(r.result));
  EXPECT_EQ(100, next_row(r.result));
  out = 9;
  EXPECT_EQ(-11, r.get(1, 5, &v, 4, &out));  // no current row
  EXPECT_EQ(0, out);
}

// Every read stays inside the buffer the caller sized: a fixed-size value needs its whole width
// (nothing is written otherwise, and out_len tells the width), a raw numeric is cut to the room,
// and a large object needs room for its handle.
TEST(ResultConvert, ReadsStayInsideTheCallersBuffer) {
  Received r(result_head({field_desc("I", TC_BIGINT), field_desc("N", TC_NUMERIC), field_desc("L", TC_BLOB)}) + "R" +
             i64_field(-2) + wire_str("12345.678") + wire_str("blob") + "K");
  char buf[16];
  int32_t out = 0;
  const struct {
    int32_t column, ctype, len, rc, out;
    std::string written;
  } cases[] = {
      {1, CT_INT64, 7, -12, 8, ""},
      {1, CT_INT64, 8, 0, 8, host_bytes(int64_t{-2})},
      {2, CT_INT32, 3, -12, 4, ""},
      {2, CT_NUMERIC, 5, -12, 4, "12345"},
      {2, CT_NUMERIC, 9, 0, 9, "12345.678"},
      {3, CT_BLOB, 4, -3, 0, ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.column << "/" << c.ctype << " into " << c.len);
    memset(buf, '#', sizeof buf);
    out = 0;
    EXPECT_EQ(c.rc, r.get(c.column, c.ctype, buf, c.len, &out));
    EXPECT_EQ(c.out, out);
    EXPECT_EQ(c.written + "#", std::string(buf, c.written.size() + 1));
  }
}
