#include "binding/held_results.h"

#include <cstdint>
#include <vector>

#include "zvc.h"

namespace zvdbms {

enum { ATTR_HANDLE_KIND = 64 };

// Handles waiting to be closed: cursors of collected objects, and closes that failed, which are
// tried again only when a connection closes, so that a link that hangs stalls no other link's
// calls more than once. Only the script thread touches them.
static std::vector<void*> kept;
static std::vector<void*> failed;

static void close_all(std::vector<void*>* handles) {
  std::vector<void*> waiting;
  waiting.swap(*handles);
  for (void* handle : waiting) release_result(&handle);
}

void close_kept_results() { close_all(&kept); }

void close_failed_results() {
  close_all(&failed);
  close_kept_results();
}

void release_result(void** p_res) {
  if (*p_res == nullptr) return;
  // A failed close leaves the handle as it was.
  if (ZVC_CloseResult(p_res) < 0 && *p_res != nullptr) failed.push_back(*p_res);
  *p_res = nullptr;
}

void drop_result(void** p_res) {
  if (*p_res == nullptr) return;
  int32_t kind = 0, type = 0, length = 0;
  bool plain = ZVC_GetAttr(p_res, ATTR_HANDLE_KIND, &kind, sizeof kind, &type, &length) == 0 && kind == HT_RESULT;
  if (plain)
    ZVC_CloseResult(p_res);
  else
    kept.push_back(*p_res);
  *p_res = nullptr;
}

}  // namespace zvdbms
