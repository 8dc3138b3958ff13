// A query through a smart cursor over scripted replies: DECLARE, OPEN and the first FETCH, sent
// together and their replies read in order (those behind a refusal read and dropped), the
// FETCHes of its refills and the CLOSEs, every row's values read as a caller would, the close,
// then a statement, which reads a CLOSE's reply that was left unread ahead of its own.
#include <cstdint>
#include <string>

#include "peer.h"
#include "read_values.h"
#include "require.h"
#include "results/smart_cursor.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  StreamPeer peer(std::string(reinterpret_cast<const char*>(data), size));
  peer.drain();
  void* handle = nullptr;
  int32_t rc = ZVC_Execute(&peer.conn, "select * from t", &handle, nullptr, nullptr, nullptr);
  require_semaphore_free(peer.conn);
  if (rc < 0) fuzz_require(handle == nullptr, "a failed query hands out no cursor");
  while (handle && ZVC_NextRow(&handle) == 0) {
    require_semaphore_free(peer.conn);
    read_every_value(static_cast<SmartCursor*>(handle)->result);
  }
  // The cursor goes with its record whatever the link did; only a CLOSE the server refused
  // keeps it, and a second close then finds the link dead or the cursor closed.
  if (ZVC_CloseResult(&handle) != 0) ZVC_CloseResult(&handle);
  // A CLOSE sent without waiting has its reply read by the next statement, ahead of its own.
  ZVC_ExecNoQuery(&peer.conn, "delete from t");
  require_semaphore_free(peer.conn);
  ZVC_CloseConnection(&peer.conn);
  fuzz_require(handle == nullptr || ZVC_CloseResult(&handle) == 0, "the cursor can always be closed");
  return 0;
}
