// Smart cursors and prepared statements against the reference server, each in one run:
// (a) 10,000,000 rows of 8 columns read through ZVC_Execute and ZVC_NextRow, with the client's
//     peak resident memory, which the 20000-row blocks keep bounded;
// (b) a one-row SELECT through the smart cursor (DECLARE, OPEN, FETCH, CLOSE) next to
//     ZVC_ExecNoQuery of a trivial statement, and their ratio;
// (c) an insert prepared once and run 10,000 times next to the same insert sent as text.
#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <chrono>
#include <string>

#include "../tests/client/server_process.h"
#include "zvc.h"

namespace {
using Clock = std::chrono::steady_clock;

double seconds_since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

bool open_link(ServerProcess& server, ConnRecord** conn, benchmark::State& state) {
  if (server.port() != 0 && ZVC_OpenConnection(server.conn_string().c_str(), conn) == 2) return true;
  state.SkipWithError("no server");
  return false;
}

// 100,000 rows of 8 columns, joined with 100 rows: 10,000,000 rows that the server reads from
// memory-sized tables.
void BM_TenMillionRows(benchmark::State& state) {
  ServerProcess server;
  ConnRecord* conn = nullptr;
  if (!open_link(server, &conn, state)) return;
  ZVC_ExecNoQuery(&conn,
                  "create table w (a integer, b integer, c bigint, d double, e varchar(16), f integer, g double, "
                  "h varchar(8))");
  ZVC_ExecNoQuery(&conn,
                  "insert into w with recursive c(x) as (select 1 union all select x + 1 from c where x < 100000) "
                  "select x, x * 2, x * 1000003, x / 7.0, 'row ' || x, x % 97, x * 0.25, 'h' || (x % 13) from c");
  ZVC_ExecNoQuery(&conn, "create table k (n integer)");
  ZVC_ExecNoQuery(&conn,
                  "insert into k with recursive c(x) as (select 1 union all select x + 1 from c where x < 100) "
                  "select x from c");
  int64_t rows = 0, sum = 0;
  for (auto _ : state) {
    void* handle = nullptr;
    if (ZVC_Execute(&conn, "select w.* from k, w", &handle, nullptr, nullptr, nullptr) < 0) {
      state.SkipWithError("query failed");
      break;
    }
    int32_t rc;
    while ((rc = ZVC_NextRow(&handle)) == 0) {
      int32_t a = 0;
      ZVC_GetData(&handle, 1, CT_INT32, &a, sizeof a, nullptr);
      sum += a;
      rows++;
    }
    ZVC_CloseResult(&handle);
    if (rc != 100) state.SkipWithError("read failed");
  }
  ZVC_CloseConnection(&conn);
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  state.counters["rows"] = static_cast<double>(rows);
  state.counters["rows/s"] = benchmark::Counter(static_cast<double>(rows), benchmark::Counter::kIsRate);
  state.counters["peak_rss_MiB"] = static_cast<double>(usage.ru_maxrss) / 1024.0;
  state.counters["sum_ok"] = sum == 100LL * 100000 * 100001 / 2 ? 1 : 0;
}

// The two kinds of exchange in turns, so that both see the same machine.
void BM_OneRowSelectVsTrivial(benchmark::State& state) {
  ServerProcess server;
  ConnRecord* conn = nullptr;
  if (!open_link(server, &conn, state)) return;
  ZVC_ExecNoQuery(&conn, "create table one (a integer, b varchar(8))");
  ZVC_ExecNoQuery(&conn, "insert into one values (1, 'x')");
  double smart = 0, trivial = 0;
  int64_t rounds = 0;
  for (auto _ : state) {
    for (int i = 0; i < 200; i++) {
      Clock::time_point start = Clock::now();
      void* handle = nullptr;
      if (ZVC_Execute(&conn, "select a, b from one", &handle, nullptr, nullptr, nullptr) < 0 ||
          ZVC_NextRow(&handle) != 0) {
        state.SkipWithError("select failed");
        return;
      }
      ZVC_CloseResult(&handle);
      smart += seconds_since(start);
      start = Clock::now();
      if (ZVC_ExecNoQuery(&conn, "delete from one where a = -1") < 0) {
        state.SkipWithError("statement failed");
        return;
      }
      trivial += seconds_since(start);
      rounds++;
    }
  }
  ZVC_CloseConnection(&conn);
  state.counters["smart_select_us"] = smart / static_cast<double>(rounds) * 1e6;
  state.counters["trivial_us"] = trivial / static_cast<double>(rounds) * 1e6;
  state.counters["ratio"] = smart / trivial;
}

void BM_PreparedVsTextInsert(benchmark::State& state) {
  ServerProcess server;
  ConnRecord* conn = nullptr;
  if (!open_link(server, &conn, state)) return;
  ZVC_ExecNoQuery(&conn, "create table p (id integer, name varchar(20))");
  const int kRuns = 10000;
  double prepared = 0, text = 0;
  for (auto _ : state) {
    char name[ZV_STMT_NAME_SIZE];
    Clock::time_point start = Clock::now();
    if (ZVC_Prepare(&conn, "insert into p values (?, ?)", name) < 0) {
      state.SkipWithError("prepare failed");
      return;
    }
    for (int32_t i = 0; i < kRuns; i++) {
      char value[20] = "name";
      int32_t len = 4;
      ZVC_BindParamByPos(reinterpret_cast<void**>(&conn), 1, 1, CT_INT32, &i, 4, nullptr);
      ZVC_BindParamByPos(reinterpret_cast<void**>(&conn), 2, 1, CT_TEXT, value, len, &len);
      if (ZVC_Execute2(&conn, name, nullptr, nullptr) < 0) {
        state.SkipWithError("prepared run failed");
        return;
      }
    }
    ZVC_UnPrepare(&conn, name);
    prepared += seconds_since(start);
    start = Clock::now();
    for (int32_t i = 0; i < kRuns; i++) {
      std::string sql = "insert into p values (" + std::to_string(i) + ", 'name')";
      if (ZVC_ExecNoQuery(&conn, sql.c_str()) < 0) {
        state.SkipWithError("text insert failed");
        return;
      }
    }
    text += seconds_since(start);
  }
  ZVC_CloseConnection(&conn);
  double n = static_cast<double>(state.iterations()) * kRuns;
  state.counters["prepared_runs/s"] = n / prepared;
  state.counters["text_runs/s"] = n / text;
  state.counters["prepared_over_text"] = text / prepared;
}
}  // namespace

BENCHMARK(BM_TenMillionRows)->Iterations(1)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_OneRowSelectVsTrivial)->Iterations(10)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PreparedVsTextInsert)->Iterations(1)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();
