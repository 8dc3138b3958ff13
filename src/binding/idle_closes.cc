#include "binding/idle_closes.h"

#include <node.h>
#include <uv.h>

#include <algorithm>
#include <vector>

#include "binding/link_holder.h"
#include "zvc.h"

namespace zvdbms {

namespace {
// An idle handle runs in the next turn of the loop before it waits for input, so a CLOSE held by
// a statement run from a timer goes out before the loop sleeps. It is unreferenced (it never
// keeps the process alive) and stopped while no link holds a CLOSE, so that the loop can sleep.
// It lives as long as the environment (the main thread's, or a worker's) that loaded the addon.
uv_idle_t* idle = nullptr;
std::vector<LinkHolder*> waiting;
// The environment's teardown, waiting for the handle to close: a loop that still has it cannot
// be closed. Kept as plain pointers, so that nothing is left to run at the process's exit.
node::ACHHandle* cleanup_hook = nullptr;
void (*torn_down)(void*) = nullptr;
void* torn_down_arg = nullptr;

void send_held(uv_idle_t* handle) {
  uv_idle_stop(handle);
  std::vector<LinkHolder*> now;
  now.swap(waiting);
  // A failed send drops the link; the next statement on it reports that.
  for (LinkHolder* holder : now)
    if (holder->p_conn) ZVC_SendHeld(&holder->p_conn);
}

// The environment is going: the handle closes, and the teardown goes on once it has.
void closed(uv_handle_t* handle) {
  delete reinterpret_cast<uv_idle_t*>(handle);
  node::RemoveEnvironmentCleanupHook(node::AsyncCleanupHookHandle(cleanup_hook));
  cleanup_hook = nullptr;
  torn_down(torn_down_arg);
}

void close_idle(void*, void (*done)(void*), void* done_arg) {
  waiting.clear();
  torn_down = done;
  torn_down_arg = done_arg;
  uv_close(reinterpret_cast<uv_handle_t*>(idle), closed);
  idle = nullptr;
}
}  // namespace

void close_when_idle(void* context) {
  LinkHolder* holder = static_cast<LinkHolder*>(context);
  if (std::find(waiting.begin(), waiting.end(), holder) != waiting.end()) return;
  if (!idle) {
    // Made on the loop of the thread the synchronous face runs on.
    v8::Isolate* isolate = v8::Isolate::GetCurrent();
    idle = new uv_idle_t;
    uv_idle_init(node::GetCurrentEventLoop(isolate), idle);
    uv_unref(reinterpret_cast<uv_handle_t*>(idle));
    cleanup_hook = node::AddEnvironmentCleanupHook(isolate, close_idle, nullptr).release();
  }
  waiting.push_back(holder);
  uv_idle_start(idle, send_held);
}

void forget_idle_close(LinkHolder* holder) { waiting.erase(std::remove(waiting.begin(), waiting.end(), holder), waiting.end()); }

}  // namespace zvdbms
