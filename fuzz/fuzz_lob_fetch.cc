// A large object that a row carried as a descriptor, fetched by ZVC_GetData (recv_lob): the
// input is the server's reply to "get lob".
#include <cstdint>
#include <string>

#include "peer.h"
#include "require.h"
#include "result_wire.h"
#include "results/lob.h"
#include "zvc.h"

namespace {
// The object is named by the descriptor's first 13 characters; the digits are its length.
const int64_t kLength = 3000000;
const std::string kDescriptor = "C000000000001:" + std::to_string(kLength);
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const std::string select_reply = one_value_reply(TC_CLOB, wire_str(kDescriptor));
  StreamPeer peer(select_reply + std::string(reinterpret_cast<const char*>(data), size));
  peer.conn->lob_ret = 1;
  peer.conn->use_srvcursor_off = 1;  // a plain select's reply
  void* result = nullptr;
  fuzz_require(ZVC_Execute(&peer.conn, "select c from t", &result, nullptr, nullptr, nullptr) == 1 &&
                   ZVC_NextRow(&result) == 0,
               "the row with the descriptor is read");
  LobHandle* lob = nullptr;
  ZVC_CreateLob(&lob);
  int32_t out_len = -1;
  int32_t rc = ZVC_GetData(&result, 1, CT_CLOB, &lob, sizeof lob, &out_len);
  require_exchange_ended(peer.conn, rc);
  fuzz_require(out_len == lob->size && lob->size <= kLength, "the object holds what arrived, up to its length");
  char head[64];
  ZVC_GetLobData(&lob, head, sizeof head);
  ZVC_FreeLob(&lob);
  ZVC_CloseResult(&result);
  return 0;
}
