// Row storage: the arena's three allocation rules, new rows, the banded row table and its limit,
// the type tables and stepping through rows.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "connection/client_text.h"
#include "results/result_record.h"
#include "results/row_store.h"

namespace {
ResultRecord* empty_result() {
  ResultRecord* result = static_cast<ResultRecord*>(client_alloc(sizeof(ResultRecord)));
  result->kind = HT_RESULT;
  result->result_kind = RK_ROWS;
  return result;
}

uint8_t* fake_row(int64_t i) { return reinterpret_cast<uint8_t*>(static_cast<uintptr_t>(i + 1) * 8); }

uint8_t** block_entry(ResultRecord* result, int block, int entry) {
  return static_cast<uint8_t**>(result->row_table[block]) + entry;
}

int16_t block_counter(ResultRecord* result) { return *static_cast<int16_t*>(result->row_table[0]); }
}  // namespace

TEST(ResultStore, ArenaFitsInTheCurrentBlock) {
  RowArena* arena = arena_create();
  ASSERT_NE(nullptr, arena);
  ArenaBlock* first = arena->first;
  EXPECT_EQ(first, arena->current);
  EXPECT_EQ(65536, first->size);
  EXPECT_EQ(0, first->used);
  EXPECT_EQ(65536, first->free);

  // Each request takes one byte more than asked for.
  uint8_t* a = arena_alloc(arena, 25535);
  EXPECT_EQ(first->data, a);
  EXPECT_EQ(25536, first->used);
  EXPECT_EQ(40000, first->free);

  // 32768 bytes with 40000 free fit at once.
  uint8_t* b = arena_alloc(arena, 32768);
  EXPECT_EQ(first->data + 25536, b);
  EXPECT_EQ(first, arena->current);
  EXPECT_EQ(40000 - 32769, first->free);

  // A request of exactly the free space less one fills the block.
  int32_t rest = first->free - 1;
  uint8_t* at = first->data + first->used;
  EXPECT_EQ(at, arena_alloc(arena, rest));
  EXPECT_EQ(0, first->free);
  EXPECT_EQ(65536, first->used);
  EXPECT_EQ(nullptr, first->next);
  arena_free(arena);
}

TEST(ResultStore, ArenaStartsNewBlocksForSmallAndMiddlingRequests) {
  RowArena* arena = arena_create();
  ArenaBlock* first = arena->first;
  arena_alloc(arena, 65435);  // 100 bytes stay free
  ASSERT_EQ(100, first->free);

  // 100 bytes do not hold a request of 100 (it takes 101): a fresh block, the rest is given up.
  uint8_t* p = arena_alloc(arena, 100);
  ArenaBlock* second = first->next;
  ASSERT_NE(nullptr, second);
  EXPECT_EQ(second, arena->current);
  EXPECT_EQ(second->data, p);
  EXPECT_EQ(65536, second->size);
  EXPECT_EQ(101, second->used);
  EXPECT_EQ(65435, second->free);
  EXPECT_EQ(100, first->free);

  // A middling request (over 32768) while at most 32768 are free also takes a fresh block.
  arena_alloc(arena, second->free - 30001);  // 30000 free
  ASSERT_EQ(30000, second->free);
  p = arena_alloc(arena, 40000);
  ArenaBlock* third = second->next;
  ASSERT_NE(nullptr, third);
  EXPECT_EQ(third->data, p);
  EXPECT_EQ(40001, third->used);
  EXPECT_EQ(25535, third->free);

  // The largest request that still counts as a block's worth: 65535 (taking 65536).
  p = arena_alloc(arena, 65535);
  ArenaBlock* fourth = third->next;
  ASSERT_NE(nullptr, fourth);
  EXPECT_EQ(65536, fourth->used);
  EXPECT_EQ(0, fourth->free);
  arena_free(arena);
}

