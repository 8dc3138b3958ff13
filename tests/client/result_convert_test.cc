// Field access: which TypeCode goes to which CType, the values and lengths delivered, refusals,
// and the checks before any conversion.
#include <gtest/gtest.h>

#include <set>

#include "result_wire.h"
#include "results/field_access.h"

namespace {
// A column of every TypeCode from 1 to 64 and an array, each with a value of its wire form.
std::vector<int32_t> all_types() {
  std::vector<int32_t> types;
  for (int32_t t = 1; t <= 64; t++) types.push_back(t);
  types.push_back(10005);
  return types;
}

std::string value_of_type(int32_t t) {
  switch (t) {
    case TC_FLOAT:
      return float_field(2.5f);
    case TC_DOUBLE:
      return double_field(-1234.5);
    case TC_NUMERIC:
      return wire_str("12.5");
    case TC_TIME_TZ:
      return time_tz_field(8 * 3600000, 480);
    case TC_DATETIME_TZ:
      return datetime_tz_field(0, 60);
    default:
      break;
  }
  switch (type_slot_width(t)) {
    case 1:
      return byte_field('T');
    case 2:
      return i16_field(300);
    case 4:
      return int_field(70000);
    case 8:
      return i64_field(5000000000LL);
    default:
      return wire_str("v" + std::to_string(t));
  }
}

std::string every_type_reply() {
  std::vector<std::string> descs;
  std::string row = "R";
  for (int32_t t : all_types()) {
    descs.push_back(field_desc("C" + std::to_string(t), t));
    row += value_of_type(t);
  }
  return result_head(descs) + row + "K";
}

// The TypeCodes that each CType accepts, outside the text forms.
std::set<int32_t> accepted(int32_t ctype) {
  switch (ctype) {
    case 1:
    case 5:
      return {2, 3, 4, 5, 7};
    case 3:
    case 9:
    case 63: {
      std::vector<int32_t> all = all_types();
      return std::set<int32_t>(all.begin(), all.end());
    }
    case 4:
      return {2, 3, 4};
    case 6:
      return {2, 3, 4, 5, 6, 7};
    case 7:
    case 8:
      return {3, 4, 5, 6, 7, 8, 9};
    case 15:
    case 18:
      return {30, 32, 33, 34, 47, 64};
    case 21:
      return {16, 24};
    case 23:
      return {13};
    case 28:
      return {5, 6, 16};
    case 31:
      return {5, 6, 24};
    default:
      return {};
  }
}

// The TypeCodes that have no text at all.
bool has_no_text(int32_t t) { return t == 1 || t == 28 || t == 31 || (t >= 35 && t <= 44) || t == 46 || (t >= 61 && t <= 63); }

bool is_text_ctype(int32_t c) { return c == 2 || (c >= 10 && c <= 14); }
}  // namespace

TEST(ResultConvert, WhichPairsConvert) {
  Received r(every_type_reply());
  ASSERT_NE(nullptr, r.result);
  std::vector<int32_t> types = all_types();
  for (int32_t ctype = 0; ctype <= 64; ctype++) {
    if (ctype >= 41 && ctype <= 44) continue;  // large-object handles: their own tests
    std::set<int32_t> ok = accepted(ctype);
    for (size_t i = 0; i < types.size(); i++) {
      int32_t t = types[i];
      bool want = is_text_ctype(ctype) ? !has_no_text(t) : ok.count(t) > 0;
      uint8_t buf[256];
      memset(buf, 0xAB, sizeof buf);
      int32_t out_len = 0;
      int32_t rc = r.get(static_cast<int32_t>(i + 1), ctype, buf, 64, &out_len);
      if (want) {
        EXPECT_EQ(0, rc) << "type " << t << " ctype " << ctype;
      } else {
        EXPECT_EQ(-13, rc) << "type " << t << " ctype " << ctype;
        EXPECT_EQ(0, out_len) << "type " << t << " ctype " << ctype;
        // A refusal leaves the caller's buffer alone.
        for (uint8_t b : buf) ASSERT_EQ(0xAB, b) << "type " << t << " ctype " << ctype;
      }
    }
  }
}

