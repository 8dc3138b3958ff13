// A reply to a statement without rows, read by ZVC_ExecNoQuery (recv_noQuery).
#include <cstdint>
#include <string>

#include "peer.h"
#include "require.h"
#include "zvc.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  StreamPeer peer(std::string(reinterpret_cast<const char*>(data), size));
  // The code is the count of a "U" or "D" as it came, so it may read like any failure code:
  // only the semaphore can be checked here.
  ZVC_ExecNoQuery(&peer.conn, "update t set a = 1");
  require_semaphore_free(peer.conn);
  return 0;
}