TEST(ResultStore, ArenaGivesLargeRequestsAnAreaOfTheirOwn) {
  RowArena* arena = arena_create();
  ArenaBlock* first = arena->first;
  uint8_t* old_data = first->data;
  arena_alloc(arena, 25535);  // 40000 free

  // 50000 bytes with 40000 free: the first header takes a zeroed area of 50001 bytes and the old data
  // moves behind it, still current, so its free space stays usable.
  uint8_t* big = arena_alloc(arena, 50000);
  EXPECT_EQ(first->data, big);
  EXPECT_EQ(50001, first->size);
  EXPECT_EQ(50001, first->used);
  EXPECT_EQ(0, first->free);
  for (int i = 0; i <= 50000; i++) ASSERT_EQ(0, big[i]) << i;
  ArenaBlock* moved = first->next;
  ASSERT_NE(nullptr, moved);
  EXPECT_EQ(moved, arena->current);
  EXPECT_EQ(old_data, moved->data);
  EXPECT_EQ(65536, moved->size);
  EXPECT_EQ(25536, moved->used);
  EXPECT_EQ(40000, moved->free);
  EXPECT_EQ(nullptr, moved->next);
  EXPECT_EQ(old_data + 25536, arena_alloc(arena, 10));

  // A request over a block's size always takes its own area, even from an empty block.
  RowArena* other = arena_create();
  uint8_t* huge = arena_alloc(other, 65536);
  EXPECT_EQ(other->first->data, huge);
  EXPECT_EQ(65537, other->first->size);
  EXPECT_EQ(65536, other->current->free);
  // 40000 free and a request of 40000: middling, while over 32768 are free, so again its own area.
  arena_alloc(other, 25535);
  ArenaBlock* before = other->current;
  arena_alloc(other, 40000);
  EXPECT_EQ(40001, before->size);
  EXPECT_EQ(40000, other->current->free);
  arena_free(other);
  arena_free(arena);
}

TEST(ResultStore, NewRowHasEveryFieldNull) {
  RowArena* arena = arena_create();
  // 5 fields: two status bytes; field 4 is the low pair of byte 1.
  uint8_t* row = new_row(arena, 24 + 2 + 5 * 4, 5);
  ASSERT_NE(nullptr, row);
  for (int i = 0; i < 24; i++) EXPECT_EQ(0, row[i]) << i;
  EXPECT_EQ(0x55, row[24]);
  EXPECT_EQ(0x01, row[25]);
  for (int i = 26; i < 46; i++) EXPECT_EQ(0, row[i]) << i;
  for (int i = 0; i < 5; i++) {
    EXPECT_TRUE(field_is_null(row, i)) << i;
    EXPECT_FALSE(field_is_ref(row, i)) << i;
  }
  // 4 fields fill one byte; 7 fields end with three pairs.
  uint8_t* four = new_row(arena, 24 + 1, 4);
  EXPECT_EQ(0x55, four[24]);
  uint8_t* seven = new_row(arena, 24 + 2, 7);
  EXPECT_EQ(0x55, seven[24]);
  EXPECT_EQ(0x15, seven[25]);
  // No fields: the row is its 24 header bytes.
  uint8_t* none = new_row(arena, 24, 0);
  ASSERT_NE(nullptr, none);
  EXPECT_EQ(none + 25, new_row(arena, 24, 0));
  arena_free(arena);
}

TEST(ResultStore, RowTableGrowsInBands) {
  ResultRecord* result = empty_result();
  EXPECT_EQ(nullptr, row_slot(result, 0));
  ASSERT_EQ(0, store_row(result, fake_row(0)));
  EXPECT_EQ(1000, result->row_capacity);
  EXPECT_EQ(1, block_counter(result));
  for (int64_t i = 1; i < 1000; i++) ASSERT_EQ(0, store_row(result, fake_row(i)));
  EXPECT_EQ(nullptr, result->row_table[2]);
  ASSERT_EQ(0, store_row(result, fake_row(1000)));
  EXPECT_EQ(2000, result->row_capacity);
  EXPECT_EQ(2, block_counter(result));
  EXPECT_EQ(block_entry(result, 2, 0), row_slot(result, 1000));
  EXPECT_EQ(block_entry(result, 1, 999), row_slot(result, 999));

  for (int64_t i = 1001; i <= 176000; i++) ASSERT_EQ(0, store_row(result, fake_row(i)));
  EXPECT_EQ(176001, result->row_count);
  EXPECT_EQ(176000 + 100000, result->row_capacity);
  EXPECT_EQ(33, block_counter(result));
  EXPECT_EQ(block_entry(result, 16, 999), row_slot(result, 15999));
  EXPECT_EQ(block_entry(result, 17, 0), row_slot(result, 16000));
  EXPECT_EQ(block_entry(result, 17, 9999), row_slot(result, 25999));
  EXPECT_EQ(block_entry(result, 18, 0), row_slot(result, 26000));
  EXPECT_EQ(block_entry(result, 32, 9999), row_slot(result, 175999));
  EXPECT_EQ(block_entry(result, 33, 0), row_slot(result, 176000));
  EXPECT_EQ(fake_row(176000), *row_slot(result, 176000));
  EXPECT_EQ(fake_row(16000), *row_slot(result, 16000));
  // Blocks not made yet and indexes outside the bands have no entry.
  EXPECT_EQ(nullptr, row_slot(result, 276000));
  EXPECT_EQ(nullptr, row_slot(result, -1));
  EXPECT_EQ(nullptr, row_slot(result, 1347376000));

  // Stepping: every stored pointer in order, then 100 for ever.
  result->row_cursor = 175999;
  EXPECT_EQ(0, next_row(result));
  EXPECT_EQ(fake_row(175999), result->current_row);
  EXPECT_EQ(0, next_row(result));
  EXPECT_EQ(fake_row(176000), result->current_row);
  EXPECT_EQ(100, next_row(result));
  EXPECT_EQ(nullptr, result->current_row);
  EXPECT_EQ(176001, result->row_cursor);
  EXPECT_EQ(100, next_row(result));
  free_result(result);
}

