// Describing the columns of a held result.
#include <strings.h>

#include <cstring>

#include "results/result_handle.h"
#include "zvc.h"

namespace {
// The script layer hands in 128-byte name buffers; a longer name is cut to fit one.
enum { COLUMN_TEXT_CAP = 128 };

// Copies text (may be null) into out with a terminator, cut to what a name buffer holds.
void copy_column_text(char* out, const char* text) {
  if (!out || !text) return;
  size_t n = strnlen(text, COLUMN_TEXT_CAP - 1);
  memcpy(out, text, n);
  out[n] = '\0';
}

// The info call hands back whole zeroed buffers, also for the parts a column lacks.
void fill_column_text(char* out, const char* text) {
  if (!out) return;
  memset(out, 0, COLUMN_TEXT_CAP);
  copy_column_text(out, text);
}
}  // namespace

int32_t ZVC_GetColumnCount(void** handle, int32_t* count_out) {
  ResultRecord* result = result_of(handle);
  if (!result || !count_out) return ZV_BAD_HANDLE;
  *count_out = result->field_count;
  return 0;
}

int32_t ZVC_GetRowCount(void** handle, int32_t* count_out) {
  ResultRecord* result = result_of(handle);
  if (!result || !count_out) return ZV_BAD_HANDLE;
  *count_out = row_count_int32(result);
  return 0;
}

int32_t ZVC_GetColumnType(void** handle, int32_t column, int32_t* ctype_out) {
  ResultRecord* result = result_of(handle);
  if (!result || !ctype_out) return ZV_BAD_HANDLE;
  const FieldDesc* field = column_of(result, column);
  if (!field) return ZV_BAD_COLUMN;
  if (field->ctype != 0) *ctype_out = field->ctype;
  return 0;
}

int32_t ZVC_GetColumnSize(void** handle, int32_t column, int32_t* size_out) {
  ResultRecord* result = result_of(handle);
  if (!result || !size_out) return ZV_BAD_HANDLE;
  const FieldDesc* field = column_of(result, column);
  if (!field) return ZV_BAD_COLUMN;
  *size_out = field->size;
  return 0;
}

int32_t ZVC_GetColumnName(void** handle, int32_t column, char* name_out) {
  ResultRecord* result = result_of(handle);
  if (!result || !name_out) return ZV_BAD_HANDLE;
  const FieldDesc* field = column_of(result, column);
  if (!field) return ZV_SERVER_ERROR;
  copy_column_text(name_out, column_label(field));
  return 0;
}

int32_t ZVC_GetColumnInfo(void** handle, int32_t column, char* table_out, char* name_out, char* alias_out,
                          int32_t* ctype_out, int32_t* size_out, int32_t* detail_out) {
  ResultRecord* result = result_of(handle);
  if (!result) return ZV_BAD_HANDLE;
  const FieldDesc* field = column_of(result, column);
  if (!field) return ZV_SERVER_ERROR;
  fill_column_text(table_out, field->table);
  fill_column_text(name_out, field->name);
  fill_column_text(alias_out, field->alias);
  if (ctype_out) *ctype_out = field->ctype;
  if (size_out) *size_out = field->size;
  if (detail_out) *detail_out = field->detail;
  return 0;
}

int32_t ZVC_GetColumnIndex(void** handle, const char* name) {
  ResultRecord* result = result_of(handle);
  if (!result || !name) return ZV_BAD_HANDLE;
  for (int32_t i = 0; i < result->field_count; i++) {
    const char* label = column_label(&result->fields[i]);
    if (label && strcasecmp(label, name) == 0) return i + 1;
  }
  return 0;
}
