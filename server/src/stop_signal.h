// The server's "stop now" flag, which waits can be woken by.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>

namespace zv {

class StopSignal {
 public:
  void raise() {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      flag_ = true;
    }
    woken_.notify_all();
  }
  bool raised() const { return flag_.load(); }
  // Sleeps for `ms` milliseconds or until the signal is raised.
  void sleep_for(int64_t ms) {
    std::unique_lock<std::mutex> lock(mutex_);
    woken_.wait_for(lock, std::chrono::milliseconds(ms), [this] { return flag_.load(); });
  }

 private:
  std::atomic<bool> flag_{false};
  std::mutex mutex_;
  std::condition_variable woken_;
};

}  // namespace zv
