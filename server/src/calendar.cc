#include "calendar.h"

#include <cstdio>

namespace zv {
namespace {

bool is_leap(int64_t y) { return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0; }

int days_in_month(int64_t y, int m) {
  static const int kDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return m == 2 && is_leap(y) ? 29 : kDays[m - 1];
}

// Reads the pieces of a date/time text from left to right.
class Scanner {
 public:
  explicit Scanner(std::string_view s) : s_(s) {}

  bool done() const { return pos_ == s_.size(); }
  bool peek(char c) const { return pos_ < s_.size() && s_[pos_] == c; }
  bool take(char c) {
    if (!peek(c)) return false;
    ++pos_;
    return true;
  }
  // Between `min` and `max` decimal digits.
  bool number(int min, int max, int64_t& out) {
    int n = 0;
    out = 0;
    while (n < max && pos_ < s_.size() && s_[pos_] >= '0' && s_[pos_] <= '9') {
      out = out * 10 + (s_[pos_++] - '0');
      ++n;
    }
    return n >= min;
  }
  // Fraction digits after a ".", as microseconds; digits past the sixth are dropped.
  bool fraction(int64_t& micros) {
    int64_t scale = 100000;
    int n = 0;
    micros = 0;
    while (pos_ < s_.size() && s_[pos_] >= '0' && s_[pos_] <= '9') {
      micros += (s_[pos_++] - '0') * scale;
      scale /= 10;
      ++n;
    }
    return n > 0 && n <= 9;
  }

