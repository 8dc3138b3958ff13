// The reply to a fetch from a named cursor, read by recv_result_all into one result inside its
// exchange, and every value of it read back.
#include <cstdint>
#include <string>

#include "peer.h"
#include "read_values.h"
#include "require.h"
#include "statements/command.h"
#include "statements/exchange.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  StreamPeer peer(std::string(reinterpret_cast<const char*>(data), size));
  char* text = begin_exchange(peer.conn, "FETCH 20000 FROM c1 ;");
  ResultRecord* result = nullptr;
  int32_t rc = recv_result_all(peer.conn, &result);
  end_exchange(peer.conn, text);
  require_exchange_ended(peer.conn, rc);
  // A server error (-1) is no failure: what came before it is handed out.
  if (rc == ZV_NET_ERROR || rc == ZV_NO_MEMORY) fuzz_require(result == nullptr, "a broken reply hands out no result");
  if (result) read_every_value(result);
  free_result(result);
  return 0;
}
