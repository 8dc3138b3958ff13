// The link cipher's cost: keystream throughput over a buffer (each batch ten times, a refill every
// 3400 bytes), the generator alone, and a 100,000-row select from the reference server over a
// plain and an enciphered link.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "../tests/client/server_process.h"
#include "connection/link_cipher.h"
#include "connection/turing.h"
#include "zvc.h"

namespace {

const uint8_t bench_key[LINK_KEY_SIZE] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16,
                                          17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31, 32};

void BM_Keystream(benchmark::State& state) {
  ConnRecord conn{};
  link_cipher_setup(&conn, bench_key, LINK_KEY_SIZE);
  std::vector<uint8_t> data(static_cast<size_t>(state.range(0)));
  for (auto _ : state) {
    link_cipher_out(&conn, data.data(), static_cast<int32_t>(data.size()));
    benchmark::DoNotOptimize(data.data());
  }
  link_cipher_free(&conn);
  state.SetBytesProcessed(state.iterations() * state.range(0));
}

void BM_TuringGen(benchmark::State& state) {
  TuringContext ctx{};
  TuringKey(&ctx, bench_key, LINK_KEY_SIZE);
  TuringIV(&ctx, nullptr, 0);
  uint8_t out[TURING_BATCH];
  for (auto _ : state) {
    TuringGen(&ctx, out);
    benchmark::DoNotOptimize(out);
  }
  state.SetBytesProcessed(state.iterations() * TURING_BATCH);
}

// Every row of a 100,000-row, two-column select walked and read.
void BM_Select(benchmark::State& state, const char* extra_items) {
  ServerProcess server;
  ConnRecord* conn = nullptr;
  if (server.port() == 0 || ZVC_OpenConnection(server.conn_string(extra_items).c_str(), &conn) != 2 ||
      ZVC_ExecNoQuery(&conn, "create table t (id integer, name varchar(40))") < 0 ||
      ZVC_ExecNoQuery(&conn,
                      "insert into t with recursive n(i) as (select 1 union all select i + 1 from n where "
                      "i < 100000) select i, 'a name of some twenty-odd bytes ' || i from n") < 0) {
    state.SkipWithError("no server or no table");
    ZVC_CloseConnection(&conn);
    return;
  }
  int64_t rows = 0;
  for (auto _ : state) {
    void* result = nullptr;
    if (ZVC_Execute(&conn, "select id, name from t", &result, nullptr, nullptr, nullptr) < 0) {
      state.SkipWithError("select failed");
      break;
    }
    char name[64];
    int32_t id = 0, len = 0;
    while (ZVC_NextRow(&result) == 0) {
      ZVC_GetData(&result, 1, CT_INT32, &id, sizeof id, &len);
      ZVC_GetData(&result, 2, CT_TEXT, name, sizeof name, &len);
      ++rows;
    }
    ZVC_CloseResult(&result);
  }
  ZVC_CloseConnection(&conn);
  state.counters["rows/s"] = benchmark::Counter(static_cast<double>(rows), benchmark::Counter::kIsRate);
}

}  // namespace

BENCHMARK(BM_Keystream)->Arg(64)->Arg(3400)->Arg(1 << 20);
BENCHMARK(BM_TuringGen);
BENCHMARK_CAPTURE(BM_Select, plain, "")->UseRealTime()->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK_CAPTURE(BM_Select, enciphered, ";USE_SSL=on")->UseRealTime()->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK_MAIN();
