// Rows per second that zanvo-server sends for a 1,000,000-row, 8-column SELECT to a
// client that reads the reply and drops it. The client here is a bare socket reader of
// its own, so that the figure is the server's.
#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>

namespace {

constexpr int64_t kRows = 1000000;

[[noreturn]] void fail(const std::string& what) { throw std::runtime_error(what); }

// zanvo-server as a child process on an ephemeral port.
class ServerProcess {
 public:
  ServerProcess() {
    int out[2];
    if (::pipe(out) != 0) fail("pipe");
    pid_ = ::fork();
    if (pid_ == 0) {
      ::dup2(out[1], STDOUT_FILENO);
      ::close(out[0]);
      ::close(out[1]);
      ::execl(ZV_SERVER_BIN, ZV_SERVER_BIN, "--port", "0", static_cast<char*>(nullptr));
      std::_Exit(127);
    }
    ::close(out[1]);
    FILE* lines = ::fdopen(out[0], "r");
    if (!lines || std::fscanf(lines, "listening on 127.0.0.1:%d", &port_) != 1) fail("server did not start");
    std::fclose(lines);
  }
  ~ServerProcess() {
    ::kill(pid_, SIGTERM);
    ::waitpid(pid_, nullptr, 0);
  }
  int port() const { return port_; }

 private:
  pid_t pid_ = -1;
  int port_ = 0;
};

// A logged-in link that sends commands and walks replies without keeping them.
class Link {
 public:
  explicit Link(int port) : buf_(new unsigned char[kBuffer]) {
    fd_ = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    addr.sin_port = htons(static_cast<uint16_t>(port));
    if (::connect(fd_, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0) fail("connect");
    int one = 1;
    ::setsockopt(fd_, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    send_all("login database = SYSTEM user='SYSDBA' password='SYSDBA' auto_commit = 'on' version = '301'");
    if (byte() != 'N') fail("login refused");
    skip(4);
    if (byte() != 'K') fail("login refused");
  }
  ~Link() { ::close(fd_); }

  void command(const std::string& text) {
    std::string msg = "?" + be32(static_cast<int32_t>(text.size())) + text + '\0' + be32(0);
    send_all(msg);
  }

  // Reads one reply to its "K"; returns the number of rows it carried.
  int64_t drain_reply() {
    int64_t rows = 0;
    int32_t fields = 0;
    for (;;) {
      switch (byte()) {
        case 'K':
          return rows;
        case 'A':
          fields = int32();
          for (int32_t i = 0; i < fields; ++i) {
            skip(static_cast<size_t>(int32()));
            skip(12);
          }
          break;
        case 'R':
          for (int32_t i = 0; i < fields; ++i) {
            int32_t len = int32();
            if (len > 0) skip(static_cast<size_t>(len));
          }
          ++rows;
          break;
        case 'E':
          fail("server error in benchmark setup");
        case 'I':
          skip(static_cast<size_t>(int32()));
          break;
        case 'U':
        case 'D':
          skip(4);
          break;
        default:
          fail("unexpected reply letter");
      }
    }
  }

 private:
  static constexpr size_t kBuffer = 256 * 1024;

  static std::string be32(int32_t v) {
    uint32_t u = htonl(static_cast<uint32_t>(v));
    return std::string(reinterpret_cast<const char*>(&u), 4);
  }

  void send_all(const std::string& bytes) {
    if (::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(bytes.size())) fail("send");
  }

  void fill() {
    ssize_t n = ::recv(fd_, buf_.get(), kBuffer, 0);
    if (n <= 0) fail("link closed");
    pos_ = 0;
    len_ = static_cast<size_t>(n);
  }

  unsigned char byte() {
    if (pos_ == len_) fill();
    return buf_[pos_++];
  }

  int32_t int32() {
    uint32_t v = 0;
    for (int i = 0; i < 4; ++i) v = (v << 8) | byte();
    return static_cast<int32_t>(v);
  }

  void skip(size_t n) {
    while (n > 0) {
      if (pos_ == len_) fill();
      size_t take = std::min(n, len_ - pos_);
      pos_ += take;
      n -= take;
    }
  }

  int fd_ = -1;
  std::unique_ptr<unsigned char[]> buf_;
  size_t pos_ = 0;
  size_t len_ = 0;
};

void fill_table(Link& link) {
  link.command(
      "create table wide(i INTEGER, b BIGINT, d DOUBLE, s VARCHAR(32), dt DATE, ts DATETIME, n NUMERIC(12,2),"
      " f BOOLEAN)");
  link.drain_reply();
  link.command("insert into wide with recursive c(x) as (select 1 union all select x + 1 from c where x < " +
               std::to_string(kRows) +
               ") select x, x * 1000003, x * 0.5, 'name-' || x, date('2000-01-01', '+' || (x % 10000) || ' days'),"
               " datetime('2000-01-01 00:00:00', '+' || x || ' seconds'), x / 100.0, x % 2 from c");
  link.drain_reply();
}

void BM_ServerSelectMillionRows(benchmark::State& state) {
  ServerProcess server;
  Link link(server.port());
  fill_table(link);
  int64_t rows = 0;
  for (auto _ : state) {
    link.command("select i, b, d, s, dt, ts, n, f from wide");
    rows += link.drain_reply();
  }
  if (rows != kRows * state.iterations()) state.SkipWithError("wrong row count");
  state.counters["rows_per_s"] = benchmark::Counter(static_cast<double>(rows), benchmark::Counter::kIsRate);
}

BENCHMARK(BM_ServerSelectMillionRows)->Unit(benchmark::kMillisecond)->Iterations(5)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
