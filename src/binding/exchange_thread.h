// The thread of one Promise-API connection: it owns the link, runs the connection's exchanges
// one after another in the order they were posted, and hands each finished job back to the
// script thread through a libuv async handle. libuv's worker pool is never used, so no number
// of connections waits on its few threads.
#pragma once
#include <node.h>
#include <uv.h>

#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

struct ConnRecord;

namespace zvdbms {

class ExchangeThread;

// One unit of work: run() on the exchange thread with the link, settle() on the script thread
// afterwards (inside one callback scope for every job finished at that point, so that promise
// reactions run when they have all settled), then the job is deleted there.
class ExchangeJob {
 public:
  virtual ~ExchangeJob() = default;
  virtual void run(ConnRecord** link) = 0;
  virtual void settle(v8::Isolate* isolate) = 0;
  // The lines the client library gave out on the link while the job ran, to settle with it.
  std::vector<std::string> notices;
  // Set while run() runs: the thread, for handing parts of the outcome over early.
  ExchangeThread* thread = nullptr;
  // A part of a running job's outcome, settled ahead of it; the job stays pending.
  bool part = false;
  // The bytes a job sends when it may go out in one write with the like jobs queued right
  // behind it (a select, an insert, update or delete); 0 for a job that runs alone.
  virtual size_t run_bytes() const { return 0; }
  // True for such a job that changes rows. It never goes out behind a select of its run: the
  // select's caller may still fetch from the server once the whole run is read (its next blocks,
  // its large objects), and must find what was there before the change, as when run alone.
  virtual bool run_writes() const { return false; }
  // Called on the first job of such a run with every job of it, in queue order, before each
  // one's run(): sends them together and leaves each job its outcome for its run() to take.
  virtual void send_run(ConnRecord**, ExchangeJob* const*, size_t) {}
};

class ExchangeThread {
 public:
  // Starts the thread; the async handle joins the script thread's loop.
  explicit ExchangeThread(v8::Isolate* isolate);
  // Queues a job; it runs after every job posted before it. Script thread only.
  void post(ExchangeJob* job);
  // The last job: after every queued one the link is closed and the thread ends; the object
  // then deletes itself on the script thread. Nothing may be posted afterwards.
  void retire();
  // Exchange thread only, from a running job: settles part (made with part set) on the script
  // thread ahead of the job, in the order handed over.
  void hand_over(ExchangeJob* part);
  // Jobs posted and not yet settled.
  int pending() const { return pending_; }

 private:
  ~ExchangeThread() = default;
  void loop_body();
  // Under mutex_: the job at the head of the queue into run_, with the jobs queued behind it
  // that go out in one write with it, up to ZV_RUN_MAX of them and kRunBytes in all, and no
  // job that writes behind one that reads.
  void take_run();
  // The job, with the lines given out since the last one, queued for the script thread, which
  // the caller wakes.
  void finish(ExchangeJob* job);
  static void on_done(uv_async_t* handle);
  static void on_closed(uv_handle_t* handle);
  static void on_teardown(void* arg, void (*done)(void*), void* done_arg);
  // The link's notice hook: a line is kept for the job that runs, never printed.
  static void keep_notice(void* context, const char* line);

  v8::Global<v8::Context> context_;  // entered while finished jobs settle
  uv_async_t async_;
  std::thread thread_;
  std::mutex mutex_;
  std::condition_variable wake_;
  std::deque<ExchangeJob*> todo_;
  std::deque<ExchangeJob*> done_;
  bool quit_ = false;      // guarded by mutex_: the thread ends when todo_ is empty
  bool finished_ = false;  // guarded by mutex_: the thread has closed the link and ended
  int pending_ = 0;        // script thread only
  ConnRecord* link_ = nullptr;  // exchange thread only
  std::vector<std::string> notices_;  // exchange thread only: lines of the job that runs
  std::vector<ExchangeJob*> run_;     // exchange thread only: the jobs taken to run next
  node::ACHHandle* cleanup_ = nullptr;  // the environment's hook that ends the thread with it
  void (*torn_down_)(void*) = nullptr;  // set once that hook ran: called when the handle is closed
  void* torn_down_arg_ = nullptr;
};

}  // namespace zvdbms
