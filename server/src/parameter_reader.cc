#include "parameter_reader.h"

#include <algorithm>

#include "byte_order.h"
#include "growing_read.h"

namespace zv {
namespace {

// Reads through `in` until `left` bytes are used up.
class BoundedReader {
 public:
  BoundedReader(SocketReader& in, int64_t max_bytes) : in_(in), left_(static_cast<uint64_t>(max_bytes)) {}

  bool append(size_t n, std::string& out) { return take(n) && read_appending(in_, n, out); }
  bool int16(int16_t& out) { return take(2) && in_.int16(out); }
  bool int32(int32_t& out) { return take(4) && in_.int32(out); }
  bool over() const { return over_; }
  uint64_t left() const { return left_; }

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

bool read_value(BoundedReader& in, int32_t type, size_t n, Parameters& out) {
  size_t offset = out.bytes.size();
  if (!in.append(n, out.bytes)) return false;
  out.slots.push_back({type, static_cast<uint32_t>(n), offset});
  return true;
}

bool read_record(BoundedReader& in, Parameters& out) {
  int16_t name_len, direction, type;
  int32_t data_len;
  std::string name;
  if (!in.int16(name_len) || name_len < 0 || !in.append(static_cast<size_t>(name_len), name)) return false;
  if (!in.int16(direction) || !in.int16(type) || !in.int32(data_len) || data_len < 0) return false;
  out.records.push_back({std::move(name), direction});
  return read_value(in, type, static_cast<size_t>(data_len), out);
}

// Reads one block of packed values up to `wanted` values in all; false when a value runs
// past the block's end or the block holds more values than the rows announced. A value
// without a type byte has the type of its parameter's record; a negative length, like 0,
// stands for a null. The block is read whole into `out.bytes` and its values are sliced
// from there, heads and all, so that a block costs one read and no copy per value.
bool read_block(BoundedReader& in, bool type_byte, size_t wanted, Parameters& out) {
  int32_t block_len;
  if (!in.int32(block_len) || block_len <= 0) return false;
  const size_t start = out.bytes.size();
  if (!in.append(static_cast<size_t>(block_len), out.bytes)) return false;
  const char* bytes = out.bytes.data();
  const size_t end = out.bytes.size();
  const size_t head = type_byte ? 5 : 4;
  for (size_t at = start; at < end;) {
    if (out.slots.size() == wanted || end - at < head) return false;
    const int32_t type = type_byte ? static_cast<uint8_t>(bytes[at]) : out.slots[out.slots.size() % out.count()].type;
    const auto len = static_cast<int32_t>(load_be32(bytes + at + head - 4));
    at += head;
    const size_t n = len > 0 ? static_cast<size_t>(len) : 0;
    if (n > end - at) return false;
    out.slots.push_back({type, static_cast<uint32_t>(n), at});
    at += n;
  }
  return true;
}

// After the first block: room for the values still to come at the bytes per value the block
// had, within the byte limit, so that the buffer is not copied again and again as it grows.
void reserve_for_rest(const BoundedReader& in, size_t block_bytes, size_t block_values, size_t wanted,
                      Parameters& out) {
  if (block_values == 0) return;
  const uint64_t rest = static_cast<uint64_t>(block_bytes / block_values + 1) * (wanted - out.slots.size());
  out.bytes.reserve(out.bytes.size() + static_cast<size_t>(std::min(rest, in.left())));
}

bool read_all(BoundedReader& in, uint32_t word, bool type_byte, Parameters& out) {
  const uint32_t count = word & 0xFFFF;
  out.batch_rows = word >> 16;
  for (uint32_t i = 0; i < count; ++i) {
    if (!read_record(in, out)) return false;
  }
  const size_t wanted = out.rows() * count;
  constexpr size_t kReserveMax = 1 << 20;  // a word may announce more values than ever come
  out.slots.reserve(std::min(wanted, kReserveMax));
  while (out.slots.size() < wanted) {
    const size_t values_before = out.slots.size();
    const size_t bytes_before = out.bytes.size();
    if (!read_block(in, type_byte, wanted, out)) return false;
    if (values_before == count) reserve_for_rest(in, out.bytes.size() - bytes_before, out.slots.size() - values_before,
                                                 wanted, out);
  }
  return true;
}

}  // namespace

ParameterRead read_parameters(SocketReader& in, uint32_t word, bool values_have_type_byte, int64_t max_bytes,
                              Parameters& out) {
  BoundedReader bounded(in, max_bytes);
  if (read_all(bounded, word, values_have_type_byte, out)) return ParameterRead::kDone;
  return bounded.over() ? ParameterRead::kTooLarge : ParameterRead::kBroken;
}

}  // namespace zv
