#include "statements/out_values.h"

#include <cstdlib>
#include <cstring>

#include "connection/client_text.h"
#include "connection/wire.h"
#include "results/calendar.h"
#include "results/value_text.h"

namespace {
enum { OUT_TEXT_SIZE = 64, WIDE_VALUE = 16 };

template <typename T>
void swap_in_place(uint8_t* v, T (*order)(T)) {
  T n;
  memcpy(&n, v, sizeof n);
  n = order(n);
  memcpy(v, &n, sizeof n);
}

// The value in machine order, in place. A date becomes three ints (year, month, day) and a time
// four (hours, minutes, seconds, milliseconds). v has room for WIDE_VALUE bytes whatever d_len
// is, zero behind the value. Returns the value's new length.
int32_t to_machine_order(int32_t type, uint8_t* v, int32_t d_len) {
  switch (type) {
    case TC_SMALLINT:
      swap_in_place<uint16_t>(v, wire_order16);
      return d_len;
    case TC_INTEGER:
    case TC_FLOAT:
      swap_in_place<uint32_t>(v, wire_order32);
      return d_len;
    case TC_BIGINT:
    case TC_DOUBLE:
    case TC_DATETIME:
      swap_in_place<uint64_t>(v, wire_order64);
      return d_len;
    case TC_DATE:
    case TC_TIME: {
      swap_in_place<uint32_t>(v, wire_order32);
      int32_t parts[4] = {};
      if (type == TC_DATE)
        days_to_date(load_i32(v), parts);
      else
        ms_to_time(load_i32(v), parts);
      memcpy(v, parts, sizeof parts);
      return type == TC_DATE ? 12 : 16;
    }
    default:
      return d_len;
  }
}

// The text form for a parameter that was bound as text, and its length; 0 when the type keeps
// its bytes.
int32_t render_out_text(int32_t type, const uint8_t* v, char* text) {
  int32_t parts[4];
  memcpy(parts, v, sizeof parts);
  switch (type) {
    case TC_TINYINT: return client_sprintf(text, OUT_TEXT_SIZE, "%d", static_cast<int8_t>(v[0]));
    case TC_SMALLINT: return client_sprintf(text, OUT_TEXT_SIZE, "%d", load_i16(v));
    case TC_INTEGER: return client_sprintf(text, OUT_TEXT_SIZE, "%d", load_i32(v));
    case TC_BIGINT: return client_sprintf(text, OUT_TEXT_SIZE, "%lld", static_cast<long long>(load_i64(v)));
    case TC_FLOAT: return client_sprintf(text, OUT_TEXT_SIZE, "%f", static_cast<double>(load_f32(v)));
    case TC_DOUBLE: return client_sprintf(text, OUT_TEXT_SIZE, "%.16g", load_f64(v));
    case TC_DATE: return client_sprintf(text, OUT_TEXT_SIZE, "%04d-%02d-%02d", parts[0], parts[1], parts[2]);
    case TC_TIME:
      return client_sprintf(text, OUT_TEXT_SIZE, "%02d:%02d:%02d.%03d", parts[0], parts[1], parts[2], parts[3]);
    case TC_DATETIME:
      datetime_to_text(load_i64(v), text);
      return static_cast<int32_t>(strlen(text));
    default:
      return 0;
  }
}

bool direction_takes(const ParamSet* set, int32_t i, bool is_return) {
  int32_t d = set->directions[i];
  return is_return ? d == DIR_RETURN : d == DIR_OUT || d == DIR_INOUT;
}

// Copies the value into the caller's buffer: as much as its size holds, and the whole length
// into its length, so that a caller can see how much room it lacked.
int32_t deliver_out(ParamSet* set, int32_t i, const void* value, int32_t len) {
  int32_t size = set->sizes[i] > 0 ? set->sizes[i] : 0;
  if (set->values[0][i]) memcpy(set->values[0][i], value, static_cast<size_t>(len <= size ? len : size));
  if (set->lengths[i]) *set->lengths[i] = len;
  return len <= size ? 0 : ZV_TRUNCATED;
}

// The value's place: the return value is the set's last parameter, an output value names its
// index. -1 when the set has none for it.
int32_t out_slot(const ParamSet* set, bool is_return, int32_t index) {
  if (!set || set->count == 0 || !set->directions) return -1;
  int32_t i = is_return ? set->count - 1 : index;
  return i >= 0 && i < set->count ? i : -1;
}

void report_unbound(ConnRecord* conn, bool is_return) {
  set_error_text(&conn->error_text,
                 is_return ? "[EC060]Error params-return value need bind, here params without bindparams inout type is "
                             "return value \n"
                           : "[EC060]Error params-out type need bind, here params without bindparams inout type is "
                             "out or inout \n");
}

int32_t store_out(ConnRecord* conn, ParamSet* set, bool is_return, int32_t index, int32_t type, uint8_t* v,
                  int32_t d_len) {
  int32_t i = out_slot(set, is_return, index);
  if (i < 0) {
    report_unbound(conn, is_return);
    return ZV_OUT_UNBOUND;
  }
  int32_t len = to_machine_order(type, v, d_len);
  char text[OUT_TEXT_SIZE] = {};
  int32_t text_len = set->types[i] == CT_TEXT ? render_out_text(type, v, text) : 0;
  if (!direction_takes(set, i, is_return)) return 0;  // dropped
  return text_len > 0 ? deliver_out(set, i, text, text_len) : deliver_out(set, i, v, len);
}
}  // namespace

int32_t recv_out_value(ConnRecord* conn, ParamSet* set, bool is_return) {
  int32_t index = 0, type = 0, d_len = 0;
  if (!is_return && !recv_int32(conn, &index)) return ZV_NET_ERROR;
  if (!recv_int32(conn, &type) || !recv_int32(conn, &d_len)) return ZV_NET_ERROR;
  if (d_len < 0 || d_len > WIRE_MAX_STRING) return ZV_NET_ERROR;
  if (!is_return && d_len == 0) {
    int32_t i = out_slot(set, false, index);
    if (i >= 0 && (set->directions[i] == DIR_OUT || set->directions[i] == DIR_INOUT) && set->lengths[i])
      *set->lengths[i] = 0;
    return 0;
  }
  // Room for the widest machine form, zero behind the value, so short payloads read no further.
  uint8_t* v = static_cast<uint8_t*>(client_alloc(static_cast<size_t>(d_len) + WIDE_VALUE));
  if (!v) return ZV_NO_MEMORY;
  int32_t rc = recv_bytes(conn, v, d_len) ? store_out(conn, set, is_return, index, type, v, d_len) : ZV_NET_ERROR;
  free(v);
  return rc;
}
