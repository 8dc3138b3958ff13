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
uv_idle_t* idle = nullptr;
std::vector<LinkHolder*> waiting;

void send_held(uv_idle_t* handle) {
  uv_idle_stop(handle);
  std::vector<LinkHolder*> now;
  now.swap(waiting);
  // A failed send drops the link; the next statement on it reports that.
  for (LinkHolder* holder : now)
    if (holder->p_conn) ZVC_SendHeld(&holder->p_conn);
}
}  // namespace

void close_when_idle(void* context) {
  LinkHolder* holder = static_cast<LinkHolder*>(context);
  if (std::find(waiting.begin(), waiting.end(), holder) != waiting.end()) return;
  if (!idle) {
    // Made once, on the loop of the thread the synchronous face runs on, and kept as long as the process.
    idle = new uv_idle_t;
    uv_idle_init(node::GetCurrentEventLoop(v8::Isolate::GetCurrent()), idle);
    uv_unref(reinterpret_cast<uv_handle_t*>(idle));
  }
  waiting.push_back(holder);
  uv_idle_start(idle, send_held);
}

void forget_idle_close(LinkHolder* holder) { waiting.erase(std::remove(waiting.begin(), waiting.end(), holder), waiting.end()); }

}  // namespace zvdbms
