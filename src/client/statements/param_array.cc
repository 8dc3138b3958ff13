#include "statements/param_array.h"

#include <cstdlib>
#include <cstring>

#include "connection/wire.h"
#include "zvc.h"

namespace {
// Every CType with a record form in a batch. Numeric text (9) is walked by its lengths but its
// block is 41 bytes a row wide; the date and time texts stand in a block of buf_size bytes.
const ArrayType kArrayTypes[] = {
    {CT_BOOL, TC_TINYINT, STRIDE_FIXED, 1},     {CT_BYTE, TC_TINYINT, STRIDE_FIXED, 1},
    {CT_BYTE63, TC_CHAR, STRIDE_FIXED, 1},      {CT_INT16, TC_SMALLINT, STRIDE_FIXED, 2},
    {CT_INT32, TC_INTEGER, STRIDE_FIXED, 4},    {CT_FLOAT, TC_FLOAT, STRIDE_FIXED, 4},
    {CT_INT64, TC_BIGINT, STRIDE_FIXED, 8},     {CT_DOUBLE, TC_DOUBLE, STRIDE_FIXED, 8},
    {CT_EPOCH_MS, TC_DATETIME, STRIDE_FIXED, 8}, {CT_NUMERIC, TC_CHAR, STRIDE_LENGTH, 41},
    {CT_DATE, TC_CHAR, STRIDE_LENGTH, 0},       {CT_TIME, TC_CHAR, STRIDE_LENGTH, 0},
    {CT_DATETIME, TC_CHAR, STRIDE_LENGTH, 0},   {CT_TEXT, TC_CHAR, STRIDE_PREFIX, 0},
    {CT_TEXT62, TC_CHAR, STRIDE_PREFIX, 0},     {CT_BINARY, TC_BINARY, STRIDE_ROOM, 0},
};
}  // namespace

int32_t array_prefix(const uint8_t* p) {
  int32_t n;
  memcpy(&n, p, sizeof n);
  return n;
}

const ArrayType* array_type_of(int32_t ctype) {
  for (const ArrayType& t : kArrayTypes)
    if (t.ctype == ctype) return &t;
  return nullptr;
}

bool array_block_copied(const ArrayType* t, bool by_name) {
  return t->width > 0 || t->stride == STRIDE_PREFIX || (t->stride == STRIDE_ROOM && !by_name);
}

const ArrayType* array_slot_type(const ParamSet* set, int32_t i) {
  return set->lengths[i] ? array_type_of(set->types[i]) : nullptr;
}

ArrayValue array_value(const ParamSet* set, const ArrayType* t, int32_t i, int32_t row) {
  if (!t) return {TC_CHAR, nullptr, 0, 0};
  const int32_t* lengths = set->lengths[i];
  const uint8_t* p = static_cast<const uint8_t*>(set->values[row][i]);
  if (!p || lengths[row] <= 0) return {t->wire_type, nullptr, 0, 0};
  switch (t->stride) {
    case STRIDE_FIXED: return {t->wire_type, p, t->width, t->width};
    case STRIDE_LENGTH: return {t->wire_type, p, lengths[row], 0};
    default: return {t->wire_type, p + 4, array_prefix(p), 0};  // the bind checked the prefix
  }
}

void put_array_value(uint8_t* buf, int32_t* cursor, ArrayValue v) {
  if (v.width == 2) {
    int16_t n;
    memcpy(&n, v.bytes, 2);
    buf_put_int16(buf, cursor, n);
  } else if (v.width == 4) {
    int32_t n;
    memcpy(&n, v.bytes, 4);
    buf_put_int32(buf, cursor, n);
  } else if (v.width == 8) {
    int64_t n;
    memcpy(&n, v.bytes, 8);
    buf_put_int64(buf, cursor, n);
  } else if (v.length > 0) {
    buf_put_bytes(buf, cursor, v.bytes, v.length);
  }
}

void release_array_slot(ParamSet* set, int32_t i) {
  if (!set->lengths || !set->lengths[i]) return;  // never bound: nothing of its own
  const ArrayType* t = array_type_of(set->types[i]);
  if (t && array_block_copied(t, set->positions[i] == -1)) free(set->values[0][i]);
  for (int32_t row = 0; row < set->array_size; row++) set->values[row][i] = nullptr;
  free(set->lengths[i]);
  set->lengths[i] = nullptr;
}
