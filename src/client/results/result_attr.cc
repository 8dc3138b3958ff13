// Numeric attributes of a handle: a result's counts and shape by number.
#include "results/result_attr.h"

#include "connection/attr_value.h"
#include "connection/client_text.h"
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

int32_t put_by_number(ResultRecord* result, int32_t attribute, const AttrOut* out) {
  switch (attribute) {
    case ATTR_FIELD_COUNT:
      return put_attr_int32(out, result->field_count);
    case ATTR_ROW_COUNT:
      return put_attr_int64(out, result->row_count);
    case ATTR_EFFECT_COUNT:
      return put_attr_int32(out, result->effect_count);
    case ATTR_HANDLE_KIND:
      return put_attr_int32(out, result->kind);
    case ATTR_RESULT_KIND:
      return put_attr_int32(out, result->result_kind);
    case ATTR_HAS_NEXT:
      return put_attr_int32(out, result->next ? 1 : 0);
    default:
      set_result_message(result, "[EC0105]result attribute type get error,unknown attribute type\n");
      return ZV_BAD_HANDLE;
  }
}
}  // namespace

int32_t result_get_attr(ResultRecord* result, int32_t attribute, const AttrOut* out) {
  int32_t rc = put_by_number(result, attribute, out);
  if (rc == ZV_TRUNCATED) set_result_message(result, kAttrBufferTooSmall);
  return rc;
}

// The texts go where a caller reading the cursor's handle finds them: on the cursor.
int32_t smart_get_attr(SmartCursor* cursor, int32_t attribute, const AttrOut* out) {
  ResultRecord* result = cursor->result;
  if (!result) return ZV_BAD_HANDLE;
  if (attribute == ATTR_HANDLE_KIND) return put_attr_int32(out, cursor->kind);
  if (attribute < ATTR_FIELD_COUNT || attribute >= ATTR_HAS_NEXT) {
    set_error_text(&cursor->error, "[EC0106]smart result attribute type get error,unknown attribute type\n");
    return ZV_BAD_HANDLE;
  }
  int32_t rc = put_by_number(result, attribute, out);
  if (rc == ZV_TRUNCATED) set_error_text(&cursor->error, kAttrBufferTooSmall);
  return rc;
}