 private:
  std::string_view s_;
  size_t pos_ = 0;
};

bool scan_date(Scanner& in, int64_t& days) {
  int64_t y, m, d;
  if (!in.number(4, 4, y) || !in.take('-') || !in.number(1, 2, m) || !in.take('-') || !in.number(1, 2, d)) return false;
  if (y < 1 || m < 1 || m > 12 || d < 1 || d > days_in_month(y, static_cast<int>(m))) return false;
  days = days_from_civil(y, static_cast<int>(m), static_cast<int>(d));
  return true;
}

bool scan_clock(Scanner& in, int64_t& micros) {
  int64_t h, m, s = 0, frac = 0;
  if (!in.number(1, 2, h) || !in.take(':') || !in.number(2, 2, m)) return false;
  if (in.take(':')) {
    if (!in.number(2, 2, s)) return false;
    if (in.take('.') && !in.fraction(frac)) return false;
  }
  if (h > 23 || m > 59 || s > 59) return false;
  micros = ((h * 60 + m) * 60 + s) * kMicrosPerSecond + frac;
  return true;
}

// "Z", or a sign with hours and optional minutes: +08, +0800, +08:00.
bool scan_zone(Scanner& in, Moment& out) {
  in.take(' ');
  if (in.take('Z')) {
    out.has_zone = true;
    out.zone_minutes = 0;
    return true;
  }
  int sign = in.take('-') ? -1 : (in.take('+') ? 1 : 0);
  if (sign == 0) return false;
  int64_t h, m = 0;
  if (!in.number(2, 2, h)) return false;
  if (in.take(':')) {
    if (!in.number(2, 2, m)) return false;
  } else if (!in.done() && !in.number(2, 2, m)) {
    return false;
  }
  if (h > 15 || m > 59) return false;
  out.has_zone = true;
  out.zone_minutes = sign * static_cast<int>(h * 60 + m);
  return true;
}

bool scan_rest_zone(Scanner& in, bool zone_allowed, Moment& out) {
  if (in.done()) return true;
  return zone_allowed && scan_zone(in, out) && in.done();
}

bool digit(char c) { return c >= '0' && c <= '9'; }

// The digits text[at, at + n) as a number, or -1 when one of them is no digit.
int64_t digits_at(std::string_view text, size_t at, size_t n) {
  int64_t v = 0;
  for (size_t i = at; i < at + n; ++i) {
    if (!digit(text[i])) return -1;
    v = v * 10 + (text[i] - '0');
  }
  return v;
}

// "YYYY-MM-DD" and "YYYY-MM-DD HH:MM:SS" (or "T"), the shapes SQLite's date functions write, read
// without the general scanner; false for any other text, which the scanner then reads. A text
// taken here gives what the scanner would give for it.
bool parse_plain_date_time(std::string_view text, Moment& out) {
  if ((text.size() != 10 && text.size() != 19) || text[4] != '-' || text[7] != '-') return false;
  const int64_t y = digits_at(text, 0, 4), m = digits_at(text, 5, 2), d = digits_at(text, 8, 2);
  if (y < 1 || m < 1 || m > 12 || d < 1 || d > days_in_month(y, static_cast<int>(m))) return false;
  int64_t micros = 0;
  if (text.size() == 19) {
    if ((text[10] != ' ' && text[10] != 'T') || text[13] != ':' || text[16] != ':') return false;
    const int64_t h = digits_at(text, 11, 2), mi = digits_at(text, 14, 2), sec = digits_at(text, 17, 2);
    if (h < 0 || h > 23 || mi < 0 || mi > 59 || sec < 0 || sec > 59) return false;
    micros = ((h * 60 + mi) * 60 + sec) * kMicrosPerSecond;
  }
  out = Moment{};
  out.days = days_from_civil(y, static_cast<int>(m), static_cast<int>(d));
  out.micros = micros;
  return true;
}

}  // namespace

int64_t days_from_civil(int64_t year, int month, int day) {
  // Count from 0000-03-01 so that the leap day ends each 4-year cycle.
  int64_t y = month <= 2 ? year - 1 : year;
  int64_t era = (y >= 0 ? y : y - 399) / 400;
  int64_t year_of_era = y - era * 400;
  int64_t shifted_month = month > 2 ? month - 3 : month + 9;
  int64_t day_of_year = (153 * shifted_month + 2) / 5 + day - 1;
  int64_t day_of_era = year_of_era * 365 + year_of_era / 4 - year_of_era / 100 + day_of_year;
  return era * 146097 + day_of_era - 719468;
}

bool datetime_text(int64_t millis, std::string& out) {
  constexpr int64_t kMillisPerDay = 86400000;
  // Days before 0001-01-01 and after 9999-12-31 are refused before any arithmetic on them.
  const int64_t first = days_from_civil(1, 1, 1) * kMillisPerDay;
  const int64_t end = (days_from_civil(9999, 12, 31) + 1) * kMillisPerDay;
  if (millis < first || millis >= end) return false;
  int64_t days = millis / kMillisPerDay, ms = millis % kMillisPerDay;
  if (ms < 0) {
    ms += kMillisPerDay;
    --days;
  }
  // The inverse of days_from_civil, again counting from 0000-03-01.
  int64_t z = days + 719468;
  int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  int64_t day_of_era = z - era * 146097;
  int64_t year_of_era = (day_of_era - day_of_era / 1460 + day_of_era / 36524 - day_of_era / 146096) / 365;
  int64_t day_of_year = day_of_era - (365 * year_of_era + year_of_era / 4 - year_of_era / 100);
  int64_t shifted_month = (5 * day_of_year + 2) / 153;
  int64_t day = day_of_year - (153 * shifted_month + 2) / 5 + 1;
  int64_t month = shifted_month < 10 ? shifted_month + 3 : shifted_month - 9;
  int64_t year = year_of_era + era * 400 + (month <= 2 ? 1 : 0);
  char buf[32];
  int n = std::snprintf(buf, sizeof buf, "%04d-%02d-%02d %02d:%02d:%02d.%03d", static_cast<int>(year),
                        static_cast<int>(month), static_cast<int>(day), static_cast<int>(ms / 3600000),
                        static_cast<int>(ms / 60000 % 60), static_cast<int>(ms / 1000 % 60), static_cast<int>(ms % 1000));
  out.assign(buf, static_cast<size_t>(n));
  return true;
}

bool parse_date_time(std::string_view text, bool zone_allowed, Moment& out) {
  if (parse_plain_date_time(text, out)) return true;
  Scanner in(text);
  out = Moment{};
  if (!scan_date(in, out.days)) return false;
  if (in.take(' ') || in.take('T')) {
    if (!scan_clock(in, out.micros)) return false;
  }
  return scan_rest_zone(in, zone_allowed, out);
}

bool parse_time(std::string_view text, bool zone_allowed, Moment& out) {
  Scanner in(text);
  out = Moment{};
  return scan_clock(in, out.micros) && scan_rest_zone(in, zone_allowed, out);
}

}  // namespace zv
