// Buffered reader of the bytes a client sends.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "link_keystream.h"

namespace zv {

class SocketReader {
 public:
  explicit SocketReader(int fd);

  // The next byte, or -1 when the link failed or closed.
  int byte();
  bool exact(void* dst, size_t n);
  bool skip(size_t n);
  bool int16(int16_t& out);
  bool int32(int32_t& out);

  // From now on every byte read is deciphered, the bytes already buffered as well.
  void decipher_with(std::unique_ptr<LinkKeystream> keystream);

 private:
  bool fill();

  static constexpr size_t kCapacity = 64 * 1024;
  int fd_;
  std::unique_ptr<char[]> buf_;
  size_t pos_ = 0;
  size_t len_ = 0;
  std::unique_ptr<LinkKeystream> keystream_;  // null on a plain link
};

}  // namespace zv
