#include "large_blocks.h"

#include <sys/mman.h>

#include <cstdint>
#include <mutex>
#include <vector>

namespace zv {
namespace {

constexpr size_t kHugePage = size_t{2} << 20;

struct IdleBlocks {
  std::mutex lock;
  std::vector<std::pair<void*, size_t>> blocks;  // start and capacity
  size_t bytes = 0;
};

IdleBlocks& idle() {
  static IdleBlocks* blocks = new IdleBlocks;  // never destroyed: links may outlive main's objects
  return *blocks;
}

// An aligned start is found by mapping 2 MiB more and giving back what lies around it.
void* map_aligned(size_t capacity) {
  size_t span = capacity + kHugePage;
  void* raw = ::mmap(nullptr, span, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (raw == MAP_FAILED) return nullptr;
  uintptr_t start = reinterpret_cast<uintptr_t>(raw);
  uintptr_t aligned = (start + kHugePage - 1) & ~(uintptr_t{kHugePage} - 1);
  if (aligned > start) ::munmap(raw, aligned - start);
  size_t after = start + span - (aligned + capacity);
  if (after > 0) ::munmap(reinterpret_cast<void*>(aligned + capacity), after);
  void* block = reinterpret_cast<void*>(aligned);
  ::madvise(block, capacity, MADV_HUGEPAGE);  // advice only: small pages work as well
  return block;
}

}  // namespace

void* take_large_block(size_t n, size_t& capacity) {
  capacity = (n + kHugePage - 1) / kHugePage * kHugePage;
  IdleBlocks& pool = idle();
  {
    // The smallest idle block that holds `n`, so that a big one stays for a big request.
    std::lock_guard<std::mutex> guard(pool.lock);
    size_t best = pool.blocks.size();
    for (size_t i = 0; i < pool.blocks.size(); ++i) {
      size_t have = pool.blocks[i].second;
      if (have >= capacity && (best == pool.blocks.size() || have < pool.blocks[best].second)) best = i;
    }
    if (best < pool.blocks.size()) {
      auto [block, have] = pool.blocks[best];
      pool.blocks.erase(pool.blocks.begin() + static_cast<std::ptrdiff_t>(best));
      pool.bytes -= have;
      capacity = have;
      return block;
    }
  }
  return map_aligned(capacity);
}

void give_back_large_block(void* block, size_t capacity) {
  if (!block) return;
  IdleBlocks& pool = idle();
  {
    std::lock_guard<std::mutex> guard(pool.lock);
    if (pool.bytes + capacity <= kIdleLargeBlocksMax) {
      pool.blocks.emplace_back(block, capacity);
      pool.bytes += capacity;
      return;
    }
  }
  ::munmap(block, capacity);
}

size_t idle_large_bytes() {
  IdleBlocks& pool = idle();
  std::lock_guard<std::mutex> guard(pool.lock);
  return pool.bytes;
}

}  // namespace zv
