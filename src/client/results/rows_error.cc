// The error that a reply carried among its rows. Reading rows never fails on such a text, so
// that the rows before it stay readable; a caller that must not take the rows for the whole
// result asks here once they end.
#include <cstring>

#include "results/result_handle.h"
#include "zvc.h"

int32_t ZVC_GetRowsError(void** handle, char* buffer, int32_t buffer_len) {
  ResultRecord* result = result_of(handle);
  if (!result) return ZV_BAD_HANDLE;
  if (!result->message_has_error) return 0;
  if (buffer && buffer_len > 0) {
    const char* text = result->message ? result->message : "";
    size_t n = strnlen(text, static_cast<size_t>(buffer_len) - 1);
    memcpy(buffer, text, n);
    buffer[n] = '\0';
  }
  return 1;
}
