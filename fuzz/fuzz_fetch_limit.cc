// The reply to a FETCH of a few rows, read by the readers that bound its rows: a fetch of a count
// (the smart cursor's reader, into a chain) or the named cursor's reader into one record. The
// input's first byte is the count asked for (its low 4 bits) and the reader (bit 4); the rest is
// the reply.
#include <cstdint>
#include <string>

#include "peer.h"
#include "read_values.h"
#include "require.h"
#include "statements/command.h"

namespace {
void require_within(const ResultRecord* result, int32_t limit) {
  for (; result; result = result->next)
    fuzz_require(result->row_count <= limit, "no result holds more rows than the FETCH asked for");
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const int32_t limit = data[0] & 15;
  StreamPeer peer(std::string(reinterpret_cast<const char*>(data + 1), size - 1));
  ResultRecord* result = nullptr;
  int32_t rc = 0;
  if (data[0] & 16) {
    int32_t fields = -1, rows = -1;
    void* held = nullptr;
    rc = ZVC_FetchCount(&peer.conn, "c1", &held, &fields, &rows, &limit);
    require_exchange_ended(peer.conn, rc);
    fuzz_require(rc <= 0, "a fetch of a count gives 0 or a failure");
    if (rc < 0) fuzz_require(held == nullptr && fields == 0 && rows == 0, "a failed fetch hands out nothing");
    fuzz_require(rows <= limit, "the row count is at most the count asked for");
    result = static_cast<ResultRecord*>(held);
  } else {
    rc = recv_fetch_all(peer.conn, limit, &result);
    if (rc == ZV_NET_ERROR || rc == ZV_NO_MEMORY) {
      fuzz_require(result == nullptr, "a broken reply hands out no result");
      fuzz_require(peer.conn->out_of_step == 1, "a broken reply marks the link out of step");
    }
  }
  require_within(result, limit);
  void* handle = result;
  while (handle) {
    read_every_value(handle);
    if (ZVC_NextResult(&handle) != 0) break;
  }
  ZVC_CloseResult(&handle);
  return 0;
}
