// The parameters that come behind a command, kept for its statement to bind.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace zv {

// A parameter's direction as its record gives it.
enum Direction : int16_t { kIn = 1, kOut = 2, kInOut = 3 };

// What the record of a parameter says besides its value.
struct ParameterRecord {
  std::string name;  // empty for a parameter given by position
  int16_t direction = kIn;
};

struct ParameterValue {
  int32_t type = 0;  // the wire's type code
  bool null = true;  // a value of length 0: the wire has no other null
  std::string_view bytes;
};

struct Parameters {
  std::vector<ParameterRecord> records;
  uint32_t batch_rows = 0;  // rows of an array batch; 0 for a command of one row

  // True when the command's parameter word was not 0.
  bool given() const { return batch_rows > 0 || !records.empty(); }
  size_t count() const { return records.size(); }
  size_t rows() const { return batch_rows > 0 ? batch_rows : 1; }
  // Parameter i (from 0) of row `row` (from 0).
  ParameterValue value(size_t row, size_t i) const {
    const Slot& s = slots[row * count() + i];
    return {s.type, s.length == 0, std::string_view(bytes).substr(s.offset, s.length)};
  }

  // Values row after row, each a slice of `bytes`.
  struct Slot {
    int32_t type;
    uint32_t length;
    size_t offset;
  };
  std::vector<Slot> slots;
  std::string bytes;
};

}  // namespace zv
