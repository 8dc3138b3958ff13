// Writing an attribute's value into the caller's buffer, never past its stated size.
#include "connection/attr_value.h"

#include <cstring>

#include "zvc.h"

const char kAttrBufferTooSmall[] = "[EC0107]attribute buffer too small for its value\n";

namespace {
int32_t put_attr(const AttrOut* out, const void* bytes, int32_t length, int32_t type) {
  // A value cut to fit would read as a different value, so it is refused whole.
  if (!out->value || out->size < length) return ZV_TRUNCATED;
  memcpy(out->value, bytes, static_cast<size_t>(length));
  if (out->type) *out->type = type;
  if (out->length) *out->length = length;
  return 0;
}
}  // namespace

int32_t put_attr_int32(const AttrOut* out, int32_t value) { return put_attr(out, &value, 4, ATTR_INT32); }

int32_t put_attr_int64(const AttrOut* out, int64_t value) { return put_attr(out, &value, 8, ATTR_INT64); }

int32_t put_attr_text(const AttrOut* out, const char* text) {
  return put_attr(out, text, static_cast<int32_t>(strlen(text)), ATTR_TEXT);
}
