// The one-value renderer of a scalar reply: field 0 of the row at row_cursor, as text in the
// caller's buffer. A value that does not fit is cut inside the buffer, on a character boundary;
// nothing but characters ever goes into the buffer.
#include <cstring>

#include "connection/client_text.h"
#include "results/field_access.h"
#include "results/row_store.h"
#include "results/value_text.h"

// The scalar forms differ from the text rule for a few types; an empty area means none.
static void render_scalar(int32_t type, const uint8_t* v, int32_t len, char* area) {
  switch (type) {
    case TC_BOOL:
      client_sprintf(area, VALUE_TEXT_SIZE, "%c", v[0]);
      return;
    case TC_NUMERIC:  // handed on as it is stored, below
      return;
    case TC_DOUBLE:
      client_sprintf(area, VALUE_TEXT_SIZE, "%.16g", load_f64(v));
      return;
    case TC_TIME_TZ:
    case TC_DATETIME_TZ:
      return;
    default:
      render_value_text(type, v, len, area);
      return;
  }
}

// Stored forms that are handed on byte for byte.
static bool is_handed_on(int32_t type) {
  switch (type) {
    case TC_NUMERIC:
    case TC_CHAR:
    case TC_CLOB:
    case TC_BINARY:
    case TC_BLOB:
    case TC_OPAQUE45:
    case TC_CLOB47:
    case TC_CLOB64:
      return true;
    default:
      return false;
  }
}

// n bytes into a buffer of cap bytes with a terminator; 1 when they had to be cut. Binary values
// are cut where the room ends, texts in front of a character that would be split.
static int32_t put_cut(const char* src, size_t n, bool binary, uint8_t* value_buf, int32_t cap) {
  if (cap <= 0) return n > 0;
  size_t room = static_cast<size_t>(cap) - 1;
  size_t fit = binary ? (n < room ? n : room) : utf8_cut_len(src, n, room);
  memcpy(value_buf, src, fit);
  value_buf[fit] = '\0';
  return fit < n;
}

int32_t field_to_text(ResultRecord* result, uint8_t* value_buf, int32_t cap, int32_t* cut_out) {
  *cut_out = 0;
  uint8_t** slot = result->row_cursor < result->row_count ? row_slot(result, result->row_cursor) : nullptr;
  result->current_row = slot ? *slot : nullptr;
  int32_t len = 0;
  const uint8_t* v = result->current_row && result->field_count > 0
                         ? field_bytes(result->current_row, result->fields, 0, &len)
                         : nullptr;
  if (!v) {  // null
    if (cap >= 4) memset(value_buf, 0, sizeof(int32_t));
    return 1;
  }
  int32_t type = result->fields[0].type;
  char area[VALUE_TEXT_SIZE] = {0};
  render_scalar(type, v, len, area);
  size_t n = strlen(area);
  if (n > 0)
    *cut_out = put_cut(area, n, false, value_buf, cap);
  else if (is_handed_on(type))
    *cut_out = put_cut(reinterpret_cast<const char*>(v), len, type == TC_BINARY || type == TC_BLOB, value_buf, cap);
  return 1;
}
