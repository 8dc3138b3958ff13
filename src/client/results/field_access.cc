// Reading one field of the current row as the CType that the caller asks for. Integers are never
// narrowed: a pair without a conversion is refused with -13 and *out_len 0.
#include "results/field_access.h"

#include <cctype>
#include <cstdlib>
#include <cstring>

#include "results/lob.h"
#include "results/result_handle.h"
#include "results/row_store.h"
#include "results/value_text.h"
#include "zvc.h"


const uint8_t* field_bytes(const uint8_t* row, const FieldDesc* fields, int32_t index, int32_t* len_out) {
  if (field_is_null(row, index)) {
    *len_out = 0;
    return nullptr;
  }
  const uint8_t* slot = row + ROW_HEADER_SIZE + fields[index].offset;
  if (field_is_ref(row, index)) {
    const uint8_t* data;
    memcpy(len_out, slot, sizeof *len_out);
    memcpy(&data, slot + 8, sizeof data);
    return data;
  }
  *len_out = type_slot_width(fields[index].type);
  return slot;
}

static int32_t refuse(int32_t* out_len) {
  *out_len = 0;
  return ZV_NO_CONVERSION;
}

// Where a converted value goes: the caller's buffer, its size, and the length to report.
struct Out {
  void* buffer;
  int32_t buffer_len;
  int32_t* out_len;
};

// A value of fixed size goes in whole or not at all: a buffer too small for it gets nothing,
// and *out_len tells the size it needs.
static int32_t deliver(const Out& out, const void* value, int32_t size) {
  *out.out_len = size;
  if (size > out.buffer_len) return ZV_TRUNCATED;
  memcpy(out.buffer, value, size);
  return 0;
}

// Raw bytes of a caller-sized buffer: as many as fit, and -12 with the count left behind.
static int32_t deliver_raw(const Out& out, const uint8_t* v, int32_t len) {
  if (len <= out.buffer_len) return deliver(out, v, len);
  memcpy(out.buffer, v, out.buffer_len);
  *out.out_len = len - out.buffer_len;
  return ZV_TRUNCATED;
}

static bool is_integer_type(int32_t type) { return type >= TC_TINYINT && type <= TC_BIGINT; }

// Leading white space, a sign and digits, stopping at the first other character; held to the
// int32 range.
static int32_t text_to_int32(const uint8_t* v, int32_t len) {
  int32_t i = 0;
  while (i < len && isspace(v[i])) i++;
  bool negative = i < len && v[i] == '-';
  if (i < len && (v[i] == '-' || v[i] == '+')) i++;
  int64_t n = 0;
  for (; i < len && isdigit(v[i]); i++) {
    n = n * 10 + (v[i] - '0');
    if (n > int64_t{INT32_MAX} + 1) n = int64_t{INT32_MAX} + 1;
  }
  if (negative) n = -n;
  return static_cast<int32_t>(n > INT32_MAX ? INT32_MAX : n);
}

// Stored numerics end in the arena's zero byte, so the text can be read as a C string.
static double text_to_double(const uint8_t* v) { return strtod(reinterpret_cast<const char*>(v), nullptr); }

static int32_t to_int32(int32_t type, const uint8_t* v, int32_t len, const Out& out) {
  int32_t n;
  if (type == TC_BOOL || (is_integer_type(type) && type != TC_BIGINT))
    n = static_cast<int32_t>(load_integer(type, v));
  else if (type == TC_NUMERIC)
    n = text_to_int32(v, len);
  else
    return refuse(out.out_len);
  return deliver(out, &n, sizeof n);
}

static int32_t to_int16(int32_t type, const uint8_t* v, const Out& out) {
  if (type != TC_BOOL && type != TC_TINYINT && type != TC_SMALLINT) return refuse(out.out_len);
  int16_t n = static_cast<int16_t>(load_integer(type, v));
  return deliver(out, &n, sizeof n);
}

static int32_t to_int64(int32_t type, const uint8_t* v, int32_t len, const Out& out) {
  int64_t n;
  if (type == TC_BOOL || is_integer_type(type))
    n = load_integer(type, v);
  else if (type == TC_NUMERIC)
    n = text_to_int32(v, len);
  else
    return refuse(out.out_len);
  return deliver(out, &n, sizeof n);
}

// CType 7 and 8 take every number but TC_BOOL, each straight from its stored form.
static int32_t to_float(int32_t type, const uint8_t* v, const Out& out) {
  float f;
  if (is_integer_type(type))
    f = static_cast<float>(load_integer(type, v));
  else if (type == TC_NUMERIC)
    f = static_cast<float>(text_to_double(v));
  else if (type == TC_FLOAT)
    f = load_f32(v);
  else if (type == TC_DOUBLE)
    f = static_cast<float>(load_f64(v));
  else
    return refuse(out.out_len);
  return deliver(out, &f, sizeof f);
}

