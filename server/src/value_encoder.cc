#include "value_encoder.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "calendar.h"
#include "interval.h"
#include "large_blocks.h"
#include "text_util.h"

namespace zv {
namespace {

std::string_view column_text(sqlite3_value* value) {
  const char* p = reinterpret_cast<const char*>(sqlite3_value_text(value));
  return p ? std::string_view(p, static_cast<size_t>(sqlite3_value_bytes(value))) : std::string_view();
}

// An integer, a real rounded to the nearest integer, or a text of decimal digits.
bool read_integer(sqlite3_value* value, int storage, int64_t& out) {
  switch (storage) {
    case SQLITE_INTEGER:
      out = sqlite3_value_int64(value);
      return true;
    case SQLITE_FLOAT: {
      double d = std::nearbyint(sqlite3_value_double(value));
      if (!(d >= -9.2e18 && d <= 9.2e18)) return false;
      out = static_cast<int64_t>(d);
      return true;
    }
    case SQLITE_TEXT:
      return parse_int64(trim(column_text(value)), out);
    default:
      return false;
  }
}

bool read_double(sqlite3_value* value, int storage, double& out) {
  if (storage == SQLITE_INTEGER || storage == SQLITE_FLOAT) {
    out = sqlite3_value_double(value);
    return true;
  }
  if (storage != SQLITE_TEXT) return false;
  std::string text(trim(column_text(value)));
  char* end = nullptr;
  out = std::strtod(text.c_str(), &end);
  return !text.empty() && *end == '\0';
}

bool read_bool(sqlite3_value* value, int storage, bool& out) {
  if (storage == SQLITE_INTEGER) {
    out = sqlite3_value_int64(value) != 0;
    return true;
  }
  if (storage == SQLITE_FLOAT) {
    out = sqlite3_value_double(value) != 0;
    return true;
  }
  if (storage != SQLITE_TEXT) return false;
  std::string_view t = trim(column_text(value));
  if (iequals(t, "true") || iequals(t, "t") || t == "1") {
    out = true;
    return true;
  }
  if (iequals(t, "false") || iequals(t, "f") || t == "0") {
    out = false;
    return true;
  }
  return false;
}

// Digits of a non-negative integer, right-aligned so that the text ends at `end`.
char* digits_before(char* end, uint64_t v) {
  do {
    *--end = static_cast<char>('0' + v % 10);
    v /= 10;
  } while (v != 0);
  return end;
}

// The decimal text of `units` / 10^scale, e.g. 12345 with scale 2 gives "123.45".
size_t fixed_point_text(int64_t units, int scale, char* buf) {
  char tmp[48];
  char* end = tmp + sizeof tmp;
  uint64_t magnitude = units < 0 ? 0 - static_cast<uint64_t>(units) : static_cast<uint64_t>(units);
  char* p = end;
  for (int i = 0; i < scale; ++i) {
    *--p = static_cast<char>('0' + magnitude % 10);
    magnitude /= 10;
  }
  if (scale > 0) *--p = '.';
  p = digits_before(p, magnitude);
  if (units < 0) *--p = '-';
  size_t n = static_cast<size_t>(end - p);
  std::memcpy(buf, p, n);
  return n;
}

int64_t power_of_ten(int n) {
  int64_t v = 1;
  while (n-- > 0) v *= 10;
  return v;
}

// Keeps a millisecond count clear of overflow once it is turned into microseconds.
constexpr int64_t kMaxEpochMillis = 9000000000000000;

int32_t width_of(int32_t code) {
  switch (code) {
    case kTinyInt: return 1;
    case kSmallInt: return 2;
    case kInteger: return 4;
    default: return 8;
  }
}

bool fits(int64_t v, int32_t code) {
  switch (code) {
    case kTinyInt: return v >= INT8_MIN && v <= INT8_MAX;
    case kSmallInt: return v >= INT16_MIN && v <= INT16_MAX;
    case kInteger: return v >= INT32_MIN && v <= INT32_MAX;
    default: return true;
  }
}

}  // namespace

bool ValueEncoder::write(sqlite3_stmt* stmt, int col, const ColumnType& type) {
  sqlite3_value* value = sqlite3_column_value(stmt, col);
  const int storage = sqlite3_value_type(value);
  if (storage == SQLITE_NULL) {
    write_null();
    return true;
  }
  switch (type.code) {
    case kBool: {
      bool b;
      if (!read_bool(value, storage, b)) break;
      out_.int32(1);
      out_.letter(b ? 'T' : 'F');
      return true;
    }
    case kTinyInt:
    case kSmallInt:
    case kInteger:
    case kBigInt:
      if (write_integer(value, storage, type.code)) return true;
      break;
    case kNumeric:
      if (write_numeric(value, storage, type.detail)) return true;
      break;
    case kFloat: {
      double d;
      if (!read_double(value, storage, d)) break;
      out_.int32(4);
      out_.int32(static_cast<int32_t>(float_bits(static_cast<float>(d))));
      return true;
    }
    case kDouble: {
      double d;
      if (!read_double(value, storage, d)) break;
      out_.int32(8);
      out_.int64(static_cast<int64_t>(double_bits(d)));
      return true;
    }
    case kDate:
    case kTime:
    case kTimeTz:
    case kDateTime:
    case kDateTimeTz:
      if (write_moment(value, storage, type.code)) return true;
      break;
    case kClob:
    case kBlob:
      if (lobs_.store) {
        write_lob(stmt, col, value, storage, type.code == kClob ? 'c' : 'b');
      } else {
        write_bytes(value, storage);
      }
      return true;
    default:
      if (is_interval(type.code)) {
        if (write_interval(value, storage, type.code)) return true;
        break;
      }
      write_bytes(value, storage);
      return true;
  }
  write_null();
  return false;
}

bool ValueEncoder::write_integer(sqlite3_value* value, int storage, int32_t code) {
  int64_t v;
  if (!read_integer(value, storage, v) || !fits(v, code)) return false;
  int32_t width = width_of(code);
  out_.int32(width);
  if (width == 1) out_.letter(static_cast<char>(v));
  else if (width == 2) out_.int16(static_cast<int16_t>(v));
  else if (width == 4) out_.int32(static_cast<int32_t>(v));
  else out_.int64(v);
  return true;
}

// NUMERIC goes as decimal text; a declared scale fixes the number of decimals.
bool ValueEncoder::write_numeric(sqlite3_value* value, int storage, int32_t scale) {
  char buf[64];
  size_t n = 0;
  bool scaled = scale > 0 && scale <= 15;
  if (storage == SQLITE_INTEGER && scaled) {
    int64_t v = sqlite3_value_int64(value);
    int64_t units;
    if (__builtin_mul_overflow(v, power_of_ten(scale), &units)) {
      n = static_cast<size_t>(std::snprintf(buf, sizeof buf, "%lld", static_cast<long long>(v)));
    } else {
      n = fixed_point_text(units, scale, buf);
    }
  } else if (storage == SQLITE_FLOAT && scaled) {
    double scaled_value = sqlite3_value_double(value) * static_cast<double>(power_of_ten(scale));
    if (std::fabs(scaled_value) < 9e15) {
      n = fixed_point_text(std::llround(scaled_value), scale, buf);
    } else {
      n = static_cast<size_t>(std::snprintf(buf, sizeof buf, "%.*f", scale, sqlite3_value_double(value)));
    }
  } else {
    double check;
    if (!read_double(value, storage, check)) return false;
    std::string_view text = trim(column_text(value));
    out_.int32(static_cast<int32_t>(text.size()));
    out_.bytes(text.data(), text.size());
    return true;
  }
  out_.int32(static_cast<int32_t>(n));
  out_.bytes(buf, n);
  return true;
}

// Dates and times: a number is taken as the wire value itself, a text is parsed.
bool ValueEncoder::write_moment(sqlite3_value* value, int storage, int32_t code) {
  Moment m;
  if (storage == SQLITE_INTEGER) {
    int64_t v = sqlite3_value_int64(value);
    if ((code == kDate || code == kTime || code == kTimeTz) && !fits(v, kInteger)) return false;
    if (code == kDateTime && (v < -kMaxEpochMillis || v > kMaxEpochMillis)) return false;
    if (code == kTime || code == kTimeTz) m.micros = v * 1000;
    else if (code == kDate) m.days = v;
    else m.micros = code == kDateTime ? v * 1000 : v;
  } else if (storage == SQLITE_TEXT) {
    std::string_view text = trim(column_text(value));
    bool with_zone = code == kTimeTz || code == kDateTimeTz;
    bool parsed = code == kTime || code == kTimeTz ? parse_time(text, with_zone, m) : parse_date_time(text, with_zone, m);
    if (!parsed) return false;
  } else {
    return false;
  }
  // Zone types carry UTC plus the offset: the client adds the offset back when it shows them.
  int64_t zone_micros = static_cast<int64_t>(m.zone_minutes) * 60 * kMicrosPerSecond;
  switch (code) {
    case kDate:
      out_.int32(4);
      out_.int32(static_cast<int32_t>(m.days));
      break;
    case kTime:
      out_.int32(4);
      out_.int32(static_cast<int32_t>(m.micros / 1000));
      break;
    case kTimeTz:
      out_.int32(6);
      out_.int32(static_cast<int32_t>((m.micros - zone_micros) / 1000));
      out_.int16(static_cast<int16_t>(m.zone_minutes));
      break;
    case kDateTime:
      out_.int32(8);
      out_.int64(m.days * 86400000 + m.micros / 1000);
      break;
    default:
      out_.int32(10);
      out_.int64(m.days * kMicrosPerDay + m.micros - zone_micros);
      out_.int16(static_cast<int16_t>(m.zone_minutes));
      break;
  }
  return true;
}

// A text is parsed; a number counts the interval's last unit, so that "45" stored in an
// INTERVAL SECOND column means 45 seconds.
bool ValueEncoder::write_interval(sqlite3_value* value, int storage, int32_t code) {
  const bool in_micros = code >= 24;  // intervals down to seconds travel as 8-byte microseconds
  int64_t total;
  if (storage == SQLITE_TEXT) {
    if (!parse_interval(code, trim(column_text(value)), total)) return false;
  } else if (storage == SQLITE_INTEGER || storage == SQLITE_FLOAT) {
    double units = sqlite3_value_double(value) * (in_micros ? kMicrosPerSecond : 1);
    if (!(std::fabs(units) < 9e18)) return false;
    total = std::llround(units);
  } else {
    return false;
  }
  if (in_micros) {
    out_.int32(8);
    out_.int64(total);
    return true;
  }
  if (!fits(total, kInteger)) return false;
  out_.int32(4);
  out_.int32(static_cast<int32_t>(total));
  return true;
}

void ValueEncoder::write_bytes(sqlite3_value* value, int storage) {
  const void* p = storage == SQLITE_BLOB ? sqlite3_value_blob(value)
                                                               : static_cast<const void*>(sqlite3_value_text(value));
  int n = sqlite3_value_bytes(value);
  out_.int32(n);
  out_.bytes(p, static_cast<size_t>(n));
}

// With descriptors on: "c"/"b" and the bytes for a small object; a larger one is kept
// and goes out as its descriptor, a ":" and its length: "C000000000001:5000". One of a large
// block's size or more is kept by reference to its row where that can be found again.
void ValueEncoder::write_lob(sqlite3_stmt* stmt, int col, sqlite3_value* value, int storage, char letter) {
  const void* p = storage == SQLITE_BLOB ? sqlite3_value_blob(value)
                                                               : static_cast<const void*>(sqlite3_value_text(value));
  int n = sqlite3_value_bytes(value);
  if (n <= lobs_.inline_max) {
    out_.int32(n + 1);
    out_.letter(letter);
    out_.bytes(p, static_cast<size_t>(n));
    return;
  }
  char upper = letter == 'c' ? 'C' : 'B';
  std::shared_ptr<RowReference> ref;
  if (rowid_col_ >= 0 && static_cast<size_t>(n) >= kLargeBlockMin) ref = take_reference(stmt, col, rowid_col_, *stamp_);
  std::string descriptor = ref ? lobs_.store->keep(upper, std::move(ref)) : lobs_.store->keep(upper, p, static_cast<size_t>(n));
  out_.string(descriptor + ":" + std::to_string(n));
}

std::string ValueEncoder::keep_unread(sqlite3_stmt* stmt, const UnreadBlob& blob, int64_t length) {
  if (rowid_col_ < 0 || sqlite3_column_type(stmt, rowid_col_) != SQLITE_INTEGER) return {};
  sqlite3* db = sqlite3_db_handle(stmt);
  const int64_t rowid = sqlite3_column_int64(stmt, rowid_col_);
  const size_t n = static_cast<size_t>(length);
  std::shared_ptr<RowReference> ref = refer_to_row(db, blob.table, blob.column, rowid, n, *stamp_);
  std::string descriptor =
      ref ? lobs_.store->keep('B', std::move(ref))
          : lobs_.store->keep_filled('B', n, [&](char* into) { return read_row_value(db, blob.table, blob.column, rowid, n, into); });
  return descriptor.empty() ? descriptor : descriptor + ":" + std::to_string(n);
}

void write_unreadable_warning(ReplyWriter& out, int64_t count) {
  if (count == 0) return;
  out.letter('W');
  out.string("[W10001]" + std::to_string(count) +
             " stored values could not be read as their column's type and were sent as null");
}

}  // namespace zv
