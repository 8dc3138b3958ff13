// A fuzzer's input as the bytes a client sent: they wait in one end of a socket pair,
// whose other end is closed for writing, so a reader sees them and then the link's end.
#pragma once

#include <sys/socket.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>

namespace zvfuzz {

// Inputs are kept below the pair's buffer size, so that writing them never blocks.
constexpr size_t kMaxInput = 60000;

class SocketInput {
 public:
  SocketInput(const uint8_t* data, size_t size) {
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds_) != 0) __builtin_trap();
    if (size > 0 && ::write(fds_[1], data, size) != static_cast<ssize_t>(size)) __builtin_trap();
    ::shutdown(fds_[1], SHUT_WR);
  }
  ~SocketInput() {
    ::close(fds_[0]);
    ::close(fds_[1]);
  }
  SocketInput(const SocketInput&) = delete;
  SocketInput& operator=(const SocketInput&) = delete;

  int fd() const { return fds_[0]; }

 private:
  int fds_[2] = {-1, -1};
};

}  // namespace zvfuzz
