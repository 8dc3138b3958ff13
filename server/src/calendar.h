// Dates and times on the proleptic Gregorian calendar, read from and written as their
// usual texts.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace zv {

constexpr int64_t kMicrosPerSecond = 1000000;
constexpr int64_t kMicrosPerDay = 86400 * kMicrosPerSecond;

// Days since 1970-01-01 of a valid civil date.
int64_t days_from_civil(int64_t year, int month, int day);

// The canonical stored text of a DATETIME, "2026-01-01 10:00:00.123", of milliseconds since
// 1970-01-01 00:00:00; false outside the years 1 to 9999.
bool datetime_text(int64_t millis, std::string& out);

// A parsed date, time or both, with an optional zone offset.
struct Moment {
  int64_t days = 0;    // since 1970-01-01
  int64_t micros = 0;  // since midnight, local
  bool has_zone = false;
  int zone_minutes = 0;  // east of UTC
};

// "2026-01-01", optionally followed by " 10:00:00[.ffffff]" (or "T...") and a zone
// "+08", "+0800", "+08:00", "Z" when `zone_allowed`.
bool parse_date_time(std::string_view text, bool zone_allowed, Moment& out);
// "10:00", "10:00:00", "10:00:00.123", optionally with a zone when `zone_allowed`.
bool parse_time(std::string_view text, bool zone_allowed, Moment& out);

}  // namespace zv
