// Throughput of a 64 MiB BLOB read into a LobHandle: carried inline in the row, and fetched
// by its descriptor with the "get lob" exchange, each over a plain and an enciphered link. Each
// iteration runs the select, reads the column into a handle and copies the object out, as the
// script layer does. The fetch cases run the select once and then only read the column again
// and again: for a descriptor, the "get lob" exchange and the copy out. One process and one
// connection throughout, as in a program running many queries; faults/read counts the client's
// minor page faults. The descriptor cases start from a fresh server, as a program's first
// selects do; the server keeps such an object by reference to its row and reads it from there
// when it is fetched, so no select copies it into memory the server never touched. The steady
// case first selects and reads the object four times untimed, as many as the 256 MiB a
// connection keeps hold, for the figure of a server that has run a while. Loopback64MiB is the
// floor beneath them all, measured in the same run:
// 64 MiB sent over a raw loopback socket in 1 MiB sends and read into one buffer, both
// buffers in warm huge-page memory like the client's and the server's.
#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <thread>
#include <vector>

#include "../tests/client/server_process.h"
#include "loopback_listener.h"
#include "connection/page_map.h"
#include "results/lob.h"
#include "zvc.h"

namespace {
const int32_t kLobBytes = 64 * 1024 * 1024;

// One 64 MiB object of random bytes in a fresh server's table.
bool fill_table(ConnRecord** conn) {
  if (ZVC_ExecNoQuery(conn, "create table lob_t (b blob)") < 0) return false;
  return ZVC_ExecNoQuery(conn, "insert into lob_t values (randomblob(67108864))") >= 0;
}

long minor_faults() {
  rusage usage = {};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_minflt;
}

// The current row's column into a fresh handle, the object into one buffer. Bytes read, or -1.
int64_t column_once(void** result, std::vector<uint8_t>& buffer) {
  LobHandle* lob = nullptr;
  int32_t size = 0;
  int64_t got = -1;
  ZVC_CreateLob(&lob);
  if (ZVC_GetData(result, 1, 42, &lob, sizeof lob, &size) == 0) {
    got = ZVC_GetLobData(&lob, buffer.data(), static_cast<int32_t>(buffer.size()));
  }
  ZVC_FreeLob(&lob);
  return got;
}

// The select with its row current; false when it brought none.
bool select_row(ConnRecord** conn, void** result) {
  return ZVC_Execute(conn, "select b from lob_t", result, nullptr, nullptr, nullptr) >= 0 && *result &&
         ZVC_NextRow(result) == 0;
}

// One select and the object read whole; false when either failed.
bool select_and_read(ConnRecord** conn, std::vector<uint8_t>& buffer) {
  void* result = nullptr;
  bool whole = select_row(conn, &result) && column_once(&result, buffer) == kLobBytes;
  ZVC_CloseResult(&result);
  return whole;
}

// Reads the object `state` asks for: with the select each time, or with one select before;
// `untimed` selects and reads come first.
void BM_Blob64MiB(benchmark::State& state, const char* extra_items, bool select_each_time, int untimed) {
  ServerProcess server;
  ConnRecord* conn = nullptr;
  void* result = nullptr;
  if (server.port() == 0 || ZVC_OpenConnection(server.conn_string(extra_items).c_str(), &conn) != 2 ||
      !fill_table(&conn) || (!select_each_time && !select_row(&conn, &result))) {
    state.SkipWithError("no server, no table or no row");
    ZVC_CloseConnection(&conn);
    return;
  }
  std::vector<uint8_t> buffer(kLobBytes);
  for (int i = 0; i < untimed; ++i) {
    if (!select_and_read(&conn, buffer)) {
      state.SkipWithError("object not read whole");
      break;
    }
  }
  long faults_before = minor_faults();
  for (auto _ : state) {
    bool whole = select_each_time ? select_and_read(&conn, buffer) : column_once(&result, buffer) == kLobBytes;
    if (!whole) {
      state.SkipWithError("object not read whole");
      break;
    }
  }
  double reads = static_cast<double>(state.iterations());
  state.counters["faults/read"] = static_cast<double>(minor_faults() - faults_before) / reads;
  ZVC_CloseResult(&result);
  ZVC_CloseConnection(&conn);
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(kLobBytes));
  state.counters["MB"] = benchmark::Counter(reads * kLobBytes / 1e6, benchmark::Counter::kIsRate);
}

