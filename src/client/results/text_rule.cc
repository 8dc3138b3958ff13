// A stored value as text in the caller's buffer (CType 2 and 10 to 14, alike for every stored type).
#include <cstring>

#include "results/field_access.h"
#include "results/result_record.h"
#include "results/value_text.h"

// Numerics and the short-text codes are text already; they are handed on whole, whatever their length.
static bool is_stored_text(int32_t type) { return type == TC_NUMERIC || type == TC_OPAQUE29 || type == TC_OPAQUE45; }

// Types without a rendered form whose bytes are handed on as they are.
static bool is_copied_as_bytes(int32_t type) {
  return type > TC_ARRAY_BASE || type == TC_CHAR || type == TC_CLOB || type == TC_BINARY || type == TC_BLOB ||
         (type >= TC_CLOB47 && type <= TC_TEXT60) || type == TC_CLOB64;
}

// Copies n bytes of src into buffer. When they don't fit, buffer_len - 1 bytes go in (room is kept for
// the terminator when term_room is set) and *out_len tells how many stayed behind. Only the value and
// its terminator are written: text buffers are sized generously (64000 bytes for a column without a
// declared length), and zeroing them whole would cost far more than the copy.
static int32_t copy_cut(const void* src, int32_t n, bool term_room, char* buffer, int32_t buffer_len,
                        int32_t* out_len) {
  if (n > buffer_len || (term_room && n == buffer_len)) {
    if (buffer_len > 0) {
      memcpy(buffer, src, buffer_len - 1);
      buffer[buffer_len - 1] = '\0';
    }
    *out_len = n - buffer_len + 1;
    return -12;
  }
  memcpy(buffer, src, n);
  if (n < buffer_len) buffer[n] = '\0';
  *out_len = n;
  return 0;
}

int32_t text_rule(int32_t type, const uint8_t* v, int32_t len, char* buffer, int32_t buffer_len, int32_t* out_len) {
  char buff[VALUE_TEXT_SIZE] = {0};
  const char* text = buff;
  int32_t n;
  if (is_stored_text(type)) {
    text = reinterpret_cast<const char*>(v);
    n = static_cast<int32_t>(strnlen(text, len));
  } else {
    render_value_text(type, v, len, buff);
    n = static_cast<int32_t>(strlen(buff));
  }
  // A text keeps room for its terminator.
  if (n > 0) return copy_cut(text, n, true, buffer, buffer_len, out_len);
  if (!is_copied_as_bytes(type)) {
    *out_len = 0;
    return -13;
  }
  // Bytes fill the buffer exactly when they can, without terminator.
  return copy_cut(v, len, false, buffer, buffer_len, out_len);
}
