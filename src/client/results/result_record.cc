// Type-code tables and the release of result records.
#include "results/result_record.h"

#include <climits>
#include <cstdlib>
#include <cstring>

#include "connection/client_text.h"
#include "results/row_store.h"

int32_t type_slot_width(int32_t type) {
  switch (type) {
    case TC_BOOL:
    case TC_TINYINT:
      return 1;
    case TC_SMALLINT:
      return 2;
    case TC_INTEGER:
    case TC_FLOAT:
    case TC_DATE:
    case TC_TIME:
      return 4;
    case TC_BIGINT:
    case TC_DOUBLE:
    case TC_DATETIME:
      return 8;
    default:
      break;
  }
  if (type >= TC_INTERVAL_YEAR && type <= TC_INTERVAL_MINUTE) return 4;
  if (type >= TC_INTERVAL_DAY_SECOND && type <= TC_INTERVAL_SECOND) return 8;
  return FIELD_REF_SIZE;
}

// The CType of a code that is not an array.
static int32_t element_ctype(int32_t type) {
  switch (type) {
    case TC_BOOL:
      return CT_BOOL;
    case TC_NUMERIC:
      return CT_NUMERIC;
    case TC_FLOAT:
      return CT_FLOAT;
    case TC_DOUBLE:
      return CT_DOUBLE;
    case TC_INTERVAL_YEAR_MONTH:
      return CT_YEAR_MONTH;
    case TC_INTERVAL_DAY_SECOND:
      return CT_DAY_SECOND;
    case TC_OPAQUE29:
      return CT_OPAQUE69;
    case TC_CLOB:
      return CT_CLOB;
    case TC_BINARY:
      return CT_BINARY;
    case TC_BLOB:
      return CT_BLOB;
    case TC_CLOB47:
      return CT_CLOB43;
    case TC_CLOB64:
      return CT_CLOB44;
    default:
      break;
  }
  // The integer, date and time codes keep their numbers as CTypes.
  if (type >= TC_TINYINT && type <= TC_BIGINT) return type;
  if (type >= TC_DATE && type <= TC_DATETIME_TZ) return type;
  if (type >= TC_INTERVAL_YEAR && type <= TC_INTERVAL_SECOND) return CT_INTERVAL;  // 16 and 24 are taken above
  if (type >= TC_TEXT48 && type <= TC_TEXT60) return type - TC_TEXT48 + CT_TEXT45;
  return CT_TEXT;
}

int32_t type_to_ctype(int32_t type) {
  if (type > TC_ARRAY_BASE) return element_ctype(type - TC_ARRAY_BASE) + CT_ARRAY_BASE;
  return element_ctype(type);
}

int32_t row_count_int32(const ResultRecord* result) {
  return result->row_count > INT32_MAX ? INT32_MAX : static_cast<int32_t>(result->row_count);
}

void set_result_message(ResultRecord* result, const char* text) {
  set_error_text(&result->message, text);
  result->message_len = result->message ? strlen(result->message) : 0;
  result->message_cap = result->message ? result->message_len + 1 : 0;
}

int32_t free_result(ResultRecord* result) {
  if (!result) return 0;
  clear_rows(result);
  free_field_descs(result->fields, result->field_count);
  free(result->message);
  free(result);
  return 0;
}

void free_result_chain(ResultRecord* result) {
  while (result) {
    ResultRecord* next = result->next;
    free_result(result);
    result = next;
  }
}

int32_t free_field_descs(FieldDesc* fields, int32_t count) {
  if (!fields) return 0;
  // The three names share one block, which begins with table when there is one.
  for (int32_t i = 0; i < count; i++) free(fields[i].table ? fields[i].table : fields[i].name);
  free(fields);
  return 0;
}
