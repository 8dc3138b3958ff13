#include "connection/page_map.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>

size_t page_round(size_t size) {
  static const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
  return (size + page - 1) / page * page;
}

// An aligned start is found by mapping 2 MiB more and giving back what lies before and after it.
void* page_map(size_t size) {
  size = page_round(size);
  size_t span = size + HUGE_PAGE;
  void* raw = mmap(nullptr, span, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (raw == MAP_FAILED) return nullptr;
  uintptr_t start = reinterpret_cast<uintptr_t>(raw);
  uintptr_t aligned = (start + HUGE_PAGE - 1) & ~(uintptr_t{HUGE_PAGE} - 1);
  if (aligned > start) munmap(raw, aligned - start);
  size_t after = start + span - (aligned + size);
  if (after > 0) munmap(reinterpret_cast<void*>(aligned + size), after);
  void* p = reinterpret_cast<void*>(aligned);
#ifdef MADV_HUGEPAGE
  // Only advice: without huge pages the mapping works as well with small ones.
  madvise(p, size, MADV_HUGEPAGE);
#endif
  return p;
}

void page_unmap(void* p, size_t size) {
  if (p) munmap(p, page_round(size));
}