TEST(ResultConvert, IntegersAndBooleans) {
  Received r(result_head({field_desc("B", TC_BOOL), field_desc("T", TC_TINYINT), field_desc("S", TC_SMALLINT),
                          field_desc("I", TC_INTEGER), field_desc("L", TC_BIGINT)}) +
             "R" + byte_field('T') + byte_field(static_cast<char>(-10)) + i16_field(-300) + int_field(-70000) +
             i64_field(-5000000000LL) + "K");
  int32_t i32 = 0, out = 0;
  int16_t i16 = 0;
  int64_t i64 = 0;
  float f = 0;
  double d = 0;
  // The boolean's letter taken as an integer.
  EXPECT_EQ(0, r.get(1, 1, &i32, 4, &out));
  EXPECT_EQ(84, i32);
  EXPECT_EQ(4, out);
  EXPECT_EQ(0, r.get(1, 4, &i16, 2, &out));
  EXPECT_EQ(84, i16);
  EXPECT_EQ(2, out);
  EXPECT_EQ(0, r.get(1, 6, &i64, 8, &out));
  EXPECT_EQ(84, i64);
  EXPECT_EQ(8, out);
  EXPECT_EQ(-13, r.get(1, 8, &d, 8, &out));
  EXPECT_EQ(-13, r.get(1, 7, &f, 4, &out));

  EXPECT_EQ(0, r.get(2, 5, &i32, 4, &out));
  EXPECT_EQ(-10, i32);
  EXPECT_EQ(0, r.get(2, 4, &i16, 2, &out));
  EXPECT_EQ(-10, i16);
  EXPECT_EQ(0, r.get(2, 7, &f, 4, &out));
  EXPECT_EQ(-10.0f, f);
  EXPECT_EQ(4, out);
  EXPECT_EQ(0, r.get(2, 8, &d, 8, &out));
  EXPECT_EQ(-10.0, d);
  EXPECT_EQ(8, out);

  EXPECT_EQ(0, r.get(3, 1, &i32, 4, &out));
  EXPECT_EQ(-300, i32);
  EXPECT_EQ(0, r.get(3, 4, &i16, 2, &out));
  EXPECT_EQ(-300, i16);
  EXPECT_EQ(0, r.get(3, 6, &i64, 8, &out));
  EXPECT_EQ(-300, i64);

  EXPECT_EQ(0, r.get(4, 5, &i32, 4, &out));
  EXPECT_EQ(-70000, i32);
  EXPECT_EQ(-13, r.get(4, 4, &i16, 2, &out));  // no narrowing
  EXPECT_EQ(0, out);
  EXPECT_EQ(0, r.get(4, 28, &i64, 8, &out));
  EXPECT_EQ(-70000, i64);
  EXPECT_EQ(8, out);
  i64 = 0;
  EXPECT_EQ(0, r.get(4, 31, &i64, 8, &out));
  EXPECT_EQ(-70000, i64);

  EXPECT_EQ(-13, r.get(5, 1, &i32, 4, &out));
  EXPECT_EQ(-13, r.get(5, 5, &i32, 4, &out));
  EXPECT_EQ(0, r.get(5, 6, &i64, 8, &out));
  EXPECT_EQ(-5000000000LL, i64);
  EXPECT_EQ(0, r.get(5, 8, &d, 8, &out));
  EXPECT_EQ(-5e9, d);
  EXPECT_EQ(0, r.get(5, 7, &f, 4, &out));
  EXPECT_EQ(-5e9f, f);
  i64 = 0;
  EXPECT_EQ(0, r.get(5, 28, &i64, 8, &out));
  EXPECT_EQ(-5000000000LL, i64);
  i64 = 0;
  EXPECT_EQ(0, r.get(5, 31, &i64, 8, &out));
  EXPECT_EQ(-5000000000LL, i64);
  EXPECT_EQ("-5000000000", r.text(5));
  EXPECT_EQ(11, r.out_len);

  // One raw byte, whatever the type.
  char c = 0;
  EXPECT_EQ(0, r.get(1, 3, &c, 1, &out));
  EXPECT_EQ('T', c);
  EXPECT_EQ(1, out);
  EXPECT_EQ(0, r.get(4, 63, &c, 1, &out));
  int32_t raw = -70000;
  EXPECT_EQ(reinterpret_cast<char*>(&raw)[0], c);
}

