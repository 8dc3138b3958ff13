// A reply to a statement without rows, read by ZVC_ExecNoQuery (recv_noQuery).
#include <cstdint>
#include <string>

#include "peer.h"
#include "require.h"
#include "zvc.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  StreamPeer peer(std::string(reinterpret_cast<const char*>(data), size));
  // Counts are never negative, so a failure code here is the library's own.
  require_exchange_ended(peer.conn, ZVC_ExecNoQuery(&peer.conn, "update t set a = 1"));
  return 0;
}
