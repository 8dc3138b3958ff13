// Interval texts ("1-02", "3 04:05:06", ...) read into the totals the wire carries.
#pragma once

#include <cstdint>
#include <string_view>

namespace zv {

// For interval type code 15..27: years, total months, ..., total microseconds,
// in the unit of the code. False when the text does not have the code's form.
bool parse_interval(int type_code, std::string_view text, int64_t& total);

}  // namespace zv
