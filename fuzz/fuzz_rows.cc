// Rows of a result, read by recv_rows_all under descriptions of every type code, and every
// value read back as a caller would.
#include <cstdint>
#include <string>
#include <vector>

#include "connection/client_text.h"
#include "peer.h"
#include "read_values.h"
#include "require.h"
#include "result_wire.h"

namespace {
// "A" and the descriptions of one column of each type code; the input is what follows them.
std::string every_type_head() {
  std::vector<std::string> descs;
  for (int32_t i = 0; i < 65; i++) descs.push_back(field_desc("C" + std::to_string(i), every_type(i)));
  return result_head(descs).substr(1);
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const std::string head = every_type_head();
  StreamPeer peer(head + std::string(reinterpret_cast<const char*>(data), size));
  ResultRecord* result = static_cast<ResultRecord*>(client_alloc(sizeof(ResultRecord)));
  result->kind = HT_RESULT;
  result->result_kind = RK_ROWS;
  result->conn = peer.conn;
  fuzz_require(read_field_descs(peer.conn, result) == 0, "the fixed descriptions are read");
  int32_t count = recv_rows_all(peer.conn, result);
  if (count >= 0) fuzz_require(result->row_count == count, "every row that came is stored");
  read_every_value(result);
  free_result(result);
  return 0;
}
