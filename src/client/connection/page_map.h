// Memory straight from the kernel, placed so that it can be backed by 2 MiB huge pages.
#pragma once
#include <cstddef>

enum : size_t { HUGE_PAGE = size_t{2} << 20 };

// size bytes (rounded up to whole pages), starting on a 2 MiB boundary and marked for huge pages,
// so that each whole 2 MiB in it costs one page fault instead of 512. Zero-filled; null on failure.
void* page_map(size_t size);
// Returns a mapping of page_map with the size it was asked for.
void page_unmap(void* p, size_t size);
// size rounded up to whole pages: what a mapping of size really holds.
size_t page_round(size_t size);
