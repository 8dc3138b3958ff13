// Reading the parameters that follow a command with a non-zero parameter word.
#pragma once

#include <cstdint>

#include "parameters.h"
#include "socket_reader.h"

namespace zv {

enum class ParameterRead {
  kDone,
  kBroken,    // the link failed or the records are malformed
  kTooLarge,  // the records run over the byte limit; the rest is not read
};

// The word holds the parameter count in its low 16 bits and, for an array batch, the row
// count in its high 16 bits. Row 0 comes as records (name, direction, type, length, value);
// later rows come packed in length-prefixed blocks, each value behind a type byte when
// `values_have_type_byte`. At most `max_bytes` bytes are read.
ParameterRead read_parameters(SocketReader& in, uint32_t word, bool values_have_type_byte, int64_t max_bytes,
                              Parameters& out);

}  // namespace zv
