#include "parameter_reader.h"

#include "growing_read.h"

namespace zv {
namespace {

// Reads through `in` until `left` bytes are used up.
class BoundedReader {
 public:
  BoundedReader(SocketReader& in, int64_t max_bytes) : in_(in), left_(static_cast<uint64_t>(max_bytes)) {}

  bool append(size_t n, std::string& out) { return take(n) && read_appending(in_, n, out); }
  bool byte(int& out) { return take(1) && (out = in_.byte()) >= 0; }
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
// stands for a null.
bool read_block(BoundedReader& in, bool type_byte, size_t wanted, Parameters& out) {
  int32_t block_len;
  if (!in.int32(block_len) || block_len <= 0) return false;
  const size_t head = type_byte ? 5 : 4;
  for (auto left = static_cast<size_t>(block_len); left > 0;) {
    if (out.slots.size() == wanted || left < head) return false;
    int type = out.slots[out.slots.size() % out.count()].type;
    int32_t len;
    if ((type_byte && !in.byte(type)) || !in.int32(len)) return false;
    left -= head;
    size_t n = len > 0 ? static_cast<size_t>(len) : 0;
    if (n > left || !read_value(in, type, n, out)) return false;
    left -= n;
  }
  return true;
}

bool read_all(BoundedReader& in, uint32_t word, bool type_byte, Parameters& out) {
  const uint32_t count = word & 0xFFFF;
  out.batch_rows = word >> 16;
  for (uint32_t i = 0; i < count; ++i) {
    if (!read_record(in, out)) return false;
  }
  const size_t wanted = out.rows() * count;
  while (out.slots.size() < wanted) {
    if (!read_block(in, type_byte, wanted, out)) return false;
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
