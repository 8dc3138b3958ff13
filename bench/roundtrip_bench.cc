// Round trips per second: ZVC_ExecNoQuery of a trivial statement against the reference
// server, next to a raw loopback ping-pong of one byte each way measured in the same run,
// which is the floor that any exchange over the loopback stands on.
#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <thread>

#include "../tests/client/server_process.h"
#include "loopback_listener.h"
#include "zvc.h"

namespace {
void set_no_delay(int fd) {
  int one = 1;
  setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
}

// One byte to an echo thread and back, over plain sockets with no delay, as the client's are.
void BM_LoopbackPingPong(benchmark::State& state) {
  sockaddr_in addr;
  int listen_fd = listen_on_loopback(addr);
  std::thread echo([listen_fd] {
    int fd = accept(listen_fd, nullptr, nullptr);
    set_no_delay(fd);
    char b;
    while (recv(fd, &b, 1, 0) == 1 && send(fd, &b, 1, MSG_NOSIGNAL) == 1) {
    }
    close(fd);
  });
  int fd = socket(AF_INET, SOCK_STREAM, 0);
  set_no_delay(fd);
  if (connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0) state.SkipWithError("connect failed");
  char b = 'x';
  for (auto _ : state) {
    if (send(fd, &b, 1, MSG_NOSIGNAL) != 1 || recv(fd, &b, 1, 0) != 1) {
      state.SkipWithError("ping-pong failed");
      break;
    }
  }
  close(fd);
  echo.join();
  close(listen_fd);
  state.counters["round_trips/s"] =
      benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}

// A statement that touches no row: the reply is a zero count and "K".
void BM_ExecNoQuery(benchmark::State& state) {
  ServerProcess server;
  ConnRecord* conn = nullptr;
  if (server.port() == 0 || ZVC_OpenConnection(server.conn_string().c_str(), &conn) != 2) {
    state.SkipWithError("no server");
    return;
  }
  ZVC_ExecNoQuery(&conn, "create table bench_t (a integer)");
  for (auto _ : state) {
    if (ZVC_ExecNoQuery(&conn, "delete from bench_t where a = -1") < 0) {
      state.SkipWithError("statement failed");
      break;
    }
  }
  ZVC_CloseConnection(&conn);
  state.counters["round_trips/s"] =
      benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}
}  // namespace

BENCHMARK(BM_LoopbackPingPong)->UseRealTime();
BENCHMARK(BM_ExecNoQuery)->UseRealTime();
BENCHMARK_MAIN();
