#include "read_values.h"

#include <cstdint>
#include <initializer_list>

#include "zvc.h"

namespace {
// Every CType whose output is bounded by the buffer or fixed in size. CT_NUMERIC is left out:
// it copies the whole value, and its caller sizes the buffer from the value.
const int32_t kCtypes[] = {CT_BOOL,     CT_TEXT,     CT_BYTE,         CT_INT16,  CT_INT32,       CT_INT64,
                           CT_FLOAT,    CT_DOUBLE,   CT_DATE,         CT_TIME,   CT_TIME_TZ,     CT_DATETIME,
                           CT_DATETIME_TZ, CT_BINARY, CT_PIECE,       CT_INTERVAL, CT_EPOCH_MS,  CT_YEAR_MONTH,
                           CT_DAY_SECOND, CT_TEXT45, CT_BYTE63,       CT_OPAQUE69};
// Room as the script layer gives it for names; a small value buffer, so that values get cut.
enum { NAME_CAP = 128, VALUE_CAP = 24 };

void read_columns(void** handle, int32_t count) {
  char table[NAME_CAP], name[NAME_CAP], alias[NAME_CAP];
  int32_t ctype = 0, size = 0, detail = 0;
  for (int32_t column = 1; column <= count; column++) {
    ZVC_GetColumnName(handle, column, name);
    ZVC_GetColumnInfo(handle, column, table, name, alias, &ctype, &size, &detail);
    ZVC_GetColumnIndex(handle, name);
  }
}

// Each field as text and as one more CType, taken in turn by row and column, so that over the
// rows of a run every pair meets without every field costing every CType.
void read_row(void** handle, int32_t count, int32_t row) {
  const int32_t n = sizeof kCtypes / sizeof kCtypes[0];
  uint8_t value[VALUE_CAP];
  for (int32_t column = 1; column <= count; column++) {
    for (int32_t ctype : {static_cast<int32_t>(CT_TEXT), kCtypes[(row + column) % n]}) {
      int32_t out_len = 0;  // CT_PIECE reads from the offset it is given here
      ZVC_GetData(handle, column, ctype, value, sizeof value, &out_len);
    }
  }
}
}  // namespace

void read_every_value(void* result) {
  int32_t count = 0;
  if (ZVC_GetColumnCount(&result, &count) != 0) return;
  read_columns(&result, count);
  for (int32_t row = 0; ZVC_NextRow(&result) == 0; row++) read_row(&result, count, row);
}
