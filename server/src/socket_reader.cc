#include "socket_reader.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstring>
#include <utility>

#include "byte_order.h"

namespace zv {

int64_t steady_ms() {
  using namespace std::chrono;
  return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

SocketReader::SocketReader(int fd, Clock clock) : fd_(fd), clock_(clock), buf_(new char[kCapacity]) {}

void SocketReader::set_deadline(int64_t ms) { deadline_ = clock_() + ms; }

// Without a deadline, recv waits on its own (as long as the socket's time-out lets it).
bool SocketReader::wait_within_deadline() {
  if (deadline_ == kNoDeadline) return true;
  for (;;) {
    const int64_t left = deadline_ - clock_();
    if (left <= 0) return false;
    pollfd p{fd_, POLLIN, 0};
    const int ready = ::poll(&p, 1, static_cast<int>(std::min<int64_t>(left, INT_MAX)));
    if (ready > 0) return true;  // bytes, the link's end or its failure: recv tells which
    if (ready < 0 && errno != EINTR) return false;
  }
}

bool SocketReader::fill() {
  for (;;) {
    if (!wait_within_deadline()) return false;
    ssize_t got = ::recv(fd_, buf_.get(), kCapacity, 0);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return false;
    pos_ = 0;
    len_ = static_cast<size_t>(got);
    if (keystream_) keystream_->apply(buf_.get(), len_);
    return true;
  }
}

void SocketReader::decipher_with(std::unique_ptr<LinkKeystream> keystream) {
  keystream_ = std::move(keystream);
  keystream_->apply(&buf_[pos_], len_ - pos_);
}

int SocketReader::byte() {
  if (pos_ == len_ && !fill()) return -1;
  return static_cast<unsigned char>(buf_[pos_++]);
}

bool SocketReader::exact(void* dst, size_t n) {
  char* out = static_cast<char*>(dst);
  while (n > 0) {
    if (pos_ == len_ && !fill()) return false;
    size_t take = std::min(n, len_ - pos_);
    std::memcpy(out, &buf_[pos_], take);
    pos_ += take;
    out += take;
    n -= take;
  }
  return true;
}

bool SocketReader::skip(size_t n) {
  while (n > 0) {
    if (pos_ == len_ && !fill()) return false;
    size_t take = std::min(n, len_ - pos_);
    pos_ += take;
    n -= take;
  }
  return true;
}

bool SocketReader::int16(int16_t& out) {
  char b[2];
  if (!exact(b, 2)) return false;
  out = static_cast<int16_t>(load_be16(b));
  return true;
}

bool SocketReader::int32(int32_t& out) {
  char b[4];
  if (!exact(b, 4)) return false;
  out = static_cast<int32_t>(load_be32(b));
  return true;
}

}  // namespace zv
