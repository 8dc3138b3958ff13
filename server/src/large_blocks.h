// Large blocks of memory that stay warm: 2 MiB-aligned mappings the kernel may back with huge
// pages, kept for reuse when given back instead of returned to the kernel at once. Touching
// fresh memory costs a page fault per page, which for a value of many MiB costs more than
// copying it.
#pragma once

#include <cstddef>

namespace zv {

// Requests of at least this many bytes are worth a block of their own.
constexpr size_t kLargeBlockMin = size_t{4} << 20;
// The most memory kept idle for reuse, for the whole process; more is given back to the kernel.
constexpr size_t kIdleLargeBlocksMax = size_t{256} << 20;

// A block of at least `n` bytes whose capacity is stored in `capacity`: an idle one that fits
// or a new mapping. Null when the kernel refuses one.
void* take_large_block(size_t n, size_t& capacity);
// Gives back a block of take_large_block with the capacity it reported.
void give_back_large_block(void* block, size_t capacity);
// The bytes of the idle blocks.
size_t idle_large_bytes();

}  // namespace zv