TEST(ResultConvert, NumericsFloatsAndDoubles) {
  Received r(result_head({field_desc("N", TC_NUMERIC), field_desc("F", TC_FLOAT), field_desc("D", TC_DOUBLE),
                          field_desc("M", TC_NUMERIC), field_desc("H", TC_NUMERIC)}) +
             "R" + wire_str("12.5") + float_field(2.5f) + double_field(-1234.5) + wire_str("  -42abc") +
             wire_str("99999999999") + "K");
  int32_t i32 = 0, out = 0;
  int64_t i64 = 0;
  float f = 0;
  double d = 0;
  EXPECT_EQ(0, r.get(1, 5, &i32, 4, &out));
  EXPECT_EQ(12, i32);
  EXPECT_EQ(0, r.get(1, 8, &d, 8, &out));
  EXPECT_EQ(12.5, d);
  EXPECT_EQ("12.5", r.text(1));
  EXPECT_EQ(4, r.out_len);
  EXPECT_EQ(0, r.get(1, 6, &i64, 8, &out));
  EXPECT_EQ(12, i64);
  EXPECT_EQ(0, r.get(1, 7, &f, 4, &out));
  EXPECT_EQ(12.5f, f);
  // CType 9: the stored bytes, no terminator added.
  char raw[16];
  memset(raw, '#', sizeof raw);
  EXPECT_EQ(0, r.get(1, 9, raw, 0, &out));
  EXPECT_EQ(4, out);
  EXPECT_EQ("12.5#", std::string(raw, 5));

  // Integers read from text: white space and sign, up to the first other character; held to int32.
  EXPECT_EQ(0, r.get(4, 1, &i32, 4, &out));
  EXPECT_EQ(-42, i32);
  EXPECT_EQ(0, r.get(5, 5, &i32, 4, &out));
  EXPECT_EQ(INT32_MAX, i32);
  EXPECT_EQ(0, r.get(5, 6, &i64, 8, &out));
  EXPECT_EQ(INT32_MAX, i64);
  EXPECT_EQ(0, r.get(5, 8, &d, 8, &out));
  EXPECT_EQ(99999999999.0, d);

  EXPECT_EQ(0, r.get(2, 7, &f, 4, &out));
  EXPECT_EQ(2.5f, f);
  EXPECT_EQ(0, r.get(2, 8, &d, 8, &out));
  EXPECT_EQ(2.5, d);
  EXPECT_EQ(-13, r.get(2, 5, &i32, 4, &out));
  EXPECT_EQ("2.500000", r.text(2));
  EXPECT_EQ(0, r.get(3, 8, &d, 8, &out));
  EXPECT_EQ(-1234.5, d);
  EXPECT_EQ(0, r.get(3, 7, &f, 4, &out));
  EXPECT_EQ(-1234.5f, f);
  EXPECT_EQ("-1234.500000000000", r.text(3));
  EXPECT_EQ(-13, r.get(3, 6, &i64, 8, &out));
}

