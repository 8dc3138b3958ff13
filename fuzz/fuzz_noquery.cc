// A reply to a statement without rows, read by ZVC_ExecNoQuery (recv_noQuery).
#include <cstdint>
#include <string>

#include "peer.h"
#include "require.h"
#include "zvc.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  StreamPeer peer(std::string(reinterpret_cast<const char*>(data), size));
  int32_t rc = ZVC_ExecNoQuery(&peer.conn, "update t set a = 1");
  require_exchange_ended(peer.conn, rc);
  return 0;
}
