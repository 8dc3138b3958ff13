#include "peer.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <semaphore.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>

#include "connection/client_text.h"
#include "zvc.h"

namespace {
enum { STEP_EXPECT, STEP_SEND, STEP_CLOSE, STEP_CALL, STEP_HOLD, STEP_DRIP };

std::string be_bytes(uint64_t v, int width) {
  std::string s(width, '\0');
  for (int i = width - 1; i >= 0; --i, v >>= 8) s[i] = static_cast<char>(v & 0xff);
  return s;
}

void write_all(int fd, const std::string& bytes) {
  size_t done = 0;
  while (done < bytes.size()) {
    ssize_t n = ::send(fd, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
    if (n <= 0) return;
    done += static_cast<size_t>(n);
  }
}
}  // namespace

std::string be16(int16_t n) { return be_bytes(static_cast<uint16_t>(n), 2); }
std::string be32(int32_t n) { return be_bytes(static_cast<uint32_t>(n), 4); }
std::string be64(int64_t n) { return be_bytes(static_cast<uint64_t>(n), 8); }
std::string wire_str(const std::string& s) { return be32(static_cast<int32_t>(s.size())) + s; }
std::string text_of(const ConnRecord* conn) { return conn->error_text ? conn->error_text : ""; }
int semaphore_count(ConnRecord* conn) {
  int value = -1;
  sem_getvalue(conn->semaphore, &value);
  return value;
}

ScriptedPeer::ScriptedPeer() {
  listen_fd_ = ::socket(AF_INET, SOCK_STREAM, 0);
  int one = 1;
  setsockopt(listen_fd_, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
  sockaddr_in addr{};
  addr.sin_family = AF_INET;
  addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  addr.sin_port = 0;
  bind(listen_fd_, reinterpret_cast<sockaddr*>(&addr), sizeof addr);
  listen(listen_fd_, 4);
  socklen_t len = sizeof addr;
  getsockname(listen_fd_, reinterpret_cast<sockaddr*>(&addr), &len);
  port_ = ntohs(addr.sin_port);
}

ScriptedPeer::~ScriptedPeer() {
  join();
  if (client_fd_ >= 0) ::close(client_fd_);
  ::close(listen_fd_);
}

ScriptedPeer& ScriptedPeer::add(Step step) {
  steps_.push_back(std::move(step));
  return *this;
}
ScriptedPeer& ScriptedPeer::expect(size_t n) { return add({STEP_EXPECT, n, "", nullptr}); }
ScriptedPeer& ScriptedPeer::send(const std::string& bytes) { return add({STEP_SEND, 0, bytes, nullptr}); }
ScriptedPeer& ScriptedPeer::close() { return add({STEP_CLOSE, 0, "", nullptr}); }
ScriptedPeer& ScriptedPeer::hold() { return add({STEP_HOLD, 0, "", nullptr}); }
ScriptedPeer& ScriptedPeer::drip(const std::string& bytes, int gap_ms) {
  return add({STEP_DRIP, static_cast<size_t>(gap_ms), bytes, nullptr});
}
ScriptedPeer& ScriptedPeer::then(std::function<void(const std::string&)> fn) {
  return add({STEP_CALL, 0, "", std::move(fn)});
}

void ScriptedPeer::start() { thread_ = std::thread(&ScriptedPeer::run, this); }

void ScriptedPeer::join() {
  if (thread_.joinable()) thread_.join();
}

const std::string& ScriptedPeer::received() {
  join();
  return received_;
}

std::string ScriptedPeer::conn_string(const std::string& extra) const {
  return "IP=127.0.0.1;PORT=" + std::to_string(port_) + ";DB=SYSTEM;USER=U;PWD=P" + extra;
}

void ScriptedPeer::run() {
  // Never wait for ever: a client that does not connect or send fails the test, not the run.
  pollfd p{listen_fd_, POLLIN, 0};
  if (poll(&p, 1, 10000) <= 0) return;
  client_fd_ = accept(listen_fd_, nullptr, nullptr);
  if (client_fd_ < 0) return;
  // A client that sends less than the script expects is given a second, then cut off, so the
  // test fails at once on the difference in received() instead of waiting for the client's
  // own time-out.
  timeval tv{1, 0};
  setsockopt(client_fd_, SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
  for (const Step& step : steps_) {
    if (step.kind == STEP_SEND) {
      std::string bytes = step.bytes;
      if (outgoing) outgoing(bytes);
      write_all(client_fd_, bytes);
    } else if (step.kind == STEP_CALL) {
      step.fn(received_);
    } else if (step.kind == STEP_HOLD) {
      pollfd c{client_fd_, POLLIN, 0};
      char sink[256];
      while (poll(&c, 1, 30000) > 0 && ::recv(client_fd_, sink, sizeof sink, 0) > 0) {
      }
    } else if (step.kind == STEP_DRIP) {
      std::string bytes = step.bytes;
      if (outgoing) outgoing(bytes);
      for (char byte : bytes) {
        if (::send(client_fd_, &byte, 1, MSG_NOSIGNAL) != 1) break;
        poll(nullptr, 0, static_cast<int>(step.count));
      }
    } else if (step.kind == STEP_CLOSE) {
      ::close(client_fd_);
      client_fd_ = -1;
      return;
    } else {
      std::string got(step.count, '\0');
      size_t done = 0;
      while (done < step.count) {
        ssize_t n = ::recv(client_fd_, &got[done], step.count - done, 0);
        if (n <= 0) break;
        done += static_cast<size_t>(n);
      }
      got.resize(done);
      if (incoming) incoming(got);
      received_ += got;
      if (done < step.count) {
        ::close(client_fd_);
        client_fd_ = -1;
        return;
      }
    }
  }
}

StreamPeer::StreamPeer(const std::string& reply, bool close_after) {
  int fds[2];
  socketpair(AF_UNIX, SOCK_STREAM, 0, fds);
  peer_fd_ = fds[1];
  conn = static_cast<ConnRecord*>(client_alloc(sizeof(ConnRecord)));
  conn->kind = HT_CONN;
  conn->verbose_mode = 1;
  conn->lock_timeout = 300;
  str_copy_bounded(conn->version, sizeof conn->version, "301");
  conn->socket = fds[0];
  conn->semaphore = plat_sem_create(1);
  // What the socket takes at once is written here; a thread writes the rest, if any, as the
  // client reads. Most replies fit, so most peers cost no thread (the fuzz harnesses make one
  // peer for every input).
  ssize_t now = reply.empty() ? 0 : ::send(peer_fd_, reply.data(), reply.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
  std::string rest = reply.substr(now > 0 ? static_cast<size_t>(now) : 0);
  if (rest.empty()) {
    if (close_after) shutdown(peer_fd_, SHUT_WR);
    return;
  }
  writer_ = std::thread([this, rest, close_after] {
    write_all(peer_fd_, rest);
    if (close_after) shutdown(peer_fd_, SHUT_WR);
  });
}

StreamPeer::~StreamPeer() {
  if (drainer_.joinable()) {
    stop_draining_ = true;
    drainer_.join();
  }
  if (writer_.joinable()) {
    shutdown(peer_fd_, SHUT_RDWR);
    writer_.join();
  }
  if (conn) ZVC_CloseConnection(&conn);
  ::close(peer_fd_);
}

void StreamPeer::drain() {
  drainer_ = std::thread([this] {
    char buf[65536];
    for (;;) {
      pollfd p{peer_fd_, POLLIN, 0};
      if (poll(&p, 1, 20) > 0) {
        ssize_t n = ::recv(peer_fd_, buf, sizeof buf, 0);
        if (n <= 0) return;
        drained_.append(buf, static_cast<size_t>(n));
      } else if (stop_draining_) {
        return;
      }
    }
  });
}

std::string StreamPeer::sent() {
  if (drainer_.joinable()) {
    stop_draining_ = true;
    drainer_.join();
  }
  std::string out = std::move(drained_);
  drained_.clear();
  char buf[4096];
  for (;;) {
    ssize_t n = ::recv(peer_fd_, buf, sizeof buf, MSG_DONTWAIT);
    if (n <= 0) break;
    out.append(buf, static_cast<size_t>(n));
  }
  return out;
}

DeadPort::DeadPort() : fd(socket(AF_INET, SOCK_STREAM, 0)) {
  sockaddr_in addr{AF_INET, 0, {htonl(INADDR_LOOPBACK)}, {}};
  socklen_t len = sizeof addr;
  bind(fd, reinterpret_cast<sockaddr*>(&addr), len);
  getsockname(fd, reinterpret_cast<sockaddr*>(&addr), &len);
  port = ntohs(addr.sin_port);
}

DeadPort::~DeadPort() { close(fd); }
