// The field descriptions of a result, read by read_field_descs, and the row layout they give.
#include <cstdint>
#include <string>

#include "connection/client_text.h"
#include "peer.h"
#include "read_values.h"
#include "require.h"
#include "results/reception.h"

namespace {
// Slots lie in column order behind the status bits, each as wide as its type, inside the row.
void require_layout(const ResultRecord* result) {
  int32_t offset = (2 * result->field_count + 7) / 8;
  for (int32_t i = 0; i < result->field_count; i++) {
    fuzz_require(result->fields[i].offset == offset, "slots follow one another");
    offset += type_slot_width(result->fields[i].type);
  }
  fuzz_require(result->row_size == offset + ROW_HEADER_SIZE, "the row holds every slot");
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  StreamPeer peer(std::string(reinterpret_cast<const char*>(data), size));
  ResultRecord* result = static_cast<ResultRecord*>(client_alloc(sizeof(ResultRecord)));
  result->kind = HT_RESULT;
  result->result_kind = RK_ROWS;
  result->conn = peer.conn;
  if (read_field_descs(peer.conn, result) == 0) {
    require_layout(result);
    read_every_value(result);
  } else {
    fuzz_require(result->fields == nullptr && result->field_count == 0, "failed descriptions are not kept");
  }
  free_result(result);
  return 0;
}
