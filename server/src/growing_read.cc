#include "growing_read.h"

#include <algorithm>

namespace zv {

bool read_appending(SocketReader& in, size_t n, std::string& out) {
  constexpr size_t kStep = 1 << 20;
  const size_t end = out.size() + n;
  while (out.size() < end) {
    size_t done = out.size();
    out.resize(done + std::min(kStep, end - done));
    if (!in.exact(&out[done], out.size() - done)) return false;
  }
  return true;
}

}  // namespace zv
