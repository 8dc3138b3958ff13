#include "interval.h"

#include "calendar.h"

namespace zv {
namespace {

enum Unit { kYear, kMonth, kDay, kHour, kMinute, kSecond };

// Each unit in months (year-month intervals) or microseconds (day-time intervals).
constexpr int64_t kUnitSize[] = {12, 1, kMicrosPerDay, 3600 * kMicrosPerSecond, 60 * kMicrosPerSecond,
                                 kMicrosPerSecond};
// What stands in front of a unit that is not the leading one: "1-02", "3 04:05:06".
constexpr char kSeparator[] = {0, '-', 0, ' ', ':', ':'};
// Largest value of a unit that is not the leading one.
constexpr int64_t kMaxValue[] = {0, 11, 0, 23, 59, 59};

struct Kind {
  Unit first;
  Unit last;
};

// Type codes 15..27 in order.
constexpr Kind kKinds[] = {
    {kYear, kYear},     {kYear, kMonth},   {kMonth, kMonth}, {kDay, kDay},       {kDay, kHour},
    {kHour, kHour},     {kDay, kMinute},   {kHour, kMinute}, {kMinute, kMinute}, {kDay, kSecond},
    {kHour, kSecond},   {kMinute, kSecond}, {kSecond, kSecond},
};

bool read_digits(std::string_view s, size_t& pos, int max_digits, int64_t& out) {
  size_t start = pos;
  out = 0;
  while (pos < s.size() && s[pos] >= '0' && s[pos] <= '9' && pos - start < static_cast<size_t>(max_digits)) {
    out = out * 10 + (s[pos++] - '0');
  }
  return pos > start;
}

bool read_fraction(std::string_view s, size_t& pos, int64_t& micros) {
  int64_t scale = 100000;
  size_t start = pos;
  micros = 0;
  while (pos < s.size() && s[pos] >= '0' && s[pos] <= '9') {
    micros += (s[pos++] - '0') * scale;
    scale /= 10;
  }
  return pos > start && pos - start <= 9;
}

}  // namespace

bool parse_interval(int type_code, std::string_view s, int64_t& total) {
  if (type_code < 15 || type_code > 27) return false;
  const Kind kind = kKinds[type_code - 15];
  size_t pos = 0;
  int64_t sign = 1;
  if (pos < s.size() && (s[pos] == '-' || s[pos] == '+')) sign = s[pos++] == '-' ? -1 : 1;
  int64_t sum = 0;
  for (int u = kind.first; u <= kind.last; ++u) {
    if (u != kind.first && (pos >= s.size() || s[pos++] != kSeparator[u])) return false;
    int64_t value;
    if (!read_digits(s, pos, u == kind.first ? 12 : 2, value)) return false;
    if (u != kind.first && value > kMaxValue[u]) return false;
    int64_t part;
    if (__builtin_mul_overflow(value, kUnitSize[u], &part) || __builtin_add_overflow(sum, part, &sum)) return false;
  }
  if (kind.last == kSecond && pos < s.size() && s[pos] == '.') {
    int64_t micros;
    ++pos;
    if (!read_fraction(s, pos, micros)) return false;
    if (__builtin_add_overflow(sum, micros, &sum)) return false;
  }
  if (pos != s.size()) return false;
  // Day-time intervals up to seconds travel in microseconds, the others in their last unit.
  int64_t wire_unit = kind.last == kSecond ? 1 : kUnitSize[kind.last];
  total = sign * (sum / wire_unit);
  return true;
}

}  // namespace zv
