// Row storage: every value kept intact in the arena whatever its size, rows given back in the
// order they came across the growth of the row table, and the refusal of a result too large.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

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

// Sizes below, at and above a block, in an order that leaves every amount of room behind: each
// area filled with its own byte still holds it when all are made, so no two overlap.
TEST(ResultStore, ArenaKeepsEveryValueIntact) {
  const int32_t sizes[] = {1, 32768, 39999, 100, 65535, 65536, 7, 40000, 200000, 25535, 65534, 3, 50000};
  RowArena* arena = arena_create();
  std::vector<uint8_t*> areas;
  for (size_t i = 0; i < sizeof sizes / sizeof sizes[0]; i++) {
    uint8_t* p = arena_alloc(arena, sizes[i]);
    ASSERT_NE(nullptr, p);
    memset(p, static_cast<int>(i + 1), static_cast<size_t>(sizes[i]));
    areas.push_back(p);
  }
  for (size_t i = 0; i < areas.size(); i++) {
    std::vector<uint8_t> want(static_cast<size_t>(sizes[i]), static_cast<uint8_t>(i + 1));
    EXPECT_EQ(0, memcmp(want.data(), areas[i], want.size())) << sizes[i];
  }
  arena_free(arena);
}

TEST(ResultStore, RowsComeBackInTheirOrder) {
  ResultRecord* result = empty_result();
  EXPECT_EQ(nullptr, row_slot(result, 0));
  const int64_t kRows = 176001;  // enough for the row table to grow many times
  for (int64_t i = 0; i < kRows; i++) ASSERT_EQ(0, store_row(result, fake_row(i)));
  EXPECT_EQ(kRows, result->row_count);
  for (int64_t i = 0; i < kRows; i++) {
    ASSERT_EQ(0, next_row(result)) << i;
    ASSERT_EQ(fake_row(i), result->current_row) << i;
  }
  EXPECT_EQ(100, next_row(result));  // past the last row there is no current one
  EXPECT_EQ(nullptr, result->current_row);
  EXPECT_EQ(nullptr, row_slot(result, -1));
  result->kind = HT_CONN;
  EXPECT_EQ(-1, next_row(result));
  result->kind = HT_RESULT;
  free_result(result);
  EXPECT_EQ(-1, next_row(nullptr));
  EXPECT_EQ(0, free_result(nullptr));
}

TEST(ResultStore, AResultTooLargeToHoldIsRefused) {
  ResultRecord* result = empty_result();
  ASSERT_EQ(0, store_row(result, fake_row(0)));
  result->message = strdup("earlier text");
  // Pretend that all 256 blocks of the row table are full.
  *static_cast<int16_t*>(result->row_table[0]) = 256;
  result->row_capacity = result->row_count = 1347376000;
  EXPECT_EQ(-1, store_row(result, fake_row(1)));
  EXPECT_STREQ("[EC080]select result-set is too large please connect to db-server", result->message);
  EXPECT_EQ(1347376000, result->row_count);
  free_result(result);
}
