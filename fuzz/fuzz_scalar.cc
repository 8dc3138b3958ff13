// A reply that brings one value, read by ZVC_ExecScalar (recv_scalar): a row id, a count, or
// the first column of a result, whose rows come 200 at a time.
#include <cstdint>
#include <string>

#include "peer.h"
#include "require.h"
#include "zvc.h"

namespace {
// Small, so that long values take the path that cuts them.
enum { VALUE_CAP = 16 };
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  StreamPeer peer(std::string(reinterpret_cast<const char*>(data), size));
  char value[VALUE_CAP];
  int32_t type = 0;
  int32_t rc = ZVC_ExecScalar(&peer.conn, "select a from t", value, sizeof value, &type);
  require_exchange_ended(peer.conn, rc);
  return 0;
}
