// Text forms of stored values: the text rule with its cuts, zone texts, intervals, the double's
// text, long numerics, and the scalar renderer with its long form.
#include <gtest/gtest.h>

#include <cstdlib>

#include "result_wire.h"
#include "results/field_access.h"

namespace {
// The text of one value of type, by CType 2 into a 64-byte buffer.
std::string text_of(int32_t type, const std::string& value, int32_t ctype = 2) {
  Received r(one_value_reply(type, value));
  std::string text = r.text(1, ctype);
  EXPECT_EQ(0, r.rc) << text;
  EXPECT_EQ(static_cast<int32_t>(text.size()), r.out_len) << text;
  return text;
}

std::string double_text(double v) {
  char buf[64];
  memset(buf, '#', sizeof buf);
  double_to_text(buf, v);
  return buf;
}

// field_to_text over a one-value result; the bytes written, or the long form's copy.
struct Scalar {
  Scalar(int32_t type, const std::string& value) : r(one_value_reply(type, value)) {
    memset(buf, '#', sizeof buf);
    r.result->row_cursor = 0;
    EXPECT_EQ(1, field_to_text(r.result, buf, &long_form));
  }
  std::string written() const { return std::string(reinterpret_cast<const char*>(buf), strcspn(reinterpret_cast<const char*>(buf), "#")); }
  Received r;
  uint8_t buf[64];
  int32_t long_form = -7;
};
}  // namespace

TEST(ResultText, NumbersBooleansAndDates) {
  EXPECT_EQ("T", text_of(TC_BOOL, byte_field('T')));
  EXPECT_EQ("F", text_of(TC_BOOL, byte_field('F')));
  EXPECT_EQ("UNKNOWN", text_of(TC_BOOL, byte_field('x')));
  EXPECT_EQ("-128", text_of(TC_TINYINT, byte_field('\x80')));
  EXPECT_EQ("-32768", text_of(TC_SMALLINT, i16_field(-32768)));
  EXPECT_EQ("2147483647", text_of(TC_INTEGER, int_field(INT32_MAX)));
  EXPECT_EQ("-9223372036854775808", text_of(TC_BIGINT, i64_field(INT64_MIN)));
  EXPECT_EQ("0.100000", text_of(TC_FLOAT, float_field(0.1f)));
  EXPECT_EQ("3.140000000000000", text_of(TC_DOUBLE, double_field(3.14)));
  EXPECT_EQ("1969-12-31", text_of(TC_DATE, int_field(-1)));
  EXPECT_EQ("1970-01-01", text_of(TC_DATE, int_field(0)));
  EXPECT_EQ("1970-03-01", text_of(TC_DATE, int_field(59)));
  EXPECT_EQ("0001-01-01", text_of(TC_DATE, int_field(-719162)));
  EXPECT_EQ("12:34:56", text_of(TC_TIME, int_field(45296789)));
  EXPECT_EQ("00:00:00", text_of(TC_TIME, int_field(999)));
  EXPECT_EQ("1969-12-31 23:59:59", text_of(TC_DATETIME, i64_field(-1)));
  EXPECT_EQ("2000-02-29 01:02:03", text_of(TC_DATETIME, i64_field(951782400000LL + 3723004)));
  // The six text CTypes render alike, whatever the stored type.
  for (int32_t ctype : {2, 10, 11, 12, 13, 14}) {
    EXPECT_EQ("1970-03-01", text_of(TC_DATE, int_field(59), ctype));
    EXPECT_EQ("-5", text_of(TC_INTEGER, int_field(-5), ctype));
  }
}

TEST(ResultText, ZoneTexts) {
  // The local clock, the zone in whole hours with its sign.
  EXPECT_EQ("16:00:00+8", text_of(TC_TIME_TZ, time_tz_field(8 * 3600000, 480)));
  EXPECT_EQ("2:30:00-5", text_of(TC_TIME_TZ, time_tz_field(8 * 3600000, -330)));
  EXPECT_EQ("0:00:00+0", text_of(TC_TIME_TZ, time_tz_field(0, 0)));
  EXPECT_EQ("1970-01-01 01:00:00+1", text_of(TC_DATETIME_TZ, datetime_tz_field(0, 60)));
  EXPECT_EQ("1969-12-31 19:00:00-5", text_of(TC_DATETIME_TZ, datetime_tz_field(0, -300)));
  // The year has no padding here; microseconds below a second are dropped.
  EXPECT_EQ("99-03-04 05:06:07+0", text_of(TC_DATETIME_TZ, datetime_tz_field(-59037620033000LL * 1000 + 999, 0)));

  // Reading a zone value twice gives the same text: the stored bytes are not changed.
  Received r(one_value_reply(TC_TIME_TZ, time_tz_field(8 * 3600000, 480)));
  EXPECT_EQ("16:00:00+8", r.text(1));
  EXPECT_EQ("16:00:00+8", r.text(1, 12));
  // A zone value shorter than its stored form has no text.
  Received short_tz(one_value_reply(TC_TIME_TZ, wire_str("abcd")));
  EXPECT_EQ("", short_tz.text(1));
  EXPECT_EQ(-13, short_tz.rc);
  EXPECT_EQ(0, short_tz.out_len);
  Received short_dt(one_value_reply(TC_DATETIME_TZ, wire_str("123456789")));
  EXPECT_EQ("", short_dt.text(1));
  EXPECT_EQ(-13, short_dt.rc);
}

