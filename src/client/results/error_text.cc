// The plain text of the last error, warning or message that a handle holds.
#include <cstring>

#include "results/lob.h"
#include "zvc.h"

namespace {
// The script layer reads error texts into 1024-byte buffers; longer texts are cut to fit.
enum { ERROR_TEXT_CAP = 1024 };

// The text that a handle of each kind keeps; null when it has none.
const char* handle_error_text(void** handle) {
  if (!handle || !*handle) return nullptr;
  switch (*static_cast<int32_t*>(*handle)) {
    case HT_CONN:
      return static_cast<ConnRecord*>(*handle)->error_text;
    case HT_RESULT:
      return static_cast<ResultRecord*>(*handle)->message;
    case HT_LOB:
      return static_cast<LobHandle*>(*handle)->error_text;
    default:
      return nullptr;
  }
}
}  // namespace

int32_t ZVC_GetErrorText(void** handle, char* buffer, int32_t* length_out) {
  const char* text = handle_error_text(handle);
  size_t n = text ? strnlen(text, ERROR_TEXT_CAP - 1) : 0;
  if (buffer && text) {
    memcpy(buffer, text, n);
    buffer[n] = '\0';
  }
  if (length_out) *length_out = static_cast<int32_t>(n);
  return 0;
}

int32_t ZVC_GetErrorLength(void** handle) {
  const char* text = handle_error_text(handle);
  return text ? static_cast<int32_t>(strlen(text)) : 0;
}
