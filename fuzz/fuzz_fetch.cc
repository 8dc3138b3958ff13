// The reply to a fetch from a named cursor, read by recv_result_all into one result, and every
// value of it read back.
#include <cstdint>
#include <string>

#include "peer.h"
#include "read_values.h"
#include "require.h"
#include "statements/command.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  StreamPeer peer(std::string(reinterpret_cast<const char*>(data), size));
  ResultRecord* result = nullptr;
  int32_t rc = recv_result_all(peer.conn, &result);
  // A server error (-1) is no failure: what came before it is handed out. A broken reply hands
  // out nothing, and marks the link so that its exchange drops it.
  if (rc == ZV_NET_ERROR || rc == ZV_NO_MEMORY) {
    fuzz_require(result == nullptr, "a broken reply hands out no result");
    fuzz_require(peer.conn->out_of_step == 1, "a broken reply marks the link out of step");
  }
  if (result) read_every_value(result);
  free_result(result);
  return 0;
}