static int32_t to_double(int32_t type, const uint8_t* v, const Out& out) {
  double d;
  if (is_integer_type(type))
    d = static_cast<double>(load_integer(type, v));
  else if (type == TC_NUMERIC)
    d = text_to_double(v);
  else if (type == TC_FLOAT)
    d = load_f32(v);
  else if (type == TC_DOUBLE)
    d = load_f64(v);
  else
    return refuse(out.out_len);
  return deliver(out, &d, sizeof d);
}

// CType 28 and 31: intervals or integers as numbers.
static int32_t to_interval_number(int32_t ctype, int32_t type, const uint8_t* v, const Out& out) {
  if (ctype == CT_YEAR_MONTH && type == TC_INTERVAL_YEAR_MONTH) {
    int32_t months = load_i32(v);
    return deliver(out, &months, sizeof months);
  }
  int64_t n;
  if (type == TC_INTEGER)
    n = load_i32(v);
  else if (type == TC_BIGINT || (ctype == CT_DAY_SECOND && type == TC_INTERVAL_DAY_SECOND))
    n = load_i64(v);
  else
    return refuse(out.out_len);
  return deliver(out, &n, sizeof n);
}

static int32_t convert(ResultRecord* result, int32_t index, int32_t ctype, const uint8_t* v, int32_t len,
                       const Out& out) {
  int32_t type = result->fields[index].type;
  switch (ctype) {
    case CT_BOOL:
    case CT_INT32:
      return to_int32(type, v, len, out);
    case CT_TEXT:
    case CT_DATE:
    case CT_TIME:
    case CT_TIME_TZ:
    case CT_DATETIME:
    case CT_DATETIME_TZ:
      return text_rule(type, v, len, static_cast<char*>(out.buffer), out.buffer_len, out.out_len);
    case CT_BYTE:
    case CT_BYTE63:
      return deliver(out, v, 1);
    case CT_INT16:
      return to_int16(type, v, out);
    case CT_INT64:
      return to_int64(type, v, len, out);
    case CT_FLOAT:
      return to_float(type, v, out);
    case CT_DOUBLE:
      return to_double(type, v, out);
    case CT_NUMERIC:  // the caller sizes the buffer from the column
      return deliver_raw(out, v, len);
    case CT_BINARY:
      return binary_copy(type, v, len, static_cast<uint8_t*>(out.buffer), out.buffer_len, out.out_len);
    case CT_PIECE:
      return piece_copy(type, v, len, static_cast<uint8_t*>(out.buffer), out.buffer_len, out.out_len);
    case CT_INTERVAL:  // intervals deliver nothing here
      return type == TC_INTERVAL_YEAR_MONTH || type == TC_INTERVAL_DAY_SECOND ? 0 : refuse(out.out_len);
    case CT_EPOCH_MS:
      return type == TC_DATETIME ? deliver(out, v, 8) : refuse(out.out_len);
    case CT_YEAR_MONTH:
    case CT_DAY_SECOND:
      return to_interval_number(ctype, type, v, out);
    case CT_CLOB:
    case CT_BLOB:
    case CT_CLOB43:
    case CT_CLOB44:
      // The buffer holds the caller's LobHandle pointer.
      if (out.buffer_len < static_cast<int32_t>(sizeof(void*))) return ZV_BAD_HANDLE;
      return field_to_lob(result, &result->fields[index], v, len, ctype, out.buffer, out.out_len);
    default:
      return refuse(out.out_len);
  }
}

int32_t field_to_value(void** handle, int32_t column, int32_t ctype, void* buffer, int32_t buffer_len,
                       int32_t* out_len) {
  ResultRecord* result = result_of(handle);
  if (!buffer || !result || buffer_len < 0) return ZV_BAD_HANDLE;
  if (column < 1 || column > result->field_count) return ZV_BAD_COLUMN;
  int32_t scratch = 0;
  if (!out_len) out_len = &scratch;
  int32_t index = column - 1;
  const uint8_t* row = result->current_row;
  if (!row || field_is_null(row, index)) {
    *out_len = 0;
    return ZV_NULL_VALUE;
  }
  int32_t len = 0;
  const uint8_t* v = field_bytes(row, result->fields, index, &len);
  return convert(result, index, ctype, v, len, Out{buffer, buffer_len, out_len});
}
