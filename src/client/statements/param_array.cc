#include "statements/param_array.h"

#include <cstdlib>
#include <cstring>

#include "connection/block_cache.h"
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

namespace {
// The bytes to take from the block cache for a table of bytes bytes. A batch's tables change
// in size from batch to batch, by rows and by the length of texts: above 64 KiB they are taken
// in whole MiB, so that the sizes meet again in the cache and the pages stay warm.
size_t cached_bytes(size_t bytes) {
  const size_t small = size_t{64} << 10, step = size_t{1} << 20;
  if (bytes == 0) return 1;
  return bytes < small ? bytes : (bytes + step - 1) / step * step;
}
}  // namespace

size_t array_block_bytes(const ArrayType* t, int32_t rows, int32_t buf_size) {
  int64_t bytes = t->width > 0 ? static_cast<int64_t>(rows) * t->width : buf_size;
  return cached_bytes(bytes > 0 ? static_cast<size_t>(bytes) : 0);
}

size_t array_lengths_bytes(int32_t rows) { return cached_bytes(sizeof(int32_t) * static_cast<size_t>(rows)); }

size_t array_row_table_bytes(int32_t rows) { return cached_bytes(sizeof(void**) * static_cast<size_t>(rows)); }

size_t array_row_block_bytes(int32_t rows, int32_t slots) {
  return cached_bytes(sizeof(void*) * static_cast<size_t>(rows) * static_cast<size_t>(slots));
}

// The copies and tables of a batch are large and made again for every batch: they come from the
// process's block cache, so that the pages are warm.
void release_array_slot(ParamSet* set, int32_t i) {
  if (!set->lengths || !set->lengths[i]) return;  // never bound: nothing of its own
  const ArrayType* t = array_type_of(set->types[i]);
  if (t && array_block_copied(t, set->positions[i] == -1))
    block_give(set->values[0][i], array_block_bytes(t, set->array_size, set->sizes[i]));
  for (int32_t row = 0; row < set->array_size; row++) set->values[row][i] = nullptr;
  block_give(set->lengths[i], array_lengths_bytes(set->array_size));
  set->lengths[i] = nullptr;
}
