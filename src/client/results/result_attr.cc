// Numeric attributes of a handle: a result's counts and shape by number.
#include <cstring>

#include "connection/client_text.h"
#include "results/result_handle.h"
#include "results/result_attr.h"
#include "zvc.h"

namespace {
enum {
  ATTR_FIELD_COUNT = 61,
  ATTR_ROW_COUNT = 62,
  ATTR_EFFECT_COUNT = 63,
  ATTR_HANDLE_KIND = 64,
  ATTR_RESULT_KIND = 65,
  ATTR_HAS_NEXT = 66,
};
// Value types of an attribute: an int32 or an int64 was written.
enum { ATTR_INT32 = 2, ATTR_INT64 = 3 };

// Writes an integer attribute when the caller's buffer has room for it.
int32_t put_attr(void* value_out, int32_t value_size, int64_t value, int32_t type, int32_t* type_out,
                 int32_t* length_out) {
  int32_t width = type == ATTR_INT64 ? 8 : 4;
  if (!value_out || value_size < width) return ZV_BAD_HANDLE;
  if (type == ATTR_INT64) {
    memcpy(value_out, &value, 8);
  } else {
    int32_t narrow = static_cast<int32_t>(value);
    memcpy(value_out, &narrow, 4);
  }
  if (type_out) *type_out = type;
  if (length_out) *length_out = width;
  return 0;
}

}  // namespace

int32_t result_get_attr(ResultRecord* result, int32_t attribute, void* value_out, int32_t value_size, int32_t* type_out,
                        int32_t* length_out) {
  switch (attribute) {
    case ATTR_FIELD_COUNT:
      return put_attr(value_out, value_size, result->field_count, ATTR_INT32, type_out, length_out);
    case ATTR_ROW_COUNT:
      return put_attr(value_out, value_size, result->row_count, ATTR_INT64, type_out, length_out);
    case ATTR_EFFECT_COUNT:
      return put_attr(value_out, value_size, result->effect_count, ATTR_INT32, type_out, length_out);
    case ATTR_HANDLE_KIND:
      return put_attr(value_out, value_size, result->kind, ATTR_INT32, type_out, length_out);
    case ATTR_RESULT_KIND:
      return put_attr(value_out, value_size, result->result_kind, ATTR_INT32, type_out, length_out);
    case ATTR_HAS_NEXT:
      return put_attr(value_out, value_size, result->next ? 1 : 0, ATTR_INT32, type_out, length_out);
    default:
      set_result_message(result, "[EC0105]result attribute type get error,unknown attribute type\n");
      return ZV_BAD_HANDLE;
  }
}

