#include "statements/reply_items.h"

#include <cstdlib>

#include "connection/client_text.h"
#include "connection/wire.h"
#include "results/reception.h"

namespace {
// Reads n bytes and forgets them, through a small buffer so that a large length costs no memory.
bool skip_bytes(ConnRecord* conn, int32_t n) {
  uint8_t scratch[4096];
  while (n > 0) {
    int32_t part = n < static_cast<int32_t>(sizeof scratch) ? n : static_cast<int32_t>(sizeof scratch);
    if (!recv_bytes(conn, scratch, part)) return false;
    n -= part;
  }
  return true;
}

bool length_is_sane(int32_t len) { return len >= 0 && len <= WIRE_MAX_STRING; }
}  // namespace

int32_t peek_reply_end(ConnRecord* conn) {
  char ch = 0;
  if (!recv_char(conn, &ch)) return -4;
  // A zero byte cannot be handed back; as an unknown letter it would end the reply anyway.
  if (ch == 'K' || ch == 0) return 1;
  conn->pushback = ch;
  return 0;
}

int32_t recv_reply_text(ConnRecord* conn) {
  char* text = nullptr;
  int32_t rc = recv_string(conn, &text);
  if (rc != 0) return rc;
  free(conn->error_text);
  conn->error_text = text;
  return 0;
}

int32_t drop_out_value(ConnRecord* conn, bool with_index) {
  int32_t word = 0;
  if (with_index && !recv_int32(conn, &word)) return -4;
  int32_t d_len = 0;
  if (!recv_int32(conn, &word) || !recv_int32(conn, &d_len)) return -4;
  if (!length_is_sane(d_len) || !skip_bytes(conn, d_len)) return -4;
  set_error_text(&conn->error_text, "[EC0056]when execute sql with output params or return value need bind_params");
  return 0;
}

int32_t drop_result(ConnRecord* conn) {
  ResultRecord* result = static_cast<ResultRecord*>(client_alloc(sizeof(ResultRecord)));
  if (result == nullptr) return -5;
  result->kind = HT_RESULT;
  int32_t ret = read_field_descs(conn, result);
  if (ret == 0) ret = recv_rows_all(conn, result);
  free_result(result);
  return ret < 0 ? ret : 0;
}
