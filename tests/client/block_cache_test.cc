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
const size_t kMiB = size_t{1} << 20;

// A result holding 68 arena blocks (four heap blocks, then 64 cut from two 2 MiB runs) and
// 176,001 rows, so that its row table reaches its first 800,000-byte block.
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

const size_t kBigResultBytes = 3 * HUGE_PAGE;  // two arena runs, the table block rounded up
}  // namespace

TEST(BlockCache, KeepsGivenBlocksWithinItsCap) {
  const BlockCacheCounts start = block_cache_counts();
  ASSERT_EQ(0u, start.idle_bytes);  // no connection is open: nothing is kept
  block_cache_join();
  // Small blocks are heap memory, never mapped nor kept.
  block_give(block_take(65536, false), 65536);
  EXPECT_EQ(start.mapped_bytes, block_cache_counts().mapped_bytes);
  // A run given back comes back the same, zeroed when asked.
  uint8_t* run = static_cast<uint8_t*>(block_take(HUGE_PAGE, false));
  ASSERT_NE(nullptr, run);
  memset(run, 7, HUGE_PAGE);
  block_give(run, HUGE_PAGE);
  EXPECT_EQ(HUGE_PAGE, block_cache_counts().idle_bytes);
  uint8_t* again = static_cast<uint8_t*>(block_take(HUGE_PAGE, true));
  EXPECT_EQ(run, again);
  EXPECT_EQ(static_cast<long>(HUGE_PAGE), std::count(again, again + HUGE_PAGE, 0));
  EXPECT_EQ(start.reused + 1, block_cache_counts().reused);
  // Forty runs given back: the newest 32 stay (64 MiB), the oldest are unmapped.
  std::vector<void*> runs = {again};
  for (int i = 1; i < 40; i++) runs.push_back(block_take(HUGE_PAGE, false));
  for (void* p : runs) block_give(p, HUGE_PAGE);
  BlockCacheCounts full = block_cache_counts();
  EXPECT_EQ(64 * kMiB, full.idle_bytes);
  EXPECT_EQ(32, full.idle_blocks);
  EXPECT_EQ(start.mapped_bytes + 64 * kMiB, full.mapped_bytes);
  EXPECT_EQ(runs[39], block_take(HUGE_PAGE, false));
  block_give(runs[39], HUGE_PAGE);
  // A block above the cap is never kept; one of another size takes no idle one, and when it is
  // given back the two oldest runs make room for it.
  block_give(block_take(80 * kMiB, false), 80 * kMiB);
  void* odd = block_take(3 * kMiB, false);
  EXPECT_EQ(start.mapped_bytes + 67 * kMiB, block_cache_counts().mapped_bytes);
  block_give(odd, 3 * kMiB);
  full = block_cache_counts();
  EXPECT_EQ(63 * kMiB, full.idle_bytes);
  EXPECT_EQ(31, full.idle_blocks);
  EXPECT_EQ(start.mapped_bytes + 63 * kMiB, full.mapped_bytes);
  block_cache_leave();
  EXPECT_EQ(0u, block_cache_counts().idle_bytes);
  EXPECT_EQ(start.mapped_bytes, block_cache_counts().mapped_bytes);
}

TEST(BlockCache, ResultsInSequenceReuseTheirBlocks) {
  const BlockCacheCounts start = block_cache_counts();
  block_cache_join();
  free_big_result(big_result());
  BlockCacheCounts first = block_cache_counts();
  EXPECT_EQ(kBigResultBytes, first.idle_bytes);
  EXPECT_EQ(start.mapped_bytes + kBigResultBytes, first.mapped_bytes);
  for (int i = 0; i < 10; i++) free_big_result(big_result());
  BlockCacheCounts later = block_cache_counts();
  EXPECT_EQ(first.mapped_bytes, later.mapped_bytes);  // nothing new was mapped
  EXPECT_EQ(first.reused + 10 * 3, later.reused);
  EXPECT_EQ(kBigResultBytes, later.idle_bytes);
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
  std::string bytes(3 * kMiB, 'x');
  ASSERT_EQ(0, lob_append(&lob, reinterpret_cast<const uint8_t*>(bytes.data()), 3 * kMiB));
  block_cache_leave();
  EXPECT_EQ(start.mapped_bytes + kBigResultBytes + 4 * kMiB, block_cache_counts().mapped_bytes);
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
