// Throughput of the wire readers and writers over a local socket pair, the way the result
// decoder uses them: a row letter, then eight columns of int32 length and 4-byte value.
#include <benchmark/benchmark.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <thread>

#include "connection/client_text.h"
#include "connection/wire.h"

namespace {

enum { COLUMNS = 8, ROWS_PER_ITERATION = 1000 };

std::string be32(uint32_t v) {
  std::string s(4, '\0');
  for (int i = 3; i >= 0; --i, v >>= 8) s[i] = static_cast<char>(v & 0xff);
  return s;
}

// A record over one end of a socket pair; a thread keeps the other end busy until stopped.
struct BenchLink {
  ConnRecord* conn;
  int peer;
  std::atomic<bool> stop{false};
  std::thread worker;

  BenchLink() {
    int fds[2];
    socketpair(AF_UNIX, SOCK_STREAM, 0, fds);
    conn = static_cast<ConnRecord*>(client_alloc(sizeof(ConnRecord)));
    conn->socket = fds[0];
    peer = fds[1];
  }
  ~BenchLink() {
    stop = true;
    shutdown(static_cast<int>(conn->socket), SHUT_RDWR);
    worker.join();
    close(static_cast<int>(conn->socket));
    close(peer);
    free(conn);
  }
};

void BM_DecodeRows(benchmark::State& state) {
  std::string rows;
  while (rows.size() < (1 << 20)) {
    rows += 'R';
    for (int c = 0; c < COLUMNS; ++c) rows += be32(4) + be32(static_cast<uint32_t>(rows.size()));
  }
  BenchLink link;
  link.worker = std::thread([&link, &rows] {
    while (!link.stop)
      for (size_t done = 0; done < rows.size() && !link.stop;) {
        ssize_t n = send(link.peer, rows.data() + done, rows.size() - done, MSG_NOSIGNAL);
        if (n <= 0) return;
        done += static_cast<size_t>(n);
      }
  });
  int64_t sum = 0;
  for (auto _ : state) {
    for (int r = 0; r < ROWS_PER_ITERATION; ++r) {
      char letter;
      if (!recv_char(link.conn, &letter)) state.SkipWithError("read failed");
      for (int c = 0; c < COLUMNS; ++c) {
        int32_t len = 0, value = 0;
        recv_int32(link.conn, &len);
        recv_bytes(link.conn, &value, len);
        sum += value;
      }
    }
  }
  benchmark::DoNotOptimize(sum);
  state.SetItemsProcessed(state.iterations() * ROWS_PER_ITERATION);
}
BENCHMARK(BM_DecodeRows);

void BM_SendRows(benchmark::State& state) {
  BenchLink link;
  link.worker = std::thread([&link] {
    char sink[65536];
    while (!link.stop && recv(link.peer, sink, sizeof sink, 0) > 0) {
    }
  });
  for (auto _ : state) {
    for (int r = 0; r < ROWS_PER_ITERATION; ++r) {
      send_bytes(link.conn, "R", 1);
      for (int c = 0; c < COLUMNS; ++c) {
        send_int32(link.conn, 4);
        send_int32(link.conn, r);
      }
    }
    send_flush(link.conn);
  }
  state.SetItemsProcessed(state.iterations() * ROWS_PER_ITERATION);
}
BENCHMARK(BM_SendRows);

}  // namespace

BENCHMARK_MAIN();
