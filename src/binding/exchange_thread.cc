#include "binding/exchange_thread.h"

#include <chrono>

#include "zvc.h"

namespace zvdbms {

namespace {
constexpr std::chrono::milliseconds kHeldCloseWait{1};
}  // namespace

ExchangeThread::ExchangeThread(v8::Isolate* isolate) : context_(isolate, isolate->GetCurrentContext()) {
  uv_async_init(node::GetCurrentEventLoop(isolate), &async_, on_done);
  async_.data = this;
  // An idle connection does not keep the process alive; a pending job does (see post).
  uv_unref(reinterpret_cast<uv_handle_t*>(&async_));
  thread_ = std::thread(&ExchangeThread::loop_body, this);
  cleanup_ = node::AddEnvironmentCleanupHook(isolate, on_teardown, this).release();
}

// The environment ends (a worker's end, or the process's) with the connection still open: the
// jobs not yet begun are dropped unsettled, since no script can run any more, and the teardown
// waits until the thread has closed the link and the async handle is closed, for a loop that
// still has the handle cannot be closed.
void ExchangeThread::on_teardown(void* arg, void (*done)(void*), void* done_arg) {
  ExchangeThread* self = static_cast<ExchangeThread*>(arg);
  self->torn_down_ = done;
  self->torn_down_arg_ = done_arg;
  std::deque<ExchangeJob*> dropped;
  {
    std::lock_guard<std::mutex> lock(self->mutex_);
    self->quit_ = true;
    dropped.swap(self->todo_);
  }
  self->wake_.notify_one();
  for (ExchangeJob* job : dropped) delete job;
  // The teardown turns the loop only while something keeps it alive.
  uv_ref(reinterpret_cast<uv_handle_t*>(&self->async_));
}

void ExchangeThread::post(ExchangeJob* job) {
  if (pending_++ == 0) uv_ref(reinterpret_cast<uv_handle_t*>(&async_));
  {
    std::lock_guard<std::mutex> lock(mutex_);
    todo_.push_back(job);
  }
  wake_.notify_one();
}

void ExchangeThread::retire() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    quit_ = true;
  }
  wake_.notify_one();
}

void ExchangeThread::hand_over(ExchangeJob* part) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    done_.push_back(part);
  }
  uv_async_send(&async_);
}

void ExchangeThread::take_run() {
  // Commands of the run beyond what the sockets hold at once would wait on the server, which
  // waits on the replies of the first ones: a run stays well inside that.
  const size_t kRunBytes = 32768;
  size_t bytes = todo_.front()->run_bytes();
  run_.assign(1, todo_.front());
  todo_.pop_front();
  bool reads = !run_[0]->run_writes();
  while (bytes > 0 && !todo_.empty() && run_.size() < ZV_RUN_MAX) {
    size_t next = todo_.front()->run_bytes();
    bool writes = todo_.front()->run_writes();
    if (next == 0 || bytes + next > kRunBytes || (reads && writes)) break;
    reads = reads || !writes;
    bytes += next;
    run_.push_back(todo_.front());
    todo_.pop_front();
  }
}

void ExchangeThread::finish(ExchangeJob* job) {
  job->notices.swap(notices_);
  notices_.clear();
  std::lock_guard<std::mutex> lock(mutex_);
  done_.push_back(job);
}

void ExchangeThread::loop_body() {
  // Lines printed while a link is opened, before it has the hook below, are kept as well.
  ZVC_SetThreadNoticeHook(keep_notice, this);
  for (;;) {
    {
      std::unique_lock<std::mutex> lock(mutex_);
      // Nothing more to send: a CLOSE held for the next command waits a moment for it, as a
      // script awaiting one statement after another posts the next within tens of microseconds,
      // and goes out in the same write; when none comes, it goes out alone, so that no cursor
      // stays open on the server while the connection is idle.
      if (todo_.empty() && link_ && !wake_.wait_for(lock, kHeldCloseWait, [this] { return quit_ || !todo_.empty(); })) {
        lock.unlock();
        ZVC_SendHeld(&link_);
        lock.lock();
      }
      wake_.wait(lock, [this] { return quit_ || !todo_.empty(); });
      if (todo_.empty()) break;  // quit_ with nothing left to run
      take_run();
    }
    for (ExchangeJob* job : run_) job->thread = this;
    if (run_.size() > 1) run_[0]->send_run(&link_, run_.data(), run_.size());
    for (ExchangeJob* job : run_) {
      job->run(&link_);
      // A link the job opened gets the hook at once, and holds its CLOSEs for the next command
      // (sent at the latest when the queue runs dry, above); setting them again is free.
      if (link_) {
        ZVC_SetNoticeHook(link_, keep_notice, this);
        ZVC_HoldCloses(&link_, 1, nullptr, nullptr);
      }
      finish(job);
    }
    // One wake of the script thread for the whole run (a part handed over wakes it earlier,
    // with the jobs finished ahead of it).
    uv_async_send(&async_);
  }
  if (link_) ZVC_CloseConnection(&link_);
  {
    std::lock_guard<std::mutex> lock(mutex_);
    finished_ = true;
  }
  uv_async_send(&async_);
}

// Several sends may fold into one call: every finished job is settled here, in order.
void ExchangeThread::on_done(uv_async_t* handle) {
  ExchangeThread* self = static_cast<ExchangeThread*>(handle->data);
  std::deque<ExchangeJob*> done;
  bool finished;
  {
    std::lock_guard<std::mutex> lock(self->mutex_);
    done.swap(self->done_);
    finished = self->finished_;
  }
  if (self->torn_down_) {
    for (ExchangeJob* job : done) delete job;
    done.clear();
  }
  if (!done.empty()) {
    v8::Isolate* isolate = v8::Isolate::GetCurrent();
    v8::HandleScope scope(isolate);
    v8::Local<v8::Context> context = self->context_.Get(isolate);
    v8::Context::Scope context_scope(context);
    node::CallbackScope callback_scope(isolate, v8::Object::New(isolate), node::async_context{0, 0});
    for (ExchangeJob* job : done) {
      v8::HandleScope job_scope(isolate);
      bool part = job->part;
      job->settle(isolate);
      delete job;
      if (!part && --self->pending_ == 0) uv_unref(reinterpret_cast<uv_handle_t*>(&self->async_));
    }
  }
  if (!finished) return;
  self->thread_.join();
  uv_close(reinterpret_cast<uv_handle_t*>(&self->async_), on_closed);
}

void ExchangeThread::keep_notice(void* context, const char* line) {
  static_cast<ExchangeThread*>(context)->notices_.push_back(line);
}

void ExchangeThread::on_closed(uv_handle_t* handle) {
  ExchangeThread* self = static_cast<ExchangeThread*>(handle->data);
  // Off the environment's list (once it ran, only freed).
  node::RemoveEnvironmentCleanupHook(node::AsyncCleanupHookHandle(self->cleanup_));
  if (self->torn_down_) self->torn_down_(self->torn_down_arg_);
  delete self;
}

}  // namespace zvdbms