// 64 MiB of warm huge-page memory, or null.
uint8_t* warm_object() {
  auto* p = static_cast<uint8_t*>(page_map(kLobBytes));
  if (p) std::fill(p, p + kLobBytes, uint8_t{1});
  return p;
}

// Sends 64 MiB for each byte it receives, until the link closes.
void serve_bytes(int listen_fd, const uint8_t* object) {
  int fd = accept(listen_fd, nullptr, nullptr);
  char ask = 0;
  while (recv(fd, &ask, 1, 0) == 1) {
    for (size_t sent = 0; sent < kLobBytes;) {
      ssize_t n = send(fd, object + sent, std::min<size_t>(kLobBytes - sent, 1 << 20), MSG_NOSIGNAL);
      if (n <= 0) break;
      sent += static_cast<size_t>(n);
    }
  }
  close(fd);
}

// The bytes one request brings, read whole into `buffer`; false when the link failed.
bool receive_object(int fd, uint8_t* buffer) {
  const char ask = 'x';
  if (send(fd, &ask, 1, MSG_NOSIGNAL) != 1) return false;
  for (size_t got = 0; got < kLobBytes;) {
    ssize_t n = recv(fd, buffer + got, kLobBytes - got, 0);
    if (n <= 0) return false;
    got += static_cast<size_t>(n);
  }
  return true;
}

void BM_Loopback64MiB(benchmark::State& state) {
  sockaddr_in addr;
  int listen_fd = listen_on_loopback(addr);
  uint8_t* object = warm_object();
  uint8_t* buffer = warm_object();
  std::thread sender(serve_bytes, listen_fd, object);
  int fd = socket(AF_INET, SOCK_STREAM, 0);
  // One transfer before the timing, as the server cases have filled their table over the link.
  if (!object || !buffer || connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0 ||
      !receive_object(fd, buffer)) {
    state.SkipWithError("no loopback link");
  }
  for (auto _ : state) {
    if (!receive_object(fd, buffer)) {
      state.SkipWithError("loopback failed");
      break;
    }
  }
  close(fd);
  sender.join();
  close(listen_fd);
  page_unmap(object, kLobBytes);
  page_unmap(buffer, kLobBytes);
  state.counters["MB"] =
      benchmark::Counter(static_cast<double>(state.iterations()) * kLobBytes / 1e6, benchmark::Counter::kIsRate);
}
}  // namespace

BENCHMARK(BM_Loopback64MiB)->UseRealTime()->Unit(benchmark::kMillisecond)->Iterations(5);
#define LOB_CASE(name, items, select_each_time, untimed)                \
  BENCHMARK_CAPTURE(BM_Blob64MiB, name, items, select_each_time, untimed) \
      ->UseRealTime()                                                     \
      ->Unit(benchmark::kMillisecond)                                     \
      ->Iterations(5)
LOB_CASE(inline, "", true, 0);
LOB_CASE(descriptor, ";LOB_RET=on", true, 0);
LOB_CASE(descriptor_steady, ";LOB_RET=on", true, 4);
LOB_CASE(enciphered_inline, ";USE_SSL=on", true, 0);
LOB_CASE(enciphered_descriptor, ";USE_SSL=on;LOB_RET=on", true, 0);
LOB_CASE(fetch_descriptor, ";LOB_RET=on", false, 0);
LOB_CASE(fetch_enciphered_descriptor, ";USE_SSL=on;LOB_RET=on", false, 0);
BENCHMARK_MAIN();
