// Decoding speed of result reception: a pre-recorded reply of 1,000,000 rows of 8 mixed columns
// read by recv_result from a socketpair that a writer thread feeds from memory. One process
// decodes the reply again and again, as a program running many queries does, so that the row
// memory of one result is recycled for the next; minor page faults per result are counted. The
// first case decodes once in the fresh process, before anything could be recycled.
#include <benchmark/benchmark.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

#include "connection/block_cache.h"
#include "connection/client_text.h"
#include "results/reception.h"
#include "results/result_record.h"
#include "statements/command.h"

namespace {
const int kRows = 1000000;

void put_be(std::string& out, uint64_t v, int width) {
  for (int i = width - 1; i >= 0; i--) out += static_cast<char>((v >> (8 * i)) & 0xff);
}
void put_i32(std::string& out, int32_t v) { put_be(out, static_cast<uint32_t>(v), 4); }
void put_i64(std::string& out, int64_t v) { put_be(out, static_cast<uint64_t>(v), 8); }
void put_text(std::string& out, const char* s) {
  put_i32(out, static_cast<int32_t>(strlen(s)));
  out += s;
}
void put_desc(std::string& out, const char* name, int32_t type, int32_t size) {
  put_text(out, name);
  put_i32(out, type);
  put_i32(out, size);
  put_i32(out, 0);
}

// A, eight descriptions, the rows, K.
std::string make_reply() {
  std::string out = "A";
  put_i32(out, 8);
  put_desc(out, "T.ID", TC_INTEGER, 4);
  put_desc(out, "T.SERIAL", TC_BIGINT, 8);
  put_desc(out, "T.RATIO", TC_DOUBLE, 8);
  put_desc(out, "T.NAME%N", TC_CHAR, 20);
  put_desc(out, "T.BORN", TC_DATE, 4);
  put_desc(out, "T.SEEN", TC_DATETIME, 8);
  put_desc(out, "T.PRICE", TC_NUMERIC, 12);
  put_desc(out, "T.ACTIVE", TC_BOOL, 1);
  out.reserve(out.size() + static_cast<size_t>(kRows) * 96);
  char text[32];
  for (int i = 0; i < kRows; i++) {
    out += 'R';
    put_i32(out, 4);
    put_i32(out, i);
    put_i32(out, 8);
    put_i64(out, 10000000000LL + i);
    double ratio = i / 7.0;
    uint64_t bits;
    memcpy(&bits, &ratio, 8);
    put_i32(out, 8);
    put_be(out, bits, 8);
    snprintf(text, sizeof text, "customer-%07d", i);
    put_text(out, text);
    put_i32(out, 4);
    put_i32(out, 10000 + i % 20000);
    put_i32(out, 8);
    put_i64(out, 1600000000000LL + i * 1000LL);
    snprintf(text, sizeof text, "%d.%02d", i % 100000, i % 100);
    put_text(out, text);
    put_i32(out, 1);
    out += (i % 3 ? 'T' : 'F');
  }
  out += 'K';
  return out;
}

void write_all(int fd, const std::string& bytes) {
  size_t done = 0;
  while (done < bytes.size()) {
    ssize_t n = send(fd, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
    if (n <= 0) return;
    done += static_cast<size_t>(n);
  }
}

long minor_faults() {
  rusage usage = {};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_minflt;
}

void BM_DecodeMillionRows(benchmark::State& state) {
  static const std::string reply = make_reply();
  int64_t rows = 0;
  // The records made here stand for an open connection, which keeps the block cache.
  block_cache_join();
  long faults_before = minor_faults();
  for (auto _ : state) {
    int fds[2];
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, fds) != 0) {
      state.SkipWithError("socketpair failed");
      break;
    }
    ConnRecord* conn = static_cast<ConnRecord*>(client_alloc(sizeof(ConnRecord)));
    conn->kind = HT_CONN;
    conn->socket = fds[0];
    std::thread writer([&] {
      write_all(fds[1], reply);
      shutdown(fds[1], SHUT_WR);
    });
    ResultRecord* result = nullptr;
    int32_t status = recv_result(conn, &result);
    writer.join();
    if (status < 0 || !result || result->row_count != kRows) {
      state.SkipWithError("the reply was not decoded whole");
      free_result_chain(result);
      break;
    }
    rows += result->row_count;
    state.PauseTiming();  // releasing the rows is not decoding
    free_result_chain(result);
    close(fds[0]);
    close(fds[1]);
    free(conn);
    state.ResumeTiming();
  }
  state.counters["faults/result"] =
      static_cast<double>(minor_faults() - faults_before) / static_cast<double>(state.iterations());
  block_cache_leave();
  state.SetLabel(state.iterations() == 1 ? "the first result of a fresh process" : "one process, results in sequence");
  state.counters["rows/s"] = benchmark::Counter(static_cast<double>(rows), benchmark::Counter::kIsRate);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(reply.size()));
  state.counters["bytes/row"] = static_cast<double>(reply.size()) / kRows;
}
}  // namespace

// Registered first, so that it runs while the process is fresh: nothing recycled yet.
BENCHMARK(BM_DecodeMillionRows)
    ->Name("BM_DecodeMillionRows/first")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(1);
BENCHMARK(BM_DecodeMillionRows)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(3.0);

BENCHMARK_MAIN();
