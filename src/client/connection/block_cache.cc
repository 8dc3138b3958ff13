#include "connection/block_cache.h"

#include <pthread.h>
#include <sanitizer/asan_interface.h>

#include <cstdlib>
#include <cstring>

#include "connection/page_map.h"

namespace {
enum { CACHE_SLOTS = BLOCK_CACHE_CAP / BLOCK_MAPPED_MIN };

struct IdleBlock {
  void* p;
  size_t size;  // whole pages
};

struct BlockCache {
  pthread_mutex_t lock;
  IdleBlock idle[CACHE_SLOTS];  // oldest first
  int32_t idle_count;
  size_t idle_bytes;
  size_t mapped_bytes;
  int64_t reused;
  int32_t users;
};

BlockCache cache = {PTHREAD_MUTEX_INITIALIZER, {}, 0, 0, 0, 0, 0};

// With the lock held.
void unmap_block(void* p, size_t size) {
  ASAN_UNPOISON_MEMORY_REGION(p, size);
  page_unmap(p, size);
  cache.mapped_bytes -= size;
}

// With the lock held: idle block i leaves the cache, the newer ones move up.
IdleBlock remove_idle(int32_t i) {
  IdleBlock block = cache.idle[i];
  memmove(&cache.idle[i], &cache.idle[i + 1], sizeof(IdleBlock) * static_cast<size_t>(cache.idle_count - i - 1));
  cache.idle_count--;
  cache.idle_bytes -= block.size;
  return block;
}

// The newest idle block of exactly size bytes, or null.
void* take_idle(size_t size) {
  pthread_mutex_lock(&cache.lock);
  void* p = nullptr;
  for (int32_t i = cache.idle_count - 1; i >= 0; i--) {
    if (cache.idle[i].size == size) {
      p = remove_idle(i).p;
      cache.reused++;
      break;
    }
  }
  pthread_mutex_unlock(&cache.lock);
  if (p) ASAN_UNPOISON_MEMORY_REGION(p, size);
  return p;
}
}  // namespace

void* block_take(size_t size, bool zeroed) {
  if (size < BLOCK_MAPPED_MIN) return zeroed ? calloc(1, size) : malloc(size);
  size = page_round(size);
  void* p = take_idle(size);
  if (p) {
    if (zeroed) memset(p, 0, size);
    return p;
  }
  p = page_map(size);  // fresh mappings are zero-filled
  if (!p) return nullptr;
  pthread_mutex_lock(&cache.lock);
  cache.mapped_bytes += size;
  pthread_mutex_unlock(&cache.lock);
  return p;
}

void block_give(void* p, size_t size) {
  if (!p) return;
  if (size < BLOCK_MAPPED_MIN) {
    free(p);
    return;
  }
  size = page_round(size);
  pthread_mutex_lock(&cache.lock);
  if (size > BLOCK_CACHE_CAP || cache.users == 0) {
    unmap_block(p, size);
  } else {
    while (cache.idle_count == CACHE_SLOTS || cache.idle_bytes + size > BLOCK_CACHE_CAP) {
      IdleBlock oldest = remove_idle(0);
      unmap_block(oldest.p, oldest.size);
    }
    // An idle block is out of bounds for the sanitizer: a stale pointer into it is caught.
    ASAN_POISON_MEMORY_REGION(p, size);
    cache.idle[cache.idle_count++] = {p, size};
    cache.idle_bytes += size;
  }
  pthread_mutex_unlock(&cache.lock);
}

void block_cache_join() {
  pthread_mutex_lock(&cache.lock);
  cache.users++;
  pthread_mutex_unlock(&cache.lock);
}

void block_cache_leave() {
  pthread_mutex_lock(&cache.lock);
  if (--cache.users == 0) {
    while (cache.idle_count > 0) {
      IdleBlock block = remove_idle(cache.idle_count - 1);
      unmap_block(block.p, block.size);
    }
  }
  pthread_mutex_unlock(&cache.lock);
}

BlockCacheCounts block_cache_counts() {
  pthread_mutex_lock(&cache.lock);
  BlockCacheCounts counts = {cache.idle_bytes, cache.idle_count, cache.mapped_bytes, cache.reused};
  pthread_mutex_unlock(&cache.lock);
  return counts;
}
