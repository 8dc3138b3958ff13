// Passing over the parameter records that follow a command with a non-zero parameter word.
#pragma once

#include <cstdint>

#include "socket_reader.h"

namespace zv {

// The word holds the parameter count in its low 16 bits and, for an array batch, the
// row count in its high 16 bits. Row 0 comes as records (name, direction, type, length,
// value); later rows come packed in length-prefixed blocks, each value behind a type byte
// when `values_have_type_byte`. False when the link failed or the records are malformed.
bool skip_parameters(SocketReader& in, uint32_t word, bool values_have_type_byte);

}  // namespace zv
