#include <gtest/gtest.h>

#include "calendar.h"
#include "interval.h"
#include "interval_type_quoting.h"
#include "type_codes.h"

namespace zvtest {
namespace {

TEST(ServerCalendar, CountsDaysOnTheProlepticGregorianCalendar) {
  EXPECT_EQ(zv::days_from_civil(1970, 1, 1), 0);
  EXPECT_EQ(zv::days_from_civil(1969, 12, 31), -1);
  EXPECT_EQ(zv::days_from_civil(1970, 3, 1), 59);
  EXPECT_EQ(zv::days_from_civil(2000, 2, 29), 11016);
  EXPECT_EQ(zv::days_from_civil(2000, 3, 1), 11017);
  EXPECT_EQ(zv::days_from_civil(1900, 3, 1), -25508);
  EXPECT_EQ(zv::days_from_civil(1, 1, 1), -719162);
  EXPECT_EQ(zv::days_from_civil(9999, 12, 31), 2932896);
}

TEST(ServerCalendar, ReadsDateTimeTexts) {
  zv::Moment m;
  ASSERT_TRUE(zv::parse_date_time("2026-01-01 10:00:00.123456", false, m));
  EXPECT_EQ(m.days, 20454);
  EXPECT_EQ(m.micros, 36000123456);
  EXPECT_FALSE(m.has_zone);
  ASSERT_TRUE(zv::parse_date_time("2026-01-01T10:00", false, m));
  EXPECT_EQ(m.micros, 36000000000);
  ASSERT_TRUE(zv::parse_date_time("2026-01-01 10:00:00 -0330", true, m));
  EXPECT_EQ(m.zone_minutes, -210);
  ASSERT_TRUE(zv::parse_date_time("2024-02-29", false, m));
  EXPECT_EQ(m.micros, 0);

  for (const char* bad : {"2023-02-29", "2026-13-01", "2026-00-10", "26-01-01", "2026-01-01 24:00:00",
                          "2026-01-01 10:60", "2026-01-01 10:00:00+08", "2026-01-01x", ""}) {
    EXPECT_FALSE(zv::parse_date_time(bad, false, m)) << bad;
  }
  EXPECT_FALSE(zv::parse_date_time("2026-01-01 10:00:00+16", true, m));
}

TEST(ServerCalendar, ReadsTimeTextsWithAndWithoutZone) {
  zv::Moment m;
  ASSERT_TRUE(zv::parse_time("10:00:00+08", true, m));
  EXPECT_EQ(m.micros, 36000000000);
  EXPECT_EQ(m.zone_minutes, 480);
  ASSERT_TRUE(zv::parse_time("7:05:09.5Z", true, m));
  EXPECT_EQ(m.micros, 25509500000);
  EXPECT_TRUE(m.has_zone);
  EXPECT_EQ(m.zone_minutes, 0);
  EXPECT_FALSE(zv::parse_time("10:00:00+08", false, m));
  EXPECT_FALSE(zv::parse_time("10", false, m));
  EXPECT_FALSE(zv::parse_time("10:00:61", false, m));
}

TEST(ServerInterval, ReadsEachKindIntoItsWireUnit) {
  struct Case {
    int code;
    const char* text;
    int64_t total;
  };
  const Case cases[] = {
      {15, "12", 12},           {16, "1-02", 14},           {16, "-1-02", -14},
      {17, "30", 30},           {18, "400", 400},           {19, "1 01", 25},
      {20, "-5", -5},           {21, "1 02:03", 1563},      {22, "2:30", 150},
      {23, "45", 45},           {24, "3 04:05:06", 273906000000}, {24, "-1 1:01:01.25", -90061250000},
      {25, "1:00:00.5", 3600500000}, {26, "2:03", 123000000}, {27, "7.000001", 7000001},
  };
  for (const Case& k : cases) {
    int64_t total = 0;
    ASSERT_TRUE(zv::parse_interval(k.code, k.text, total)) << k.code << " " << k.text;
    EXPECT_EQ(total, k.total) << k.code << " " << k.text;
  }
  int64_t total;
  EXPECT_FALSE(zv::parse_interval(16, "1-12", total));
  EXPECT_FALSE(zv::parse_interval(24, "3 04:05", total));
  EXPECT_FALSE(zv::parse_interval(22, "2:30.5", total));
  EXPECT_FALSE(zv::parse_interval(19, "1 24", total));
  EXPECT_FALSE(zv::parse_interval(24, "999999999999 00:00:00", total));
  EXPECT_FALSE(zv::parse_interval(30, "1", total));
}

TEST(ServerTypes, MapsDeclaredTypesToCodes) {
  EXPECT_EQ(zv::type_from_declared("varchar(32)").code, zv::kChar);
  EXPECT_EQ(zv::type_from_declared("varchar(32)").size, 32);
  EXPECT_EQ(zv::type_from_declared("Time  With Time Zone").code, zv::kTimeTz);
  EXPECT_EQ(zv::type_from_declared("INTERVAL HOUR(2) TO MINUTE").code, 22);
  EXPECT_EQ(zv::type_from_declared("INTERVAL HOUR(2) TO MINUTE").size, 2);
  EXPECT_EQ(zv::type_from_declared("decimal(12,4)").detail, 4);
  EXPECT_EQ(zv::type_from_declared("geometry").code, zv::kUndeclared);
  EXPECT_EQ(zv::type_from_declared(nullptr).code, zv::kUndeclared);
  EXPECT_EQ(zv::type_from_value(5 /* SQLITE_NULL */, 0).code, zv::kChar);
  EXPECT_EQ(zv::type_from_value(1 /* SQLITE_INTEGER */, -2147483649LL).code, zv::kBigInt);
}

TEST(ServerTypes, QuotesIntervalTypesForSqlite) {
  EXPECT_EQ(zv::quote_interval_types("create table t(a interval day to second, b INTERVAL YEAR(2) TO MONTH)"),
            "create table t(a \"interval day to second\", b \"INTERVAL YEAR(2) TO MONTH\")");
  EXPECT_EQ(zv::quote_interval_types("select 'interval day to second', cast(x as interval day) -- interval a to b"),
            "select 'interval day to second', cast(x as interval day) -- interval a to b");
  EXPECT_TRUE(zv::may_hold_interval_type("x Interval y"));
  EXPECT_FALSE(zv::may_hold_interval_type("select 1"));
}

}  // namespace
}  // namespace zvtest
