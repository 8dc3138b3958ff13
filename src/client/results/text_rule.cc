// A stored value as text in the caller's buffer (CType 2 and 10 to 14, alike for every stored type).
#include <cstring>

#include "connection/client_text.h"
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

// Copies n bytes of src into buffer. When they don't fit, what fits of them goes in with a
// terminator, cut in front of a character that would be split unless the bytes are binary, and
// *out_len tells how many bytes stayed behind the room (n - buffer_len + 1), as callers count it;
// the text in the buffer is then its own length. A text keeps room for its terminator
// (term_room); bytes that fill the buffer exactly get none. Only the value and its terminator
// are written: text buffers are sized generously (64000 bytes for a column without a declared
// length), and zeroing them whole would cost far more than the copy.
static int32_t copy_cut(const void* src, int32_t n, bool term_room, bool binary, char* buffer, int32_t buffer_len,
                        int32_t* out_len) {
  if (n > buffer_len || (term_room && n == buffer_len)) {
    if (buffer_len > 0) {
      const char* text = static_cast<const char*>(src);
      size_t room = static_cast<size_t>(buffer_len) - 1;
      size_t fit = binary ? room : utf8_cut_len(text, static_cast<size_t>(n), room);
      memcpy(buffer, src, fit);
      buffer[fit] = '\0';
    }
    *out_len = n - buffer_len + 1;
    return ZV_TRUNCATED;
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
  if (n > 0) return copy_cut(text, n, true, false, buffer, buffer_len, out_len);
  if (!is_copied_as_bytes(type)) {
    *out_len = 0;
    return ZV_NO_CONVERSION;
  }
  // Bytes fill the buffer exactly when they can, without terminator.
  return copy_cut(v, len, false, type == TC_BINARY || type == TC_BLOB, buffer, buffer_len, out_len);
}
