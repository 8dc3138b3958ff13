#include "parameter_skipper.h"

#include <vector>

#include "byte_order.h"

namespace zv {
namespace {

constexpr int32_t kMaxBlock = 64 << 20;

bool skip_record(SocketReader& in) {
  int16_t name_len, direction, type;
  int32_t data_len;
  if (!in.int16(name_len) || name_len < 0 || !in.skip(static_cast<size_t>(name_len))) return false;
  if (!in.int16(direction) || !in.int16(type) || !in.int32(data_len) || data_len < 0) return false;
  return in.skip(static_cast<size_t>(data_len));
}

// Counts the packed values of one block; false when a value runs past its end.
bool count_block_values(const std::vector<char>& block, bool type_byte, uint64_t& values) {
  size_t pos = 0;
  while (pos < block.size()) {
    pos += type_byte ? 1 : 0;
    if (pos + 4 > block.size()) return false;
    int32_t len = static_cast<int32_t>(load_be32(&block[pos]));
    pos += 4;
    if (len > 0) pos += static_cast<size_t>(len);
    if (pos > block.size()) return false;
    ++values;
  }
  return true;
}

}  // namespace

bool skip_parameters(SocketReader& in, uint32_t word, bool values_have_type_byte) {
  uint32_t count = word & 0xFFFF;
  uint32_t rows = word >> 16;
  for (uint32_t i = 0; i < count; ++i) {
    if (!skip_record(in)) return false;
  }
  if (rows <= 1) return true;
  const uint64_t packed = static_cast<uint64_t>(rows - 1) * count;
  uint64_t seen = 0;
  std::vector<char> block;
  while (seen < packed) {
    int32_t len;
    if (!in.int32(len) || len <= 0 || len > kMaxBlock) return false;
    block.resize(static_cast<size_t>(len));
    if (!in.exact(block.data(), block.size()) || !count_block_values(block, values_have_type_byte, seen)) return false;
  }
  return seen == packed;
}

}  // namespace zv
