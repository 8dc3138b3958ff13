// A login text that arrives in pieces while a stand-in clock runs, read under the login's
// deadline. Each piece is one packet of a socket pair, so each read of the reader takes one,
// and each look at the clock moves it on by the input's step: the deadline passes part-way
// through some logins and never for others. Nothing really waits, since the pair's writing
// end is closed and a wait for bytes ends at once.
//
// Input: the deadline in ms (1 byte), the clock's step in ms (1 byte), then the pieces, each a
// length byte and that many bytes; the last piece takes what is left.
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>

#include "login.h"
#include "options.h"
#include "socket_input.h"

namespace {

// Few enough packets, with their bookkeeping, to fit the pair's buffer.
constexpr size_t kMaxPieces = 32;

int64_t now_ms = 0;
int64_t step_ms = 0;
int64_t stand_in_clock() { return now_ms += step_ms; }

class PacketInput {
 public:
  explicit PacketInput(const uint8_t* data, size_t size) {
    if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, fds_) != 0) __builtin_trap();
    for (size_t pieces = 1; size > 0; ++pieces) {
      size_t n = size;  // the last piece
      if (pieces < kMaxPieces) {
        n = std::min<size_t>(data[0], size - 1);
        ++data;
        --size;
      }
      // An empty packet would read as the link's end.
      if (n > 0 && ::send(fds_[1], data, n, 0) != static_cast<ssize_t>(n)) __builtin_trap();
      data += n;
      size -= n;
    }
    ::shutdown(fds_[1], SHUT_WR);
  }
  ~PacketInput() {
    ::close(fds_[0]);
    ::close(fds_[1]);
  }
  PacketInput(const PacketInput&) = delete;
  PacketInput& operator=(const PacketInput&) = delete;

  int fd() const { return fds_[0]; }
  // Whether a piece is still waiting to be read.
  bool waiting() const {
    char c;
    return ::recv(fds_[0], &c, 1, MSG_PEEK | MSG_DONTWAIT) > 0;
  }

 private:
  int fds_[2] = {-1, -1};
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2 || size > zvfuzz::kMaxInput) return 0;
  const int64_t deadline = data[0];
  now_ms = 0;
  step_ms = data[1];
  PacketInput input(data + 2, size - 2);
  zv::SocketReader in(input.fd(), stand_in_clock);
  in.set_deadline(deadline);
  const int64_t due = now_ms + deadline;
  std::string text;
  zv::LoginTextRead read = zv::read_login_text(in, static_cast<size_t>(zv::ServerOptions{}.login_max), text);
  // A read that ended with pieces still waiting ended at the deadline, and not before it.
  if (read == zv::LoginTextRead::kEnded && input.waiting() && now_ms < due) __builtin_trap();
  zv::LoginRequest request;
  std::string error;
  if (read == zv::LoginTextRead::kComplete) zv::parse_login(text, request, error);
  return 0;
}
