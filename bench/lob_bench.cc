// Throughput of a 64 MiB BLOB read into a LobHandle: carried inline in the row, and fetched
// by its descriptor with the "get lob" exchange, each over a plain and an enciphered link. Each
// iteration runs the select, reads the column into a handle and copies the object out, as the
// script layer does; one process and one connection read the same object again and again, as a
// program running many queries does. MB/s counts the whole; fetch_MB/s the column read alone
// (for a descriptor, the "get lob" exchange); faults/read the client's minor page faults.
#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <chrono>
#include <vector>

#include "../tests/client/server_process.h"
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

// The select, the column into a handle, the object into one buffer. Bytes read, or -1; the
// seconds of the column read are added to *fetch_seconds.
int64_t read_once(ConnRecord** conn, std::vector<uint8_t>& buffer, double* fetch_seconds) {
  void* result = nullptr;
  if (ZVC_Execute(conn, "select b from lob_t", &result, nullptr, nullptr, nullptr) < 0 || !result) return -1;
  LobHandle* lob = nullptr;
  int32_t size = 0;
  int64_t got = -1;
  ZVC_CreateLob(&lob);
  if (ZVC_NextRow(&result) == 0) {
    auto start = std::chrono::steady_clock::now();
    int32_t rc = ZVC_GetData(&result, 1, 42, &lob, sizeof lob, &size);
    *fetch_seconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (rc == 0) got = ZVC_GetLobData(&lob, buffer.data(), static_cast<int32_t>(buffer.size()));
  }
  ZVC_FreeLob(&lob);
  ZVC_CloseResult(&result);
  return got;
}

void BM_Blob64MiB(benchmark::State& state, const char* extra_items) {
  ServerProcess server;
  ConnRecord* conn = nullptr;
  if (server.port() == 0 || ZVC_OpenConnection(server.conn_string(extra_items).c_str(), &conn) != 2 ||
      !fill_table(&conn)) {
    state.SkipWithError("no server or no table");
    ZVC_CloseConnection(&conn);
    return;
  }
  std::vector<uint8_t> buffer(kLobBytes);
  double fetch_seconds = 0;
  long faults_before = minor_faults();
  for (auto _ : state) {
    if (read_once(&conn, buffer, &fetch_seconds) != kLobBytes) {
      state.SkipWithError("object not read whole");
      break;
    }
  }
  double reads = static_cast<double>(state.iterations());
  state.counters["faults/read"] = static_cast<double>(minor_faults() - faults_before) / reads;
  ZVC_CloseConnection(&conn);
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(kLobBytes));
  state.counters["MB"] = benchmark::Counter(reads * kLobBytes / 1e6, benchmark::Counter::kIsRate);
  state.counters["fetch_MB/s"] = reads * kLobBytes / 1e6 / fetch_seconds;
}
}  // namespace

BENCHMARK_CAPTURE(BM_Blob64MiB, inline, "")->UseRealTime()->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK_CAPTURE(BM_Blob64MiB, descriptor, ";LOB_RET=on")->UseRealTime()->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK_CAPTURE(BM_Blob64MiB, enciphered_inline, ";USE_SSL=on")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(5);
BENCHMARK_CAPTURE(BM_Blob64MiB, enciphered_descriptor, ";USE_SSL=on;LOB_RET=on")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(5);
BENCHMARK_MAIN();
