// Loading 100,000 rows of four columns into the reference server: by array batches (two, since a
// batch holds at most 65,535 rows) next to one insert per row with its four values bound. Both
// report rows per second; binding is counted, making the blocks is not.
#include <benchmark/benchmark.h>

#include "../tests/client/batch_rows.h"
#include "../tests/client/server_process.h"
#include "zvc.h"

namespace {
enum { LOAD_ROWS = 100000, BATCH_ROWS = 65535 };

// A fresh table b on a new connection to the server; null when there is none.
ConnRecord* open_table(const ServerProcess& server) {
  ConnRecord* conn = nullptr;
  if (server.port() == 0 || ZVC_OpenConnection(server.conn_string().c_str(), &conn) != 2) return nullptr;
  ZVC_ExecNoQuery(&conn, "create table b (id integer primary key, big bigint, name varchar(40), score double)");
  return conn;
}

// Runs load_all, which puts LOAD_ROWS rows into b, once per iteration; b is emptied in between.
template <typename Load>
void run_load(benchmark::State& state, Load load_all) {
  ServerProcess server;
  ConnRecord* conn = open_table(server);
  if (!conn) {
    state.SkipWithError("no server");
    return;
  }
  for (auto _ : state) {
    if (!load_all(&conn)) {
      state.SkipWithError(conn->error_text ? conn->error_text : "load failed");
      break;
    }
    state.PauseTiming();
    ZVC_ExecNoQuery(&conn, "delete from b");
    state.ResumeTiming();
  }
  ZVC_CloseConnection(&conn);
  state.counters["rows/s"] =
      benchmark::Counter(static_cast<double>(state.iterations()) * LOAD_ROWS, benchmark::Counter::kIsRate);
}

void BM_ArrayBatches(benchmark::State& state) {
  Columns first = columns_of(0, BATCH_ROWS), rest = columns_of(BATCH_ROWS, LOAD_ROWS - BATCH_ROWS);
  run_load(state, [&](ConnRecord** conn) { return load_columns(conn, first) == 0 && load_columns(conn, rest) == 0; });
}

bool insert_rows(ConnRecord** conn) {
  void** h = reinterpret_cast<void**>(conn);
  for (int32_t r = 0; r < LOAD_ROWS; r++) {
    int64_t big = big_of(r);
    double score = score_of(r);
    std::string name = name_of(r);
    int32_t id_len = 4, big_len = 8, score_len = 8, name_len = named(r) ? static_cast<int32_t>(name.size()) : 0;
    ZVC_BindParamByPos(h, 1, DIR_IN, CT_INT32, &r, 4, &id_len);
    ZVC_BindParamByPos(h, 2, DIR_IN, CT_INT64, &big, 8, &big_len);
    ZVC_BindParamByPos(h, 3, DIR_IN, CT_TEXT, &name[0], name_len, &name_len);
    ZVC_BindParamByPos(h, 4, DIR_IN, CT_DOUBLE, &score, 8, &score_len);
    if (ZVC_ExecNoQuery(conn, "insert into b values (?, ?, ?, ?)") != 1) return false;
  }
  return true;
}

void BM_SingleRowInserts(benchmark::State& state) { run_load(state, insert_rows); }
}  // namespace

BENCHMARK(BM_ArrayBatches)->UseRealTime()->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(BM_SingleRowInserts)->UseRealTime()->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK_MAIN();
