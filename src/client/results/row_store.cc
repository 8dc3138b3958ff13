// Rows of a result: their creation in the arena and the two-level table that indexes them.
// The table never moves a row pointer: it grows by whole blocks whose size rises tenfold in bands.
#include <cstdlib>
#include <cstring>

#include "connection/block_cache.h"
#include "connection/client_text.h"
#include "connection/page_map.h"
#include "results/row_store.h"

namespace {
struct RowBand {
  int32_t first_block;
  int32_t last_block;
  int64_t rows_per_block;
  int64_t base;  // rows held by the bands before this one
};

const RowBand kBands[] = {
    {1, 16, 1000, 0},
    {17, 32, 10000, 16000},
    {33, 64, 100000, 176000},
    {65, 128, 1000000, 3376000},
    {129, 256, 10000000, 67376000},
};
}  // namespace

static const RowBand* band_of_block(int32_t block) {
  for (const RowBand& band : kBands)
    if (block <= band.last_block) return &band;
  return nullptr;
}

uint8_t* new_row(RowArena* arena, int32_t row_size, int32_t field_count) {
  uint8_t* row = arena_alloc(arena, row_size);
  if (!row) return nullptr;
  memset(row, 0, row_size);
  // Every field starts null: the low bit of each pair, 0x55 for four fields in a byte.
  uint8_t* status = row + ROW_HEADER_SIZE;
  memset(status, 0x55, field_count / 4);
  if (field_count % 4) status[field_count / 4] = static_cast<uint8_t>(0x55 >> (2 * (4 - field_count % 4)));
  return row;
}

// Bytes taken for row-pointer block number `block`. A block of 800 KB and up takes whole 2 MiB
// runs: one page fault for each, and the same size as the other runs the block cache recycles.
static size_t table_block_bytes(int32_t block) {
  size_t bytes = static_cast<size_t>(band_of_block(block)->rows_per_block) * sizeof(uint8_t*);
  return bytes < BLOCK_MAPPED_MIN ? bytes : (bytes + HUGE_PAGE - 1) / HUGE_PAGE * HUGE_PAGE;
}

// Enters block number `block` of its band's size; false when memory runs out.
static bool add_block(ResultRecord* result, int32_t block) {
  void* rows = block_take(table_block_bytes(block), true);
  if (!rows) return false;
  result->row_table[block] = rows;
  *static_cast<int16_t*>(result->row_table[0]) = static_cast<int16_t>(block);
  result->row_capacity += band_of_block(block)->rows_per_block;
  return true;
}

static int32_t start_table(ResultRecord* result) {
  result->row_table = static_cast<void**>(client_alloc(ROW_TABLE_ENTRIES * sizeof(void*)));
  if (!result->row_table) return ZV_NO_MEMORY;
  result->row_table[0] = client_alloc(sizeof(int16_t));
  if (!result->row_table[0] || !add_block(result, 1)) {
    clear_rows(result);
    return ZV_NO_MEMORY;
  }
  return 0;
}

static int32_t refuse_row(ResultRecord* result) {
  client_print(result->conn, "语句行结果集过大\n");
  set_result_message(result, "[EC080]select result-set is too large please connect to db-server");
  return -1;
}

int32_t store_row(ResultRecord* result, uint8_t* row) {
  if (result->row_capacity == 0) {
    int32_t rc = start_table(result);
    if (rc != 0) return rc;
  }
  if (result->row_capacity <= result->row_count) {
    int32_t block = *static_cast<int16_t*>(result->row_table[0]) + 1;
    if (block > ROW_TABLE_BLOCKS) return refuse_row(result);
    if (!add_block(result, block)) return ZV_NO_MEMORY;
  }
  *row_slot(result, result->row_count) = row;
  result->row_count++;
  return 0;
}

uint8_t** row_slot(ResultRecord* result, int64_t index) {
  if (index < 0 || !result->row_table) return nullptr;
  for (const RowBand& band : kBands) {
    int64_t band_rows = (band.last_block - band.first_block + 1) * band.rows_per_block;
    if (index < band.base + band_rows) {
      int64_t block = band.first_block + (index - band.base) / band.rows_per_block;
      int64_t entry = (index - band.base) % band.rows_per_block;
      uint8_t** rows = static_cast<uint8_t**>(result->row_table[block]);
      return rows ? rows + entry : nullptr;
    }
  }
  return nullptr;
}

void clear_rows(ResultRecord* result) {
  if (result->row_table) {
    // Entry 0 is the counter cell; blocks that were never made are null.
    free(result->row_table[0]);
    for (int32_t i = 1; i <= ROW_TABLE_BLOCKS; i++) block_give(result->row_table[i], table_block_bytes(i));
    free(result->row_table);
  }
  arena_free(result->arena);
  result->row_table = nullptr;
  result->arena = nullptr;
  result->row_capacity = 0;
  result->row_count = 0;
  result->row_cursor = 0;
  result->current_row = nullptr;
}

int32_t next_row(ResultRecord* result) {
  if (!result || result->kind != HT_RESULT) return -1;
  if (result->row_count == 0 || result->row_cursor >= result->row_count) {
    result->current_row = nullptr;
    return ZV_NO_MORE;
  }
  result->current_row = *row_slot(result, result->row_cursor);
  result->row_cursor++;
  return 0;
}
