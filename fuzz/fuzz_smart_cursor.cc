// A query through a smart cursor over scripted replies: DECLARE, OPEN and the first FETCH, sent
// together and their replies read in order (those behind a refusal read and dropped), the
// FETCHes of its refills and the CLOSEs, every row's values read as a caller would, the close,
// then a statement, which reads the replies of CLOSEs that were left unread ahead of its own.
// An input that starts with '#' plays the rest to a run (ZVC_ExecuteRun) of two queries with an
// insert and an update between them.
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

// A statement's records of a run: its row id and its error text read, then freed.
void read_records(void** handle) {
  char row_id[32], text[ZV_ERROR_TEXT_SIZE];
  ZVC_GetRowId(handle, row_id, sizeof row_id);
  ZVC_GetErrorText(handle, text, nullptr);
  fuzz_require(ZVC_CloseResult(handle) == 0 && *handle == nullptr, "a statement's records are freed");
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  bool run = size > 0 && data[0] == '#';
  StreamPeer peer(std::string(reinterpret_cast<const char*>(data) + run, size - run));
  peer.drain();
  void* handles[2] = {nullptr, nullptr};
  if (run) {
    RunQuery queries[] = {{"select a from t", nullptr, nullptr, 0}, {"insert into t values (1)", nullptr, nullptr, 0},
                          {"update t set a = 2", nullptr, nullptr, 0}, {"select b from t", nullptr, nullptr, 0}};
    fuzz_require(ZVC_ExecuteRun(&peer.conn, queries, 4) == 0, "a run of four is taken");
    for (int i = 1; i < 4; i++)
      fuzz_require(queries[i - 1].code != ZV_NET_ERROR || queries[i].code == ZV_NET_ERROR,
                   "once the link is lost, every later statement of the run fails with it");
    handles[0] = queries[0].result;
    handles[1] = queries[3].result;
    read_records(&queries[1].result);
    read_records(&queries[2].result);
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
