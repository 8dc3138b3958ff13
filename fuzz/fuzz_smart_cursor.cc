// A query through a smart cursor over scripted replies: DECLARE, OPEN and the first FETCH, sent
// together and their replies read in order (those behind a refusal read and dropped), the
// FETCHes of its refills and the CLOSEs, every row's values read as a caller would, the close,
// then a statement, which reads the replies of CLOSEs that were left unread ahead of its own.
// An input that starts with '#' plays the rest to a run of two queries (ZVC_ExecuteRun).
#include <cstdint>
#include <string>

#include "peer.h"
#include "read_values.h"
#include "require.h"
#include "results/smart_cursor.h"

namespace {
// Every row's values, then the close: the cursor goes with its record whatever the link did;
// only a CLOSE the server refused keeps it, and a second close then finds the link dead or
// the cursor closed.
void read_and_close(ConnRecord* conn, void** handle) {
  while (*handle && ZVC_NextRow(handle) == 0) {
    require_semaphore_free(conn);
    read_every_value(static_cast<SmartCursor*>(*handle)->result);
  }
  if (ZVC_CloseResult(handle) != 0) ZVC_CloseResult(handle);
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  bool run = size > 0 && data[0] == '#';
  StreamPeer peer(std::string(reinterpret_cast<const char*>(data) + run, size - run));
  peer.drain();
  void* handles[2] = {nullptr, nullptr};
  if (run) {
    RunQuery queries[] = {{"select a from t", nullptr, nullptr, 0}, {"select b from t", nullptr, nullptr, 0}};
    fuzz_require(ZVC_ExecuteRun(&peer.conn, queries, 2) == 0, "a run of two is taken");
    fuzz_require(queries[0].code != ZV_NET_ERROR || queries[1].code == ZV_NET_ERROR,
                 "once the link is lost, every later query of the run fails with it");
    handles[0] = queries[0].result;
    handles[1] = queries[1].result;
  } else {
    int32_t rc = ZVC_Execute(&peer.conn, "select * from t", &handles[0], nullptr, nullptr, nullptr);
    if (rc < 0) fuzz_require(handles[0] == nullptr, "a failed query hands out no cursor");
  }
  require_semaphore_free(peer.conn);
  for (void*& handle : handles) read_and_close(peer.conn, &handle);
  ZVC_ExecNoQuery(&peer.conn, "delete from t");
  require_semaphore_free(peer.conn);
  ZVC_CloseConnection(&peer.conn);
  for (void*& handle : handles) fuzz_require(handle == nullptr || ZVC_CloseResult(&handle) == 0, "the cursor can always be closed");
  return 0;
}
