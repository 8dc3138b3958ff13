#include "calendar.h"

#include <gtest/gtest.h>

#include <tuple>

#include "interval.h"

namespace zvtest {
namespace {

TEST(ServerCalendar, CountsDaysAndReadsDateAndTimeTexts) {
  const int64_t days[][4] = {{1970, 1, 1, 0},      {1969, 12, 31, -1}, {2000, 3, 1, 11017},
                             {1900, 3, 1, -25508}, {1, 1, 1, -719162}, {9999, 12, 31, 2932896}};
  for (const auto& d : days) {
    EXPECT_EQ(zv::days_from_civil(d[0], static_cast<int>(d[1]), static_cast<int>(d[2])), d[3]) << d[0];
  }

  zv::Moment m;
  ASSERT_TRUE(zv::parse_date_time("2026-01-01T10:00:00.123456", false, m));
  EXPECT_EQ(std::tuple(m.days, m.micros, m.has_zone), std::tuple(20454, 36000123456, false));
  ASSERT_TRUE(zv::parse_date_time("2026-01-01 10:00:00 -0330", true, m));
  EXPECT_EQ(m.zone_minutes, -210);
  ASSERT_TRUE(zv::parse_time("7:05:09.5Z", true, m));
  EXPECT_EQ(std::tuple(m.micros, m.has_zone, m.zone_minutes), std::tuple(25509500000, true, 0));
  for (const char* bad : {"1900-02-29", "2026-13-01", "2026-01-01 24:00:00", "2026-01-01 10:00:00.1234567890",
                          "2026-01-01 10:00:00+08", ""}) {
    EXPECT_FALSE(zv::parse_date_time(bad, false, m)) << bad;
  }
  EXPECT_FALSE(zv::parse_date_time("2026-01-01 10:00:00+16", true, m));
  EXPECT_FALSE(zv::parse_time("10:00:00+08", false, m));
  EXPECT_FALSE(zv::parse_time("10:00:61", false, m));
}

// The shapes SQLite's date functions write take a short path; it must agree with the scanner.
TEST(ServerCalendar, ReadsThePlainShapesOfDatesAndDateTimesAndRefusesTheirBadValues) {
  zv::Moment m;
  m.has_zone = true;
  ASSERT_TRUE(zv::parse_date_time("2020-02-29", false, m));
  EXPECT_EQ(std::tuple(m.days, m.micros, m.has_zone, m.zone_minutes), std::tuple(18321, 0, false, 0));
  ASSERT_TRUE(zv::parse_date_time("2020-02-29T23:59:59", false, m));
  EXPECT_EQ(std::tuple(m.days, m.micros), std::tuple(18321, 86399000000));
  ASSERT_TRUE(zv::parse_date_time("0001-01-01 00:00:01", false, m));
  EXPECT_EQ(std::tuple(m.days, m.micros), std::tuple(-719162, 1000000));
  for (const char* bad : {"2019-02-29", "0000-01-01", "2020-00-10", "2020-01-32", "2020-01-0a", "2020-01-01 24:00:00",
                          "2020-01-01 23:60:00", "2020-01-01 23:59:60", "2020-01-01X10:00:00", "2020-01-01 10-00:00"}) {
    EXPECT_FALSE(zv::parse_date_time(bad, false, m)) << bad;
  }
}

TEST(ServerInterval, RefusesTextsNotOfTheKindsForm) {
  const std::pair<int, const char*> bad[] = {
      {16, "1-12"}, {24, "3 04:05"}, {22, "2:30.5"}, {19, "1 24"}, {24, "999999999999 00:00:00"}, {30, "1"}};
  int64_t total = 0;
  for (auto [code, text] : bad) EXPECT_FALSE(zv::parse_interval(code, text, total)) << code << " " << text;
}

}  // namespace
}  // namespace zvtest
