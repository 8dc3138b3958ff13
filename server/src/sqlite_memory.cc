#include "sqlite_memory.h"

#include <malloc.h>
#include <sqlite3.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <unordered_map>

#include "large_blocks.h"

namespace zv {
namespace {

constexpr uintptr_t kBlockAlign = uintptr_t{2} << 20;
// Larger requests go to malloc as well, so that sizes rounded to whole blocks still fit an int.
constexpr size_t kLargeBlockMax = size_t{1} << 30;

bool is_large(size_t size) { return size >= kLargeBlockMin && size <= kLargeBlockMax; }

// The large blocks SQLite holds, with their capacities. A block starts on a 2 MiB boundary,
// which few malloc'd pointers do: only those are looked up.
struct LiveBlocks {
  std::mutex lock;
  std::unordered_map<void*, size_t> capacity;
};

LiveBlocks& live() {
  static LiveBlocks* blocks = new LiveBlocks;  // never destroyed: SQLite may free after main
  return *blocks;
}

// The capacity of a large block SQLite holds; 0 for a malloc'd pointer.
size_t large_capacity(void* p) {
  if ((reinterpret_cast<uintptr_t>(p) & (kBlockAlign - 1)) != 0) return 0;
  LiveBlocks& blocks = live();
  std::lock_guard<std::mutex> guard(blocks.lock);
  auto it = blocks.capacity.find(p);
  return it == blocks.capacity.end() ? 0 : it->second;
}

void* allocate(int n) {
  size_t size = static_cast<size_t>(n);
  if (!is_large(size)) return std::malloc(size);
  size_t capacity = 0;
  void* block = take_large_block(size, capacity);
  if (!block) return nullptr;
  LiveBlocks& blocks = live();
  std::lock_guard<std::mutex> guard(blocks.lock);
  blocks.capacity[block] = capacity;
  return block;
}

void release(void* p) {
  size_t capacity = large_capacity(p);
  if (capacity == 0) {
    std::free(p);
    return;
  }
  {
    LiveBlocks& blocks = live();
    std::lock_guard<std::mutex> guard(blocks.lock);
    blocks.capacity.erase(p);
  }
  give_back_large_block(p, capacity);
}

int size_of(void* p) {
  size_t capacity = large_capacity(p);
  return static_cast<int>(capacity != 0 ? capacity : malloc_usable_size(p));
}

void* reallocate(void* p, int n) {
  size_t capacity = large_capacity(p);
  if (capacity == 0 && !is_large(static_cast<size_t>(n))) return std::realloc(p, static_cast<size_t>(n));
  if (capacity >= static_cast<size_t>(n)) return p;
  void* moved = allocate(n);
  if (!moved) return nullptr;
  size_t old_size = capacity != 0 ? capacity : malloc_usable_size(p);
  std::memcpy(moved, p, std::min(old_size, static_cast<size_t>(n)));
  release(p);
  return moved;
}

int round_up(int n) {
  size_t size = static_cast<size_t>(n);
  size_t step = is_large(size) ? static_cast<size_t>(kBlockAlign) : 8;
  return static_cast<int>((size + step - 1) / step * step);
}

int init(void*) { return SQLITE_OK; }
void shutdown(void*) {}

}  // namespace

void use_warm_memory_for_sqlite() {
  static const sqlite3_mem_methods methods = {allocate, release, reallocate, size_of, round_up, init, shutdown, nullptr};
  sqlite3_config(SQLITE_CONFIG_MALLOC, &methods);
}

}  // namespace zv
