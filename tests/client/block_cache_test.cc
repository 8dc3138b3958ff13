// The block cache: large blocks of results and large objects recycled while a connection is open,
// the cap on what it keeps idle, and every mapping given back once nothing holds it, whichever
// thread frees the last result.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <thread>
#include <vector>

#include "connection/block_cache.h"
#include "connection/client_text.h"
#include "connection/page_map.h"
#include "results/lob_chain.h"
#include "results/row_store.h"
#include "server_process.h"
#include "zvc.h"

namespace {
// A result large enough that its arena and its row table take mapped blocks.
ResultRecord* big_result() {
  ResultRecord* result = static_cast<ResultRecord*>(client_alloc(sizeof(ResultRecord)));
  result->kind = HT_RESULT;
  result->arena = arena_create();
  for (int i = 0; i < 68; i++) arena_alloc(result->arena, 65535);
  for (int64_t i = 0; i < 176001; i++) store_row(result, result->arena->current->data);
  return result;
}

void free_big_result(ResultRecord* result) {
  clear_rows(result);
  free(result);
}
}  // namespace

TEST(BlockCache, KeepsGivenBlocksWithinItsCap) {
  const BlockCacheCounts start = block_cache_counts();
  ASSERT_EQ(0u, start.idle_bytes);  // no connection is open: nothing is kept
  block_cache_join();
  // A block given back comes back, zeroed when asked.
  uint8_t* run = static_cast<uint8_t*>(block_take(HUGE_PAGE, false));
  ASSERT_NE(nullptr, run);
  memset(run, 7, HUGE_PAGE);
  block_give(run, HUGE_PAGE);
  uint8_t* again = static_cast<uint8_t*>(block_take(HUGE_PAGE, true));
  EXPECT_EQ(run, again);
  EXPECT_EQ(static_cast<long>(HUGE_PAGE), std::count(again, again + HUGE_PAGE, 0));
  // Blocks worth more than the cap given back: what stays idle fills the cap and no more, and
  // the rest is unmapped. A block larger than the cap is never kept.
  std::vector<void*> runs = {again};
  while (runs.size() * HUGE_PAGE < BLOCK_CACHE_CAP + 8 * HUGE_PAGE) runs.push_back(block_take(HUGE_PAGE, false));
  for (void* p : runs) block_give(p, HUGE_PAGE);
  block_give(block_take(2 * BLOCK_CACHE_CAP, false), 2 * BLOCK_CACHE_CAP);
  BlockCacheCounts full = block_cache_counts();
  EXPECT_LE(full.idle_bytes, BLOCK_CACHE_CAP);
  EXPECT_GT(full.idle_bytes, BLOCK_CACHE_CAP - HUGE_PAGE);
  EXPECT_EQ(start.mapped_bytes + full.idle_bytes, full.mapped_bytes);
  block_cache_leave();
  EXPECT_EQ(0u, block_cache_counts().idle_bytes);
  EXPECT_EQ(start.mapped_bytes, block_cache_counts().mapped_bytes);
}

TEST(BlockCache, ResultsInSequenceReuseTheirBlocks) {
  const BlockCacheCounts start = block_cache_counts();
  block_cache_join();
  free_big_result(big_result());
  BlockCacheCounts first = block_cache_counts();
  EXPECT_GT(first.idle_bytes, 0u);
  for (int i = 0; i < 10; i++) free_big_result(big_result());
  BlockCacheCounts later = block_cache_counts();
  EXPECT_EQ(first.mapped_bytes, later.mapped_bytes);  // nothing new was mapped
  EXPECT_GE(later.reused, first.reused + 10);
  EXPECT_EQ(first.idle_bytes, later.idle_bytes);
  block_cache_leave();
  EXPECT_EQ(start.mapped_bytes, block_cache_counts().mapped_bytes);
}

// A result and an object that outlive the last connection give their memory back to the system
// when they are freed, on whatever thread.
TEST(BlockCache, AfterTheLastCloseBlocksAreUnmapped) {
  const BlockCacheCounts start = block_cache_counts();
  block_cache_join();
  ResultRecord* result = big_result();
  LobHandle lob = {};
  lob.kind = HT_LOB;
  std::string bytes(3 << 20, 'x');
  ASSERT_EQ(0, lob_append(&lob, reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()));
  block_cache_leave();
  EXPECT_GT(block_cache_counts().mapped_bytes, start.mapped_bytes);
  std::thread([&] {
    free_big_result(result);
    lob_clear(&lob);
  }).join();
  BlockCacheCounts end = block_cache_counts();
  EXPECT_EQ(0u, end.idle_bytes);
  EXPECT_EQ(start.mapped_bytes, end.mapped_bytes);
}

// Opening a connection lets the cache keep blocks; the close of the last one empties it.
TEST(BlockCache, TheLastCloseEmptiesTheCache) {
  const BlockCacheCounts start = block_cache_counts();
  ServerProcess server;
  ConnRecord* first = nullptr;
  ConnRecord* second = nullptr;
  ASSERT_EQ(2, ZVC_OpenConnection(server.conn_string().c_str(), &first));
  ASSERT_EQ(2, ZVC_OpenConnection(server.conn_string().c_str(), &second));
  block_give(block_take(HUGE_PAGE, false), HUGE_PAGE);
  EXPECT_EQ(HUGE_PAGE, block_cache_counts().idle_bytes);
  ZVC_CloseConnection(&first);
  EXPECT_EQ(HUGE_PAGE, block_cache_counts().idle_bytes);
  ZVC_CloseConnection(&second);
  EXPECT_EQ(0u, block_cache_counts().idle_bytes);
  EXPECT_EQ(start.mapped_bytes, block_cache_counts().mapped_bytes);
}