TEST(ResultText, Intervals) {
  EXPECT_EQ("3", text_of(TC_INTERVAL_YEAR, int_field(3)));
  EXPECT_EQ("-1-02", text_of(TC_INTERVAL_YEAR_MONTH, int_field(-14)));
  EXPECT_EQ("2-06", text_of(TC_INTERVAL_YEAR_MONTH, int_field(30)));
  EXPECT_EQ("-7", text_of(TC_INTERVAL_MONTH, int_field(-7)));
  EXPECT_EQ("400", text_of(TC_INTERVAL_DAY, int_field(400)));
  EXPECT_EQ("1 01", text_of(TC_INTERVAL_DAY_HOUR, int_field(25)));
  EXPECT_EQ("30", text_of(TC_INTERVAL_HOUR, int_field(30)));
  EXPECT_EQ("1 01:01", text_of(TC_INTERVAL_DAY_MINUTE, int_field(1501)));
  EXPECT_EQ("2:05", text_of(TC_INTERVAL_HOUR_MINUTE, int_field(125)));
  EXPECT_EQ("-2:-5", text_of(TC_INTERVAL_HOUR_MINUTE, int_field(-125)));
  EXPECT_EQ("61", text_of(TC_INTERVAL_MINUTE, int_field(61)));
  EXPECT_EQ("1 1:01:01", text_of(TC_INTERVAL_DAY_SECOND, i64_field(90061000000LL)));
  EXPECT_EQ("1:02:03", text_of(TC_INTERVAL_HOUR_SECOND, i64_field(3723999999LL)));
  EXPECT_EQ("2:03", text_of(TC_INTERVAL_MINUTE_SECOND, i64_field(123000000LL)));
  EXPECT_EQ("5", text_of(TC_INTERVAL_SECOND, i64_field(5999999)));
  EXPECT_EQ("-5", text_of(TC_INTERVAL_SECOND, i64_field(-5999999)));
  // Counts too large for 32 bits keep all their digits.
  EXPECT_EQ("2562047788:00:54", text_of(TC_INTERVAL_HOUR_SECOND, i64_field(INT64_MAX)));
}

TEST(ResultText, DoubleText) {
  EXPECT_EQ("3.140000000000000", double_text(3.14));
  EXPECT_EQ("1234.500000000000", double_text(1234.5));
  EXPECT_EQ("-2.500000000000000", double_text(-2.5));
  EXPECT_EQ("0.000000000000000", double_text(0.0));
  EXPECT_EQ("123456789012345.0", double_text(123456789012345.0));
  EXPECT_EQ("1000000000000000.000000", double_text(1e15));
  EXPECT_EQ("99999.9999900000", double_text(99999.99999));
  // Too long for 64 bytes: the bounded print keeps 63 characters.
  EXPECT_EQ("100000000000000005250476025520442024870446858110815915491585411", double_text(1e300));
}

TEST(ResultText, CutsAndCopies) {
  // Ten characters of text into 10 bytes: nine stand, one stays behind.
  Received num(one_value_reply(TC_NUMERIC, wire_str("1234567890")));
  EXPECT_EQ("123456789", num.text(1, 2, 10));
  EXPECT_EQ(-12, num.rc);
  EXPECT_EQ(1, num.out_len);
  EXPECT_EQ("1234567890", num.text(1, 2, 11));
  EXPECT_EQ(0, num.rc);
  EXPECT_EQ(10, num.out_len);
  EXPECT_EQ("", num.text(1, 2, 0));
  EXPECT_EQ(-12, num.rc);
  EXPECT_EQ(11, num.out_len);
  // The same ten bytes of a TC_CHAR fill the buffer exactly, without terminator.
  Received chr(one_value_reply(TC_CHAR, wire_str("abcdefghij")));
  char buf[12];
  memset(buf, '#', sizeof buf);
  int32_t out = 0;
  EXPECT_EQ(0, chr.get(1, 2, buf, 10, &out));
  EXPECT_EQ(10, out);
  EXPECT_EQ("abcdefghij#", std::string(buf, 11));
  EXPECT_EQ("abcdefgh", chr.text(1, 2, 9));
  EXPECT_EQ(-12, chr.rc);
  EXPECT_EQ(2, chr.out_len);
  // Bytes of every copied kind, an array included.
  for (int32_t type : std::initializer_list<int32_t>{TC_CLOB, TC_BINARY, TC_BLOB, TC_CLOB47, TC_TEXT48, 55, TC_TEXT60, TC_CLOB64, 10033}) {
    EXPECT_EQ("raw", text_of(type, wire_str("raw"))) << type;
  }
  // Short texts of codes 29 and 45 as they are.
  EXPECT_EQ("short", text_of(TC_OPAQUE29, wire_str("short")));
  EXPECT_EQ("short", text_of(TC_OPAQUE45, wire_str("short")));
}

