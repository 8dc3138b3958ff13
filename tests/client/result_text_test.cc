// Text forms of stored values: the text rule with its cuts, zone texts, intervals, the double's
// text and long numerics.
#include <gtest/gtest.h>

#include <tuple>

#include "result_wire.h"

TEST(ResultText, TextOfEveryRenderedForm) {
  const std::tuple<int32_t, std::string, std::string> cases[] = {
      {TC_BOOL, byte_field('T'), "T"},
      {TC_BOOL, byte_field('x'), "UNKNOWN"},
      {TC_TINYINT, byte_field('\x80'), "-128"},
      {TC_BIGINT, i64_field(INT64_MIN), "-9223372036854775808"},
      {TC_FLOAT, float_field(0.1f), "0.100000"},
      // Doubles: sixteen digits in all up to fifteen integer digits, else six decimals, cut to 63 bytes.
      {TC_DOUBLE, double_field(3.14), "3.140000000000000"},
      {TC_DOUBLE, double_field(1234.5), "1234.500000000000"},
      {TC_DOUBLE, double_field(123456789012345.0), "123456789012345.0"},
      {TC_DOUBLE, double_field(1e15), "1000000000000000.000000"},
      {TC_DOUBLE, double_field(1e300), "100000000000000005250476025520442024870446858110815915491585411"},
      {TC_NUMERIC, wire_str("12.5"), "12.5"},
      {TC_DATE, int_field(-1), "1969-12-31"},
      {TC_DATE, int_field(59), "1970-03-01"},
      {TC_TIME, int_field(45296789), "12:34:56"},
      {TC_DATETIME, i64_field(-1), "1969-12-31 23:59:59"},
      // The local clock, the zone in whole hours with its sign; the year unpadded, no fraction.
      {TC_TIME_TZ, time_tz_field(8 * 3600000, 480), "16:00:00+8"},
      {TC_DATETIME_TZ, datetime_tz_field(0, 60), "1970-01-01 01:00:00+1"},
      {TC_DATETIME_TZ, datetime_tz_field(-59037620033000LL * 1000 + 999, 0), "99-03-04 05:06:07+0"},
      {TC_INTERVAL_YEAR, int_field(3), "3"},
      {TC_INTERVAL_YEAR_MONTH, int_field(-14), "-1-02"},
      {TC_INTERVAL_DAY_MINUTE, int_field(1501), "1 01:01"},
      {TC_INTERVAL_HOUR_MINUTE, int_field(-125), "-2:-5"},
      {TC_INTERVAL_HOUR_MINUTE, int_field(125), "2:05"},
      {TC_INTERVAL_DAY_SECOND, i64_field(90061000000LL), "1 1:01:01"},
      {TC_INTERVAL_HOUR_SECOND, i64_field(INT64_MAX), "2562047788:00:54"},
      {TC_INTERVAL_SECOND, i64_field(-5999999), "-5"},
      // Bytes of the copied kinds, an array included, and the short texts as they are.
      {TC_CHAR, wire_str("raw"), "raw"},
      {10033, wire_str("raw"), "raw"},
      {TC_OPAQUE29, wire_str("short"), "short"},
  };
  // The six text CTypes render alike: each takes its turn.
  const int32_t ctypes[] = {2, 10, 11, 12, 13, 14};
  for (size_t i = 0; i < sizeof cases / sizeof cases[0]; i++) {
    const auto& [type, wire, text] = cases[i];
    SCOPED_TRACE(testing::Message() << "type " << type << " ctype " << ctypes[i % 6]);
    Received r(one_value_reply(type, wire));
    EXPECT_EQ(text, r.text(1, ctypes[i % 6]));
    EXPECT_EQ(0, r.rc);
    EXPECT_EQ(static_cast<int32_t>(text.size()), r.out_len);
  }
  // A zone value shorter than its stored form has no text.
  for (const auto& [type, value] : {std::pair<int32_t, std::string>{TC_DATETIME_TZ, "123456789"}, {TC_TIME_TZ, "12345"}}) {
    Received short_tz(one_value_reply(type, wire_str(value)));
    EXPECT_EQ("", short_tz.text(1)) << type;
    EXPECT_EQ(-13, short_tz.rc) << type;
    EXPECT_EQ(0, short_tz.out_len) << type;
  }
}

TEST(ResultText, CutsAndCopies) {
  // A text keeps room for its terminator: cut to buffer_len - 1 characters, out_len tells how many
  // stayed behind. Over 63 bytes, stored texts are handed on whole when the buffer holds them.
  const std::string digits = "-" + std::string(49, '7') + "." + std::string(49, '7');
  const std::tuple<int32_t, std::string, int32_t, std::string, int32_t, int32_t> cases[] = {
      {TC_NUMERIC, "1234567890", 10, "123456789", -12, 1},
      {TC_CHAR, "abcdefghij", 9, "abcdefgh", -12, 2},
      {TC_NUMERIC, digits, 128, digits, 0, 100},
      {TC_NUMERIC, digits, 64, digits.substr(0, 63), -12, 37},
      {TC_OPAQUE45, digits, 128, digits, 0, 100},
      // A character that would be split stays out whole; binary bytes are cut where room ends.
      {TC_CHAR, "ab\xc3\xa9\xc3\xa9", 4, "ab", -12, 3},
      {TC_CHAR, "ab\xe2\x82\xac", 5, "ab\xe2\x82\xac", 0, 5},
      {TC_CHAR, "\xf0\x9f\x98\x80z", 4, "", -12, 2},
      {TC_BINARY, "ab\xc3\xa9\xc3\xa9", 4, "ab\xc3", -12, 3},
  };
  for (const auto& [type, value, buffer_len, text, rc, out_len] : cases) {
    SCOPED_TRACE(testing::Message() << type << " into " << buffer_len);
    Received r(one_value_reply(type, wire_str(value)));
    EXPECT_EQ(text, r.text(1, 2, buffer_len));
    EXPECT_EQ(rc, r.rc);
    EXPECT_EQ(out_len, r.out_len);
  }
  // Bytes fill the buffer exactly, without terminator.
  Received chr(one_value_reply(TC_CHAR, wire_str("abcdefghij")));
  char buf[12];
  memset(buf, '#', sizeof buf);
  int32_t out = 0;
  EXPECT_EQ(0, chr.get(1, 2, buf, 10, &out));
  EXPECT_EQ(10, out);
  EXPECT_EQ("abcdefghij#", std::string(buf, 11));
}
