// Buffered reader of the bytes a client sends.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "link_keystream.h"

namespace zv {

// Milliseconds on a clock that never goes back.
using Clock = int64_t (*)();
int64_t steady_ms();

class SocketReader {
 public:
  explicit SocketReader(int fd, Clock clock = steady_ms);

  // From now until clear_deadline, a read that has to wait for the client fails once `ms`
  // milliseconds have passed, however the bytes trickle in.
  void set_deadline(int64_t ms);
  void clear_deadline() { deadline_ = kNoDeadline; }

  // The next byte, or -1 when the link failed or closed.
  int byte();
  bool exact(void* dst, size_t n);
  bool skip(size_t n);
  bool int16(int16_t& out);
  bool int32(int32_t& out);

  // Whether the client has sent bytes that are read but not yet taken: a command it wrote
  // without waiting for the reply before.
  bool buffered() const { return pos_ < len_; }

  // From now on every byte read is deciphered, the bytes already buffered as well.
  void decipher_with(std::unique_ptr<LinkKeystream> keystream);

 private:
  bool fill();
  bool wait_within_deadline();

  static constexpr size_t kCapacity = 64 * 1024;
  static constexpr int64_t kNoDeadline = INT64_MAX;
  int fd_;
  Clock clock_;
  int64_t deadline_ = kNoDeadline;  // on clock_
  std::unique_ptr<char[]> buf_;
  size_t pos_ = 0;
  size_t len_ = 0;
  std::unique_ptr<LinkKeystream> keystream_;  // null on a plain link
};

}  // namespace zv
