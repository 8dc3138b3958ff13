// Row storage of a result: the bump arena that owns the bytes and the two-level row table.
#pragma once
#include <cstdint>
#include "results/result_record.h"

enum {
  ARENA_BLOCK_SIZE = 65536,
  ARENA_SMALL_REQUEST = 32768,  // requests up to this size always get a fresh block when they do not fit
  ROW_TABLE_ENTRIES = 1024,
  ROW_TABLE_BLOCKS = 256,  // entries 1 to 256 hold row-pointer blocks
};

RowArena* arena_create();
// n+1 bytes from the arena (not zeroed unless the block was new and large); null when memory runs out.
uint8_t* arena_alloc(RowArena* arena, int32_t n);
void arena_free(RowArena* arena);

uint8_t* new_row(RowArena* arena, int32_t row_size, int32_t field_count);
int32_t store_row(ResultRecord* result, uint8_t* row);
// Address of the table entry of row index; null outside the blocks made so far.
uint8_t** row_slot(ResultRecord* result, int64_t index);
// Drops every row, the row table and the arena, leaving the record without rows.
void clear_rows(ResultRecord* result);

// Status bits of field i: low bit of the pair is "null", high bit "slot holds a FieldValueRef".
inline bool field_is_null(const uint8_t* row, int32_t i) {
  return (row[ROW_HEADER_SIZE + i / 4] >> (2 * (i % 4))) & 1;
}
inline bool field_is_ref(const uint8_t* row, int32_t i) {
  return (row[ROW_HEADER_SIZE + i / 4] >> (2 * (i % 4) + 1)) & 1;
}

// Steps a result forward: 0 with row row_cursor now current, 100 when none is left, -1 for no result.
int32_t next_row(ResultRecord* result);