TEST(ResultConvert, DatesTimesAndIntervalsAsNumbers) {
  Received r(result_head({field_desc("D", TC_DATE), field_desc("T", TC_DATETIME),
                          field_desc("YM", TC_INTERVAL_YEAR_MONTH), field_desc("DS", TC_INTERVAL_DAY_SECOND)}) +
             "R" + int_field(59) + i64_field(-1) + int_field(-14) + i64_field(90061000000LL) + "K");
  int64_t i64 = 7;
  int32_t i32 = 0, out = 5;
  // CType 23 is for TC_DATETIME only.
  EXPECT_EQ(-13, r.get(1, 23, &i64, 8, &out));
  EXPECT_EQ(0, out);
  EXPECT_EQ(7, i64);
  EXPECT_EQ(0, r.get(2, 23, &i64, 8, &out));
  EXPECT_EQ(-1, i64);
  EXPECT_EQ(8, out);
  // Year-month as its int32 months; day-second as int64 microseconds.
  EXPECT_EQ(0, r.get(3, 28, &i32, 4, &out));
  EXPECT_EQ(-14, i32);
  EXPECT_EQ(4, out);
  EXPECT_EQ(0, r.get(4, 31, &i64, 8, &out));
  EXPECT_EQ(90061000000LL, i64);
  EXPECT_EQ(8, out);
  EXPECT_EQ(-13, r.get(4, 28, &i64, 8, &out));
  // CType 21 accepts both and delivers nothing, leaving out_len as it was.
  i32 = 123;
  out = 55;
  EXPECT_EQ(0, r.get(3, 21, &i32, 4, &out));
  EXPECT_EQ(123, i32);
  EXPECT_EQ(55, out);
  EXPECT_EQ(0, r.get(4, 21, &i32, 4, &out));
  EXPECT_EQ(55, out);
  EXPECT_EQ(-13, r.get(1, 21, &i32, 4, &out));
  EXPECT_EQ(0, out);
}

TEST(ResultConvert, BinaryCopiesAndPieces) {
  Received r(result_head({field_desc("C", TC_CHAR), field_desc("B", TC_BLOB), field_desc("I", TC_INTEGER)}) + "R" +
             wire_str("hello") + wire_str(std::string("a\0b\0c", 5)) + int_field(9) + "K");
  char buf[16];
  int32_t out = 0;
  // Bounded copy: all bytes when they fit, no terminator needed.
  memset(buf, '#', sizeof buf);
  EXPECT_EQ(0, r.get(1, 15, buf, 5, &out));
  EXPECT_EQ(5, out);
  EXPECT_EQ("hello", std::string(buf, 5));
  EXPECT_EQ('#', buf[5]);
  // Cut: buffer_len bytes and the count left behind.
  memset(buf, '#', sizeof buf);
  EXPECT_EQ(-12, r.get(1, 15, buf, 3, &out));
  EXPECT_EQ(2, out);
  EXPECT_EQ("hel#", std::string(buf, 4));
  EXPECT_EQ(0, r.get(2, 15, buf, 16, &out));
  EXPECT_EQ(5, out);
  EXPECT_EQ(std::string("a\0b\0c", 5), std::string(buf, 5));
  EXPECT_EQ(0, buf[5]);  // the buffer is zeroed first

  // Pieces of 2 from a 5-byte value: 2, 2, 1, then the end, then past it.
  const int32_t offsets[] = {0, 2, 4};
  const char* pieces[] = {"he", "ll", "o"};
  for (int i = 0; i < 3; i++) {
    memset(buf, '#', sizeof buf);
    out = offsets[i];
    EXPECT_EQ(0, r.get(1, 18, buf, 2, &out));
    EXPECT_EQ(static_cast<int32_t>(strlen(pieces[i])), out);
    EXPECT_EQ(std::string(pieces[i]), std::string(buf, out));
  }
  out = 5;
  EXPECT_EQ(0, r.get(1, 18, buf, 2, &out));
  EXPECT_EQ(0, out);
  out = 6;
  EXPECT_EQ(-18, r.get(1, 18, buf, 2, &out));
  out = -1;  // an offset before the start is outside the value as well
  EXPECT_EQ(-18, r.get(1, 18, buf, 2, &out));
  // The type is checked only for a read that would deliver bytes.
  out = 4;
  EXPECT_EQ(0, r.get(3, 18, buf, 2, &out));
  EXPECT_EQ(0, out);
  out = 0;
  EXPECT_EQ(-13, r.get(3, 18, buf, 2, &out));
  EXPECT_EQ(0, out);
}

