// The one-value renderer of a scalar reply: field 0 of the row at row_cursor, as text characters
// without terminator, or for long values as a length and a heap copy that the caller owns.
#include <cstring>

#include "connection/client_text.h"
#include "results/field_access.h"
#include "results/row_store.h"
#include "results/value_text.h"

enum { SHORT_TEXT_MAX = VALUE_TEXT_SIZE - 1 };

// The scalar forms differ from the text rule for a few types; an empty area means none.
static void render_scalar(int32_t type, const uint8_t* v, int32_t len, char* area) {
  switch (type) {
    case TC_BOOL:
      client_sprintf(area, VALUE_TEXT_SIZE, "%c", v[0]);
      return;
    case TC_NUMERIC:  // a numeric too long for the area takes the long form
      if (len <= SHORT_TEXT_MAX) memcpy(area, v, len);
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

static bool has_long_form(int32_t type, int32_t len) {
  switch (type) {
    case TC_NUMERIC:
      return len > SHORT_TEXT_MAX;
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

// The first word of value_buf holds the length, the 8 bytes behind it the heap copy.
static void put_long_form(const uint8_t* v, int32_t len, uint8_t* value_buf, int32_t* long_form_out) {
  uint8_t* copy = static_cast<uint8_t*>(client_alloc(static_cast<size_t>(len) + 1));
  if (!copy) {
    memset(value_buf, 0, sizeof(int32_t));
    return;
  }
  memcpy(copy, v, len);
  memcpy(value_buf, &len, sizeof len);
  memcpy(value_buf + sizeof len, &copy, sizeof copy);
  *long_form_out = 1;
}

int32_t field_to_text(ResultRecord* result, uint8_t* value_buf, int32_t* long_form_out) {
  uint8_t** slot = result->row_cursor < result->row_count ? row_slot(result, result->row_cursor) : nullptr;
  result->current_row = slot ? *slot : nullptr;
  int32_t len = 0;
  const uint8_t* v = result->current_row && result->field_count > 0
                         ? field_bytes(result->current_row, result->fields, 0, &len)
                         : nullptr;
  if (!v) {  // null
    memset(value_buf, 0, sizeof(int32_t));
    return 1;
  }
  int32_t type = result->fields[0].type;
  char area[VALUE_TEXT_SIZE] = {0};
  render_scalar(type, v, len, area);
  size_t n = strlen(area);
  if (n > 0) {
    memcpy(value_buf, area, n);
    *long_form_out = 0;
  } else if ((type == TC_CHAR || type == TC_OPAQUE45) && len <= SHORT_TEXT_MAX) {
    memcpy(value_buf, v, len);
    *long_form_out = 0;
  } else if (has_long_form(type, len)) {
    put_long_form(v, len, value_buf, long_form_out);
  }
  return 1;
}