TEST(ResultStore, TheTwoHundredFiftySeventhBlockIsRefused) {
  ResultRecord* result = empty_result();
  ASSERT_EQ(0, store_row(result, fake_row(0)));
  result->message = strdup("earlier text");
  // Pretend that all 256 blocks are full: the next row would need block 257.
  *static_cast<int16_t*>(result->row_table[0]) = 256;
  result->row_capacity = 1347376000;
  result->row_count = 1347376000;
  testing::internal::CaptureStdout();
  EXPECT_EQ(-1, store_row(result, fake_row(1)));
  EXPECT_EQ(-1, store_row(result, fake_row(2)));
  EXPECT_EQ("语句行结果集过大\n语句行结果集过大\n", testing::internal::GetCapturedStdout());
  EXPECT_STREQ("[EC080]select result-set is too large please connect to db-server", result->message);
  EXPECT_EQ(256, block_counter(result));
  EXPECT_EQ(1347376000, result->row_count);
  EXPECT_EQ(1347376000, result->row_capacity);
  free_result(result);
}

TEST(ResultStore, NextRowOnEmptyAndForeignRecords) {
  EXPECT_EQ(-1, next_row(nullptr));
  ResultRecord* result = empty_result();
  EXPECT_EQ(100, next_row(result));
  EXPECT_EQ(nullptr, result->current_row);
  result->kind = HT_CONN;
  EXPECT_EQ(-1, next_row(result));
  result->kind = HT_RESULT;
  ASSERT_EQ(0, store_row(result, fake_row(7)));
  ASSERT_EQ(0, store_row(result, fake_row(8)));
  EXPECT_EQ(0, next_row(result));
  EXPECT_EQ(fake_row(7), result->current_row);
  EXPECT_EQ(1, result->row_cursor);
  EXPECT_EQ(0, next_row(result));
  EXPECT_EQ(100, next_row(result));
  EXPECT_EQ(2, result->row_cursor);
  free_result(result);
  EXPECT_EQ(0, free_result(nullptr));
}

TEST(ResultStore, SlotWidthsAndCTypes) {
  const int32_t one[] = {2, 3};
  const int32_t four[] = {5, 8, 10, 11, 15, 16, 17, 18, 19, 20, 21, 22, 23};
  const int32_t eight[] = {6, 9, 13, 24, 25, 26, 27};
  for (int32_t t : one) EXPECT_EQ(1, type_slot_width(t)) << t;
  EXPECT_EQ(2, type_slot_width(4));
  for (int32_t t : four) EXPECT_EQ(4, type_slot_width(t)) << t;
  for (int32_t t : eight) EXPECT_EQ(8, type_slot_width(t)) << t;
  const int32_t sixteen[] = {0, 1, 7, 12, 14, 28, 29, 30, 33, 34, 45, 47, 60, 64, 65, 99, 10005, -3};
  for (int32_t t : sixteen) EXPECT_EQ(16, type_slot_width(t)) << t;

  // TypeCode -> CType, code by code from 1 to 64.
  const int32_t ctype[65] = {2,  2,  1,  3,  4,  5,  6,  9,  7,  8,  10, 11, 12, 13, 14, 21, 28, 21, 21, 21, 21, 21,
                             21, 21, 31, 21, 21, 21, 2,  69, 2,  2,  41, 15, 42, 2,  2,  2,  2,  2,  2,  2,  2,  2,
                             2,  2,  2,  43, 45, 46, 47, 48, 49, 50, 51, 52, 53, 54, 55, 56, 57, 2,  2,  2,  44};
  for (int32_t t = 1; t <= 64; t++) EXPECT_EQ(ctype[t], type_to_ctype(t)) << t;
  EXPECT_EQ(2, type_to_ctype(65));
  EXPECT_EQ(2, type_to_ctype(-7));
  // Arrays: the element's CType plus 10000.
  EXPECT_EQ(10002, type_to_ctype(10030));
  EXPECT_EQ(10028, type_to_ctype(10016));
  EXPECT_EQ(10005, type_to_ctype(10005));
  EXPECT_EQ(10044, type_to_ctype(10064));
  EXPECT_EQ(10002, type_to_ctype(10000 + 10030));
  EXPECT_EQ(10002, type_to_ctype(INT32_MAX));
  EXPECT_EQ(2, type_to_ctype(10000));
}