TEST(ResultConvert, ChecksBeforeConverting) {
  Received r(result_head({field_desc("I", TC_INTEGER), field_desc("C", TC_CHAR)}) + "R" + int_field(1) +
             null_field() + "R" + int_field(2) + wire_str("x") + "K");
  ASSERT_NE(nullptr, r.result);
  int32_t v = 0, out = 9;
  // Bad handle or buffer: -3.
  EXPECT_EQ(-3, r.get(1, 5, nullptr, 4, &out));
  EXPECT_EQ(-3, r.get(1, 5, &v, -1, &out));
  EXPECT_EQ(-3, ZVC_GetData(nullptr, 1, 5, &v, 4, &out));
  void* empty = nullptr;
  EXPECT_EQ(-3, ZVC_GetData(&empty, 1, 5, &v, 4, &out));
  void* conn = r.peer.conn;
  EXPECT_EQ(-3, ZVC_GetData(&conn, 1, 5, &v, 4, &out));
  EXPECT_EQ(9, out);
  // Column numbers count from 1.
  EXPECT_EQ(-15, r.get(0, 5, &v, 4, &out));
  EXPECT_EQ(-15, r.get(3, 5, &v, 4, &out));
  EXPECT_EQ(-15, r.get(INT32_MIN, 5, &v, 4, &out));
  // A null field: -11 and out_len 0, whatever the CType.
  out = 9;
  EXPECT_EQ(-11, r.get(2, 2, &v, 4, &out));
  EXPECT_EQ(0, out);
  EXPECT_EQ(-11, r.get(2, 99, &v, 4, &out));
  // CType outside 1 to 63: -13.
  EXPECT_EQ(-13, r.get(1, 0, &v, 4, &out));
  EXPECT_EQ(-13, r.get(1, 64, &v, 4, &out));
  EXPECT_EQ(-13, r.get(1, -5, &v, 4, &out));
  // A null out_len is allowed.
  EXPECT_EQ(0, r.get(1, 5, &v, 4, nullptr));
  EXPECT_EQ(1, v);
  // No current row: before the first and after the last.
  ASSERT_EQ(0, next_row(r.result));
  EXPECT_EQ(0, r.get(1, 5, &v, 4, &out));
  EXPECT_EQ(2, v);
  EXPECT_EQ(100, next_row(r.result));
  out = 9;
  EXPECT_EQ(-11, r.get(1, 5, &v, 4, &out));
  EXPECT_EQ(0, out);
}

TEST(ResultConvert, LargeObjectCTypesGoThroughAHandle) {
  Received r(result_head({field_desc("L", TC_CLOB), field_desc("I", TC_INTEGER)}) + "R" + wire_str("lob bytes") +
             int_field(3) + "K");
  LobHandle* lob = nullptr;
  ASSERT_EQ(0, ZVC_CreateLob(&lob));
  int32_t out = 0;
  EXPECT_EQ(0, r.get(1, 41, &lob, 8, &out));
  EXPECT_EQ(9, out);
  char back[16] = {0};
  EXPECT_EQ(9, ZVC_GetLobData(&lob, back, sizeof back));
  EXPECT_STREQ("lob bytes", back);
  ZVC_FreeLob(&lob);
  ASSERT_EQ(0, ZVC_CreateLob(&lob));
  EXPECT_EQ(-13, r.get(2, 42, &lob, 8, &out));
  EXPECT_EQ(0, out);
  ZVC_FreeLob(&lob);
}
