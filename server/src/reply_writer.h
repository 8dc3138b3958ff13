// Buffered writer of reply records onto a client socket.
#pragma once

#include <sys/uio.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <utility>

#include "byte_order.h"
#include "link_keystream.h"

namespace zv {

class ReplyWriter {
 public:
  static constexpr size_t kCapacity = 64 * 1024;
  static constexpr size_t kMaxErrorText = 200;

  explicit ReplyWriter(int fd);

  void letter(char c) {
    reserve(1);
    buf_[len_++] = c;
  }
  void int16(int16_t v) {
    reserve(2);
    store_be16(&buf_[len_], static_cast<uint16_t>(v));
    len_ += 2;
  }
  void int32(int32_t v) {
    reserve(4);
    store_be32(&buf_[len_], static_cast<uint32_t>(v));
    len_ += 4;
  }
  void int64(int64_t v) {
    reserve(8);
    store_be64(&buf_[len_], static_cast<uint64_t>(v));
    len_ += 8;
  }
  void bytes(const void* data, size_t n);
  // int32 length, then the bytes.
  void string(std::string_view s);
  // An error record: "E" and its text, of which at most kMaxErrorText bytes go out, since
  // SQLite's messages may quote a statement of any length.
  void error(std::string_view text);

  // Sends what is buffered; false once the link has failed.
  bool flush();
  // From now on the link carries only `n` more bytes; everything past them is dropped.
  void limit_to(int64_t n) { budget_ = n; }
  bool limit_reached() const { return budget_ == 0; }
  bool ok() const { return !failed_; }
  // From now on every byte sent is enciphered; nothing may be buffered yet.
  void encipher_with(std::unique_ptr<LinkKeystream> keystream) { keystream_ = std::move(keystream); }

 private:
  void reserve(size_t n) {
    if (len_ + n > kCapacity) flush();
  }
  void send_all(const char* data, size_t n);
  void send_enciphered(const char* data, size_t n);
  void send_plain(const char* data, size_t n);
  // Sends every piece in order, as few system calls as the socket allows.
  void send_pieces(iovec* pieces, size_t count);

  int fd_;
  std::unique_ptr<char[]> buf_;
  size_t len_ = 0;
  bool failed_ = false;
  int64_t budget_ = -1;  // -1: no limit
  std::unique_ptr<LinkKeystream> keystream_;  // null on a plain link
};

}  // namespace zv
