// Large blocks of result memory recycled within the process. A block that the kernel has just
// mapped costs a page fault for each page at its first touch; a recycled one is warm. Blocks are
// shared by every connection and thread of the process (a result may be freed on any thread, and
// after its connection closed), so the cache has one lock.
#pragma once
#include <cstddef>
#include <cstdint>

enum : size_t {
  BLOCK_MAPPED_MIN = size_t{512} << 10,  // smaller blocks are plain heap memory, not recycled here
  BLOCK_CACHE_CAP = size_t{64} << 20,    // idle bytes the cache keeps at most
};

// size bytes, zero-filled when zeroed is true; null when memory runs out. A block of
// BLOCK_MAPPED_MIN and up is a recycled block of the same size when one is idle, else a fresh
// huge-page mapping.
void* block_take(size_t size, bool zeroed);
// Gives back a block of block_take with the size it was asked for. While a connection is open a
// large one is kept idle for the next block_take, the oldest idle blocks unmapped to keep within
// BLOCK_CACHE_CAP; with none open it is unmapped at once.
void block_give(void* p, size_t size);

// Open connections of the process: the cache keeps blocks while there is one, and is emptied
// when the last one ends.
void block_cache_join();
void block_cache_leave();

struct BlockCacheCounts {
  size_t idle_bytes;    // kept for reuse
  int32_t idle_blocks;
  size_t mapped_bytes;  // every large block mapped and not yet unmapped, in use or idle
  int64_t reused;       // block_take calls served from the cache so far
};
BlockCacheCounts block_cache_counts();
