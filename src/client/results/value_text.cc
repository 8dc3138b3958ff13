// Text forms of numbers, dates, times and intervals. Divisions truncate toward zero and fractions
// of a second are never shown.
#include "results/value_text.h"

#include <cstdlib>
#include <cstring>

#include "connection/client_text.h"
#include "results/calendar.h"
#include "results/field_access.h"
#include "results/result_record.h"

int64_t load_integer(int32_t type, const uint8_t* v) {
  switch (type) {
    case TC_SMALLINT:
      return load_i16(v);
    case TC_INTEGER:
      return load_i32(v);
    case TC_BIGINT:
      return load_i64(v);
    default:  // TC_BOOL, TC_TINYINT
      return static_cast<int8_t>(v[0]);
  }
}

// The zone types keep their words big-endian, as they came.
static uint32_t stored_be32(const uint8_t* v) {
  return static_cast<uint32_t>(v[0]) << 24 | static_cast<uint32_t>(v[1]) << 16 | static_cast<uint32_t>(v[2]) << 8 | v[3];
}
static int16_t stored_be16(const uint8_t* v) { return static_cast<int16_t>(v[0] << 8 | v[1]); }

// The local clock of a time with zone: milliseconds shifted by the offset, the zone in whole hours.
static void time_tz_text(const uint8_t* v, char* buff) {
  int16_t tz = stored_be16(v + 4);
  int32_t t = static_cast<int32_t>(stored_be32(v) + static_cast<uint32_t>(tz * 60000));
  int32_t s = t / 1000;
  client_sprintf(buff, VALUE_TEXT_SIZE, "%d:%02d:%02d%+d", s / 3600, s % 3600 / 60, s % 3600 % 60, tz / 60);
}

// The local date and clock of a datetime with zone, stored as microseconds and an offset in minutes.
static void datetime_tz_text(const uint8_t* v, char* buff) {
  int16_t tz = stored_be16(v + 8);
  uint64_t us = static_cast<uint64_t>(stored_be32(v)) << 32 | stored_be32(v + 4);
  int64_t t = static_cast<int64_t>(us + static_cast<uint64_t>(tz * int64_t{60000000}));
  int32_t p[7];
  ms_to_datetime(t / 1000, p);
  client_sprintf(buff, VALUE_TEXT_SIZE, "%d-%02d-%02d %02d:%02d:%02d%+d", p[0], p[1], p[2], p[3], p[4], p[5], tz / 60);
}

// Intervals of codes 15 to 23, stored as an int32 count of their smallest unit.
static void interval32_text(int32_t type, int32_t v, char* buff) {
  switch (type) {
    case TC_INTERVAL_YEAR_MONTH:
      client_sprintf(buff, VALUE_TEXT_SIZE, "%d-%02d", v / 12, abs(v % 12));
      break;
    case TC_INTERVAL_DAY_HOUR:
      client_sprintf(buff, VALUE_TEXT_SIZE, "%d %02d", v / 24, v % 24);
      break;
    case TC_INTERVAL_DAY_MINUTE:
      client_sprintf(buff, VALUE_TEXT_SIZE, "%d %02d:%02d", v / 1440, v % 1440 / 60, v % 1440 % 60);
      break;
    case TC_INTERVAL_HOUR_MINUTE:
      client_sprintf(buff, VALUE_TEXT_SIZE, "%d:%02d", v / 60, v % 60);
      break;
    default:  // a plain count of years, months, days, hours or minutes
      client_sprintf(buff, VALUE_TEXT_SIZE, "%d", v);
      break;
  }
}

// Intervals of codes 24 to 27, stored as int64 microseconds.
static void interval64_text(int32_t type, int64_t v, char* buff) {
  long long s = v / 1000000;
  switch (type) {
    case TC_INTERVAL_DAY_SECOND:
      client_sprintf(buff, VALUE_TEXT_SIZE, "%lld %lld:%02lld:%02lld", s / 86400, s % 86400 / 3600,
                     s % 86400 % 3600 / 60, s % 86400 % 3600 % 60);
      break;
    case TC_INTERVAL_HOUR_SECOND:
      client_sprintf(buff, VALUE_TEXT_SIZE, "%lld:%02lld:%02lld", s / 3600, s % 3600 / 60, s % 3600 % 60);
      break;
    case TC_INTERVAL_MINUTE_SECOND:
      client_sprintf(buff, VALUE_TEXT_SIZE, "%lld:%02lld", s / 60, s % 60);
      break;
    default:  // TC_INTERVAL_SECOND
      client_sprintf(buff, VALUE_TEXT_SIZE, "%lld", s);
      break;
  }
}

void render_value_text(int32_t type, const uint8_t* v, int32_t len, char* buff) {
  int32_t p[7];
  switch (type) {
    case TC_BOOL:
      // A copy, not a formatted print: every boolean of every row comes through here.
      strcpy(buff, v[0] == 'F' ? "F" : v[0] == 'T' ? "T" : "UNKNOWN");
      return;
    case TC_TINYINT:
    case TC_SMALLINT:
    case TC_INTEGER:
    case TC_BIGINT:
      client_sprintf(buff, VALUE_TEXT_SIZE, "%lld", static_cast<long long>(load_integer(type, v)));
      return;
    case TC_FLOAT:
      client_sprintf(buff, VALUE_TEXT_SIZE, "%f", static_cast<double>(load_f32(v)));
      return;
    case TC_DOUBLE:
      double_to_text(buff, load_f64(v));
      return;
    case TC_DATE:
      days_to_date(load_i32(v), p);
      client_sprintf(buff, VALUE_TEXT_SIZE, "%04d-%02d-%02d", p[0], p[1], p[2]);
      return;
    case TC_TIME:
      ms_to_time(load_i32(v), p);
      client_sprintf(buff, VALUE_TEXT_SIZE, "%02d:%02d:%02d", p[0], p[1], p[2]);
      return;
    case TC_TIME_TZ:
      if (len >= 6) time_tz_text(v, buff);
      return;
    case TC_DATETIME:
      datetime_to_text(load_i64(v), buff);
      return;
    case TC_DATETIME_TZ:
      if (len >= 10) datetime_tz_text(v, buff);
      return;
    default:
      break;
  }
  if (type >= TC_INTERVAL_YEAR && type <= TC_INTERVAL_MINUTE) interval32_text(type, load_i32(v), buff);
  if (type >= TC_INTERVAL_DAY_SECOND && type <= TC_INTERVAL_SECOND) interval64_text(type, load_i64(v), buff);
}
