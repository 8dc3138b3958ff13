#include "parameter_skipper.h"

namespace zv {
namespace {

// Reads through `in` until `left` bytes are used up.
class BoundedReader {
 public:
  BoundedReader(SocketReader& in, int64_t max_bytes) : in_(in), left_(static_cast<uint64_t>(max_bytes)) {}

  bool skip(size_t n) { return take(n) && in_.skip(n); }
  bool int16(int16_t& out) { return take(2) && in_.int16(out); }
  bool int32(int32_t& out) { return take(4) && in_.int32(out); }
  bool over() const { return over_; }

 private:
  bool take(uint64_t n) {
    over_ = n > left_;
    if (!over_) left_ -= n;
    return !over_;
  }

  SocketReader& in_;
  uint64_t left_;
  bool over_ = false;
};

bool skip_record(BoundedReader& in) {
  int16_t name_len, direction, type;
  int32_t data_len;
  if (!in.int16(name_len) || name_len < 0 || !in.skip(static_cast<size_t>(name_len))) return false;
  if (!in.int16(direction) || !in.int16(type) || !in.int32(data_len) || data_len < 0) return false;
  return in.skip(static_cast<size_t>(data_len));
}

// Passes over one block and counts its packed values; false when a value runs past its end.
// A value's negative length stands for a null.
bool skip_block(BoundedReader& in, bool type_byte, uint64_t& values) {
  int32_t block_len;
  if (!in.int32(block_len) || block_len <= 0) return false;
  const size_t head = type_byte ? 5 : 4;
  for (auto left = static_cast<size_t>(block_len); left > 0; ++values) {
    int32_t len;
    if (left < head || (type_byte && !in.skip(1)) || !in.int32(len)) return false;
    left -= head;
    size_t n = len > 0 ? static_cast<size_t>(len) : 0;
    if (n > left || !in.skip(n)) return false;
    left -= n;
  }
  return true;
}

bool skip_all(BoundedReader& in, uint32_t word, bool values_have_type_byte) {
  uint32_t count = word & 0xFFFF;
  uint32_t rows = word >> 16;
  for (uint32_t i = 0; i < count; ++i) {
    if (!skip_record(in)) return false;
  }
  if (rows <= 1) return true;
  const uint64_t packed = static_cast<uint64_t>(rows - 1) * count;
  uint64_t seen = 0;
  while (seen < packed) {
    if (!skip_block(in, values_have_type_byte, seen)) return false;
  }
  return seen == packed;
}

}  // namespace

ParameterSkip skip_parameters(SocketReader& in, uint32_t word, bool values_have_type_byte, int64_t max_bytes) {
  BoundedReader bounded(in, max_bytes);
  if (skip_all(bounded, word, values_have_type_byte)) return ParameterSkip::kDone;
  return bounded.over() ? ParameterSkip::kTooLarge : ParameterSkip::kBroken;
}

}  // namespace zv
