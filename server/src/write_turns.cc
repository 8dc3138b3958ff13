#include "write_turns.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace zv {
namespace {

using Clock = std::chrono::steady_clock;

std::mutex turns_mutex;
std::condition_variable turns;
uint64_t commits = 0;  // under turns_mutex

// Called by SQLite on the thread of the statement that found the lock held: each link's
// connection runs on a thread of its own, so the wait's deadline is the thread's.
int on_busy(void* timeout_ms, int tries) {
  thread_local Clock::time_point deadline;
  Clock::time_point now = Clock::now();
  if (tries == 0) deadline = now + std::chrono::milliseconds(reinterpret_cast<intptr_t>(timeout_ms));
  if (now >= deadline) return 0;
  std::unique_lock<std::mutex> lock(turns_mutex);
  const uint64_t seen = commits;
  turns.wait_for(lock, std::chrono::microseconds(200), [seen] { return commits != seen; });
  return 1;
}

}  // namespace

void wake_writers() {
  {
    std::lock_guard<std::mutex> lock(turns_mutex);
    ++commits;
  }
  turns.notify_all();
}

void wait_for_writers(sqlite3* db, int timeout_ms) {
  if (timeout_ms > 0)
    sqlite3_busy_handler(db, on_busy, reinterpret_cast<void*>(static_cast<intptr_t>(timeout_ms)));
  else
    sqlite3_busy_handler(db, nullptr, nullptr);
}

}  // namespace zv
