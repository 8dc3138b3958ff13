// Reading a count of bytes that the client announced, into memory that grows only as the
// bytes arrive, so that a length alone reserves nothing.
#pragma once

#include <cstddef>
#include <string>

#include "socket_reader.h"

namespace zv {

// Appends the next `n` bytes of `in` to `out`; false when the link ends first.
bool read_appending(SocketReader& in, size_t n, std::string& out);

}  // namespace zv
