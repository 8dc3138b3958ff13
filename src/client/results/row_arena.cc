// The bump allocator that owns every byte of a result's rows. Nothing is freed one by one:
// all blocks go together with the result.
#include <cstdlib>

#include "connection/client_text.h"
#include "results/row_store.h"

// A block header with its own data area; zero-filled data only when asked for.
static ArenaBlock* block_new(int32_t size, bool zeroed) {
  ArenaBlock* block = static_cast<ArenaBlock*>(client_alloc(sizeof(ArenaBlock)));
  if (!block) return nullptr;
  block->data = static_cast<uint8_t*>(zeroed ? calloc(1, size) : malloc(size));
  if (!block->data) {
    free(block);
    return nullptr;
  }
  block->size = size;
  block->free = size;
  return block;
}

RowArena* arena_create() {
  RowArena* arena = static_cast<RowArena*>(client_alloc(sizeof(RowArena)));
  if (!arena) return nullptr;
  arena->first = block_new(ARENA_BLOCK_SIZE, false);
  if (!arena->first) {
    free(arena);
    return nullptr;
  }
  arena->current = arena->first;
  return arena;
}

// A large request gets an area of its own. The current header takes that area and a new header
// behind it takes over the current data, so that its free space stays usable.
static uint8_t* alloc_own_area(RowArena* arena, int32_t take) {
  ArenaBlock* cur = arena->current;
  ArenaBlock* moved = static_cast<ArenaBlock*>(client_alloc(sizeof(ArenaBlock)));
  uint8_t* area = static_cast<uint8_t*>(calloc(1, take));
  if (!moved || !area) {
    free(moved);
    free(area);
    return nullptr;
  }
  *moved = *cur;
  moved->next = nullptr;
  cur->next = moved;
  cur->data = area;
  cur->size = take;
  cur->used = take;
  cur->free = 0;
  arena->current = moved;
  return area;
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
    ArenaBlock* block = block_new(ARENA_BLOCK_SIZE, false);
    if (!block) return nullptr;
    block->used = take;
    block->free = ARENA_BLOCK_SIZE - take;
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
    free(block->data);
    free(block);
    block = next;
  }
  free(arena);
}
