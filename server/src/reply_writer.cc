#include "reply_writer.h"

#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "text_util.h"

namespace zv {

ReplyWriter::ReplyWriter(int fd) : fd_(fd), buf_(new char[kCapacity]) {}

void ReplyWriter::bytes(const void* data, size_t n) {
  if (n == 0) return;  // an empty value may come with a null pointer
  const char* p = static_cast<const char*>(data);
  if (n > kCapacity / 4) {
    // Large values go straight to the socket instead of through the buffer; on a plain link
    // with no limit, with what is buffered in one system call.
    if (keystream_ || budget_ >= 0) {
      flush();
      send_all(p, n);
    } else {
      iovec pieces[2] = {{buf_.get(), len_}, {const_cast<char*>(p), n}};
      send_pieces(pieces, 2);
      len_ = 0;
    }
    return;
  }
  reserve(n);
  std::memcpy(&buf_[len_], p, n);
  len_ += n;
}

void ReplyWriter::string(std::string_view s) {
  int32(static_cast<int32_t>(s.size()));
  bytes(s.data(), s.size());
}

void ReplyWriter::error(std::string_view text) {
  letter('E');
  string(clip(text, kMaxErrorText));
}

bool ReplyWriter::flush() {
  send_all(buf_.get(), len_);
  len_ = 0;
  return !failed_;
}

void ReplyWriter::send_all(const char* data, size_t n) {
  if (budget_ >= 0 && static_cast<int64_t>(n) > budget_) n = static_cast<size_t>(budget_);
  if (budget_ >= 0) budget_ -= static_cast<int64_t>(n);
  if (keystream_) {
    send_enciphered(data, n);
  } else {
    send_plain(data, n);
  }
}

// Bytes are enciphered in the buffer, in the order they go out. A large value that bypasses
// the buffer finds it empty and passes through it a piece at a time.
void ReplyWriter::send_enciphered(const char* data, size_t n) {
  while (n > 0 && !failed_) {
    size_t take = std::min(n, kCapacity);
    if (data != buf_.get()) std::memcpy(buf_.get(), data, take);
    keystream_->apply(buf_.get(), take);
    send_plain(buf_.get(), take);
    data += take;
    n -= take;
  }
}

void ReplyWriter::send_plain(const char* data, size_t n) {
  iovec piece = {const_cast<char*>(data), n};
  send_pieces(&piece, 1);
}

void ReplyWriter::send_pieces(iovec* pieces, size_t count) {
  while (count > 0 && !failed_) {
    if (pieces->iov_len == 0) {
      ++pieces;
      --count;
      continue;
    }
    msghdr message = {};
    message.msg_iov = pieces;
    message.msg_iovlen = count;
    ssize_t sent = ::sendmsg(fd_, &message, MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR) continue;
    if (sent <= 0) {
      failed_ = true;
      break;
    }
    // Steps past what went out: whole pieces, then part of the next.
    for (size_t left = static_cast<size_t>(sent); left > 0;) {
      size_t take = std::min(left, pieces->iov_len);
      pieces->iov_base = static_cast<char*>(pieces->iov_base) + take;
      pieces->iov_len -= take;
      left -= take;
      if (pieces->iov_len == 0) {
        ++pieces;
        --count;
      }
    }
  }
}

}  // namespace zv
