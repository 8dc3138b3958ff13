// Row storage: the arena's three allocation rules, new rows, the banded row table and its limit,
// stepping through rows and the TypeCode to CType table.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "connection/client_text.h"
#include "results/row_store.h"

namespace {
ResultRecord* empty_result() {
  ResultRecord* result = static_cast<ResultRecord*>(client_alloc(sizeof(ResultRecord)));
  result->kind = HT_RESULT;
  result->result_kind = RK_ROWS;
  return result;
}

uint8_t* fake_row(int64_t i) { return reinterpret_cast<uint8_t*>(static_cast<uintptr_t>(i + 1) * 8); }

}  // namespace

TEST(ResultStore, ArenaRulesAtTheirEdges) {
  // Each request takes one byte more than asked for. Rule 1: it fits the current block. Rule 2: a
  // fresh block, the rest given up. Rule 3: a zeroed area of its own, taken over by the current
  // header while the old data moves behind it and stays current. Blocks as size:used:free, * current.
  const struct {
    int32_t free, request;
    const char* blocks;
  } cases[] = {
      {40000, 32768, "65536:58305:7231*"},
      {40000, 39999, "65536:65536:0*"},
      {100, 100, "65536:65436:100 65536:101:65435*"},
      {30000, 40000, "65536:35536:30000 65536:40001:25535*"},
      {32768, 40000, "65536:32768:32768 65536:40001:25535*"},
      {25535, 65535, "65536:40001:25535 65536:65536:0*"},
      {40000, 50000, "50001:50001:0 65536:25536:40000*"},
      {40000, 40000, "40001:40001:0 65536:25536:40000*"},
      {65536, 65536, "65537:65537:0 65536:0:65536*"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.blocks);
    RowArena* arena = arena_create();
    if (c.free < 65536) arena_alloc(arena, 65536 - c.free - 1);
    uint8_t* old_data = arena->first->data;
    uint8_t* p = arena_alloc(arena, c.request);
    std::string blocks;
    for (ArenaBlock* b = arena->first; b; b = b->next)
      blocks += std::to_string(b->size) + ":" + std::to_string(b->used) + ":" + std::to_string(b->free) +
                (b == arena->current ? "* " : " ");
    EXPECT_EQ(std::string(c.blocks) + " ", blocks);
    ArenaBlock* cur = arena->current;
    if (arena->first->data != old_data) {  // rule 3
      EXPECT_EQ(arena->first->data, p);
      EXPECT_EQ(old_data, cur->data);
      EXPECT_EQ(c.request + 1, std::count(p, p + c.request + 1, 0));
    } else {
      EXPECT_EQ(cur->data + cur->used - c.request - 1, p);
    }
    arena_free(arena);
  }
}

TEST(ResultStore, NewRowHasEveryFieldNull) {
  RowArena* arena = arena_create();
  uint8_t* row = new_row(arena, 24 + 2 + 5 * 4, 5);
  ASSERT_NE(nullptr, row);
  EXPECT_EQ(std::string(24, '\0') + "\x55\x01" + std::string(20, '\0'), std::string(reinterpret_cast<char*>(row), 46));
  for (int i = 0; i < 5; i++) EXPECT_TRUE(field_is_null(row, i) && !field_is_ref(row, i)) << i;
  uint8_t* seven = new_row(arena, 24 + 2, 7);
  EXPECT_EQ(0x55, seven[24]);
  EXPECT_EQ(0x15, seven[25]);
  arena_free(arena);
}

TEST(ResultStore, RowTableGrowsInBandsAndSteps) {
  ResultRecord* result = empty_result();
  EXPECT_EQ(nullptr, row_slot(result, 0));
  for (int64_t i = 0; i <= 176000; i++) ASSERT_EQ(0, store_row(result, fake_row(i)));
  EXPECT_EQ(176001, result->row_count);
  // Row index -> block, entry at the band edges.
  const int64_t edges[][3] = {{999, 1, 999},     {1000, 2, 0},      {15999, 16, 999}, {16000, 17, 0},
                              {25999, 17, 9999}, {26000, 18, 0},    {175999, 32, 9999}, {176000, 33, 0}};
  for (const auto& e : edges) {
    EXPECT_EQ(static_cast<uint8_t**>(result->row_table[e[1]]) + e[2], row_slot(result, e[0])) << e[0];
    EXPECT_EQ(fake_row(e[0]), *row_slot(result, e[0])) << e[0];
  }
  EXPECT_EQ(nullptr, row_slot(result, 276000));
  EXPECT_EQ(nullptr, row_slot(result, -1));
  EXPECT_EQ(nullptr, row_slot(result, 1347376000));

  // Stepping: the stored pointer at row_cursor, then 100 with no current row.
  result->row_cursor = 176000;
  EXPECT_EQ(0, next_row(result));
  EXPECT_EQ(fake_row(176000), result->current_row);
  EXPECT_EQ(100, next_row(result));
  EXPECT_EQ(nullptr, result->current_row);
  result->kind = HT_CONN;
  EXPECT_EQ(-1, next_row(result));
  result->kind = HT_RESULT;
  free_result(result);
  EXPECT_EQ(-1, next_row(nullptr));
  EXPECT_EQ(0, free_result(nullptr));
}

TEST(ResultStore, TheTwoHundredFiftySeventhBlockIsRefused) {
  ResultRecord* result = empty_result();
  ASSERT_EQ(0, store_row(result, fake_row(0)));
  result->message = strdup("earlier text");
  // Pretend that all 256 blocks are full: the next row would need block 257.
  *static_cast<int16_t*>(result->row_table[0]) = 256;
  result->row_capacity = result->row_count = 1347376000;
  testing::internal::CaptureStdout();
  EXPECT_EQ(-1, store_row(result, fake_row(1)));
  EXPECT_EQ("语句行结果集过大\n", testing::internal::GetCapturedStdout());
  EXPECT_STREQ("[EC080]select result-set is too large please connect to db-server", result->message);
  EXPECT_EQ(1347376000, result->row_count);
  free_result(result);
}

TEST(ResultStore, CTypeOfTypeCodes) {
  const int32_t pairs[][2] = {{1, 2},        {2, 1},         {3, 3},         {7, 9},        {8, 7},
                              {16, 28},      {17, 21},       {24, 31},       {29, 69},      {33, 15},
                              {47, 43},      {48, 45},       {60, 57},       {64, 44},      {65, 2},
                              {-7, 2},       {10000, 2},     {10030, 10002}, {10016, 10028}, {20030, 10002}};
  for (const auto& p : pairs) EXPECT_EQ(p[1], type_to_ctype(p[0])) << p[0];
}
