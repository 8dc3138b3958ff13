// Raw copies of character, binary and large-object values: whole into a bounded buffer (CType 15),
// or piece by piece (CType 18).
#include <cstring>

#include "results/field_access.h"
#include "results/result_record.h"

static bool is_binary_source(int32_t type) {
  return type == TC_CHAR || type == TC_CLOB || type == TC_BINARY || type == TC_BLOB || type == TC_CLOB47 ||
         type == TC_CLOB64;
}

int32_t binary_copy(int32_t type, const uint8_t* v, int32_t len, uint8_t* buffer, int32_t buffer_len,
                    int32_t* out_len) {
  if (!is_binary_source(type)) {
    *out_len = 0;
    return ZV_NO_CONVERSION;
  }
  memset(buffer, 0, buffer_len);
  if (len > buffer_len) {
    memcpy(buffer, v, buffer_len);
    *out_len = len - buffer_len;
    return ZV_TRUNCATED;
  }
  memcpy(buffer, v, len);
  *out_len = len;
  return 0;
}

int32_t piece_copy(int32_t type, const uint8_t* v, int32_t len, uint8_t* buffer, int32_t buffer_len,
                   int32_t* out_len) {
  int32_t offset = *out_len;
  if (offset < 0 || offset > len) return ZV_BAD_OFFSET;
  if (offset == len) {  // the end: nothing is left
    *out_len = 0;
    return 0;
  }
  if (!is_binary_source(type)) {
    *out_len = 0;
    return ZV_NO_CONVERSION;
  }
  memset(buffer, 0, buffer_len);
  int32_t piece = len - offset < buffer_len ? len - offset : buffer_len;
  memcpy(buffer, v + offset, piece);
  *out_len = piece;
  return 0;
}
