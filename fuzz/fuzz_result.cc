// A reply that brings rows, read by ZVC_Execute (recv_result) into a chain of results, and
// every value of it read back as a caller would.
#include <cstdint>
#include <string>

#include "peer.h"
#include "read_values.h"
#include "require.h"
#include "zvc.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  StreamPeer peer(std::string(reinterpret_cast<const char*>(data), size));
  peer.conn->use_srvcursor_off = 1;  // a plain select's reply
  void* result = nullptr;
  int32_t rc = ZVC_Execute(&peer.conn, "select * from t", &result, nullptr, nullptr, nullptr);
  require_exchange_ended(peer.conn, rc);
  // A server error (-1) is no failure: what came before it is handed out.
  if (rc == ZV_NET_ERROR || rc == ZV_NO_MEMORY) fuzz_require(result == nullptr, "a broken reply hands out no result");
  if (!result) return 0;
  do {
    read_every_value(result);
  } while (ZVC_NextResult(&result) == 0);
  ZVC_CloseResult(&result);
  return 0;
}
