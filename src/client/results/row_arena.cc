// The bump allocator that owns every byte of a result's rows. Nothing is freed one by one:
// all blocks go together with the result.
#include <cstdlib>

#include "connection/block_cache.h"
#include "connection/client_text.h"
#include "connection/page_map.h"
#include "results/row_store.h"

namespace {
// The first blocks of an arena are heap blocks of their own, so that a small result holds
// little memory; later ones are cut from 2 MiB runs that the kernel can back with one huge
// page each and that the block cache recycles between results. The very first is small: the
// many short results that a run of queries holds at once then take little of the heap, which
// would otherwise be grown for them and given back to the kernel after each run.
enum { ARENA_HEAP_BLOCKS = 4, ARENA_FIRST_BLOCK = 4096 };

// Data for the next block of size bytes; *owned receives the size of the allocation it starts,
// 0 when it lies inside a run an earlier block started.
uint8_t* next_block_data(RowArena* arena, int32_t size, size_t* owned) {
  if (arena->block_count < ARENA_HEAP_BLOCKS) {
    *owned = static_cast<size_t>(size);
    return static_cast<uint8_t*>(block_take(*owned, false));
  }
  *owned = 0;
  if (arena->run_next == arena->run_end) {
    uint8_t* run = static_cast<uint8_t*>(block_take(HUGE_PAGE, false));
    if (!run) return nullptr;
    *owned = HUGE_PAGE;
    arena->run_next = run;
    arena->run_end = run + HUGE_PAGE;
  }
  uint8_t* data = arena->run_next;
  arena->run_next += ARENA_BLOCK_SIZE;
  return data;
}

// A block header with the next block's data, unzeroed.
ArenaBlock* block_new(RowArena* arena) {
  ArenaBlock* block = static_cast<ArenaBlock*>(client_alloc(sizeof(ArenaBlock)));
  if (!block) return nullptr;
  int32_t size = arena->block_count == 0 ? int32_t{ARENA_FIRST_BLOCK} : int32_t{ARENA_BLOCK_SIZE};
  block->data = next_block_data(arena, size, &block->owned);
  if (!block->data) {
    free(block);
    return nullptr;
  }
  arena->block_count++;
  block->size = size;
  block->free = size;
  return block;
}

// A large request gets a zero-filled area of its own. The current header takes that area and a
// new header behind it takes over the current data, so that its free space stays usable.
uint8_t* alloc_own_area(RowArena* arena, int32_t take) {
  ArenaBlock* cur = arena->current;
  ArenaBlock* moved = static_cast<ArenaBlock*>(client_alloc(sizeof(ArenaBlock)));
  uint8_t* area = static_cast<uint8_t*>(block_take(static_cast<size_t>(take), true));
  if (!moved || !area) {
    free(moved);
    block_give(area, static_cast<size_t>(take));
    return nullptr;
  }
  *moved = *cur;
  moved->next = nullptr;
  cur->next = moved;
  cur->data = area;
  cur->owned = static_cast<size_t>(take);
  cur->size = take;
  cur->used = take;
  cur->free = 0;
  arena->current = moved;
  return area;
}
}  // namespace

RowArena* arena_create() {
  RowArena* arena = static_cast<RowArena*>(client_alloc(sizeof(RowArena)));
  if (!arena) return nullptr;
  arena->first = block_new(arena);
  if (!arena->first) {
    free(arena);
    return nullptr;
  }
  arena->current = arena->first;
  return arena;
}

uint8_t* arena_alloc(RowArena* arena, int32_t n) {
  ArenaBlock* cur = arena->current;
  int32_t take = n + 1;
  if (cur->free > n) {
    uint8_t* p = cur->data + cur->used;
    cur->used += take;
    cur->free -= take;
    return p;
  }
  if (take <= ARENA_BLOCK_SIZE && (take <= ARENA_SMALL_REQUEST || cur->free <= ARENA_SMALL_REQUEST)) {
    // The rest of the current block is given up.
    ArenaBlock* block = block_new(arena);
    if (!block) return nullptr;
    block->used = take;
    block->free = block->size - take;
    cur->next = block;
    arena->current = block;
    return block->data;
  }
  return alloc_own_area(arena, take);
}

void arena_free(RowArena* arena) {
  if (!arena) return;
  ArenaBlock* block = arena->first;
  while (block) {
    ArenaBlock* next = block->next;
    if (block->owned) block_give(block->data, block->owned);
    free(block);
    block = next;
  }
  free(arena);
}