TEST(ResultText, LongNumericsAndShortTextsAreNotCut) {
  // Over 63 bytes, the stored text is handed on whole when the buffer holds it, and cut like any
  // text with the count left behind when it doesn't.
  std::string digits(100, '7');
  digits[0] = '-';
  digits[50] = '.';
  for (int32_t type : {TC_NUMERIC, TC_OPAQUE29, TC_OPAQUE45}) {
    SCOPED_TRACE(type);
    Received r(one_value_reply(type, wire_str(digits)));
    EXPECT_EQ(digits, r.text(1, 2, 128));
    EXPECT_EQ(0, r.rc);
    EXPECT_EQ(100, r.out_len);
    EXPECT_EQ(digits.substr(0, 63), r.text(1, 2, 64));
    EXPECT_EQ(-12, r.rc);
    EXPECT_EQ(37, r.out_len);
  }
}

TEST(ResultText, ScalarRenderer) {
  Scalar i(TC_INTEGER, int_field(-70000));
  EXPECT_EQ("-70000", i.written());  // characters only, no terminator
  EXPECT_EQ(0, i.long_form);
  EXPECT_EQ(i.r.result->current_row, *row_slot(i.r.result, 0));
  EXPECT_EQ("T", Scalar(TC_BOOL, byte_field('T')).written());
  EXPECT_EQ("0.1", Scalar(TC_DOUBLE, double_field(0.1)).written());
  EXPECT_EQ("1234.5", Scalar(TC_DOUBLE, double_field(1234.5)).written());
  EXPECT_EQ("2.500000", Scalar(TC_FLOAT, float_field(2.5f)).written());
  EXPECT_EQ("1970-03-01", Scalar(TC_DATE, int_field(59)).written());
  EXPECT_EQ("1969-12-31 23:59:59", Scalar(TC_DATETIME, i64_field(-1)).written());
  EXPECT_EQ("-1-02", Scalar(TC_INTERVAL_YEAR_MONTH, int_field(-14)).written());
  EXPECT_EQ("12.5", Scalar(TC_NUMERIC, wire_str("12.5")).written());
  EXPECT_EQ("abc", Scalar(TC_CHAR, wire_str("abc")).written());
  EXPECT_EQ("abc", Scalar(TC_OPAQUE45, wire_str("abc")).written());

  // Types without a scalar form write nothing and leave long_form alone.
  for (int32_t type : std::initializer_list<int32_t>{TC_TIME_TZ, TC_DATETIME_TZ, TC_OPAQUE29, TC_UNTYPED, 40}) {
    Scalar s(type, type == TC_DATETIME_TZ ? datetime_tz_field(0, 0) : time_tz_field(0, 0));
    EXPECT_EQ("", s.written()) << type;
    EXPECT_EQ(-7, s.long_form) << type;
  }
  // A null writes a zero word.
  Scalar n(TC_INTEGER, null_field());
  EXPECT_EQ(0, memcmp(n.buf, "\0\0\0\0#", 5));
  EXPECT_EQ(-7, n.long_form);

  // Long forms: the length, then a heap copy with a zero behind it, owned by the caller.
  const struct {
    int32_t type;
    std::string value;
  } longs[] = {{TC_CHAR, std::string(64, 'c')},
               {TC_OPAQUE45, std::string(70, 'o')},
               {TC_BLOB, "xy"},
               {TC_CLOB, "text"},
               {TC_BINARY, std::string("\0\1", 2)},
               {TC_CLOB47, "a"},
               {TC_CLOB64, "b"},
               {TC_NUMERIC, "1" + std::string(70, '0')}};
  for (const auto& l : longs) {
    SCOPED_TRACE(l.type);
    Scalar s(l.type, wire_str(l.value));
    EXPECT_EQ(1, s.long_form);
    int32_t len = 0;
    char* copy = nullptr;
    memcpy(&len, s.buf, 4);
    memcpy(&copy, s.buf + 4, sizeof copy);
    EXPECT_EQ(static_cast<int32_t>(l.value.size()), len);
    ASSERT_NE(nullptr, copy);
    EXPECT_EQ(l.value, std::string(copy, len));
    EXPECT_EQ(0, copy[len]);
    free(copy);
  }
}
