// The reader of a reply that brings one value: a row id, a count, or the first column of
// the first row of a result.
#include <cstdlib>
#include <cstring>

#include "connection/client_text.h"
#include "connection/wire.h"
#include "results/field_access.h"
#include "results/reception.h"
#include "statements/command.h"
#include "statements/reply_items.h"

namespace {
enum { ROWS_PER_BLOCK = 200 };

// Every server text is printed here: errors, warnings and messages alike.
const char* text_line(char letter) {
  if (letter == 'W') return "Server Warning %s \n";
  if (letter == 'M') return "Server Message %s \n";
  return "Server Error %s \n";
}

// Rows come 200 at a time. A full first block that is not followed by "K" means the server
// has more: it is told once, with ".", and the rest is taken as it comes.
int32_t recv_scalar_rows(ConnRecord* conn, ResultRecord* result) {
  int32_t got = recv_rows_200(conn, result);
  if (got != ROWS_PER_BLOCK) return got < 0 ? got : 0;
  int32_t end = peek_reply_end(conn);
  if (end != 0) return end;
  send_bytes(conn, ".", 1);
  send_flush(conn);
  do {
    got = recv_rows_200(conn, result);
  } while (got == ROWS_PER_BLOCK);
  return got < 0 ? got : 0;
}

// The value of a finished result: field 0 of row 0 as text, or type 0 and a zero word.
void report_first_value(ResultRecord* result, void* value_buf, int32_t value_cap, int32_t* type_out) {
  if (result->row_count == 0 || result->field_count == 0) {
    *type_out = 0;
    memset(value_buf, 0, 4);
    return;
  }
  *type_out = result->fields[0].type;
  int32_t cut = 0;
  field_to_text(result, static_cast<uint8_t*>(value_buf), value_cap, &cut);
  if (cut) *type_out += 100;
}

// "A": reads the result, and reports it when "K" follows. A result followed by more
// letters is not the answer and is dropped. 1 when the reply ended, 0 to go on, or a code.
int32_t recv_scalar_result(ConnRecord* conn, void* value_buf, int32_t value_cap, int32_t* type_out) {
  ResultRecord* result = static_cast<ResultRecord*>(client_alloc(sizeof(ResultRecord)));
  if (!result) return -5;
  result->kind = HT_RESULT;
  result->result_kind = RK_ROWS;
  result->conn = conn;
  int32_t rc = read_field_descs(conn, result);
  if (rc == 0) rc = recv_scalar_rows(conn, result);
  if (rc == 0) rc = peek_reply_end(conn);
  if (rc == 1) report_first_value(result, value_buf, value_cap, type_out);
  free_result(result);
  return rc;
}
}  // namespace

int32_t recv_scalar(ConnRecord* conn, void* value_buf, int32_t value_cap, int32_t* type_out) {
  int32_t type_scratch = 0;
  if (!type_out) type_out = &type_scratch;
  int32_t ret = 0;
  for (;;) {
    char ch = 0;
    if (!recv_char(conn, &ch)) return -4;
    switch (ch) {
      case 'K':
        return ret;
      case 'E':
      case 'F':
      case 'W':
      case 'M': {
        int32_t rc = recv_reply_text(conn);
        if (rc != 0) return rc;
        client_print(text_line(ch), conn->error_text);
        ret = ch == 'W' || ch == 'M' ? 1 : -1;
        break;
      }
      case 'I': {
        // An id longer than 31 bytes is cut; the rest is read past, so the reply stays in step.
        char bkmk[ROWID_BUF_SIZE] = {};
        if (!recv_counted_id(conn, bkmk, ROWID_BUF_SIZE - 1)) return -4;
        str_copy_bounded(static_cast<char*>(value_buf), value_cap, bkmk);
        int32_t end = peek_reply_end(conn);
        if (end != 0) return end < 0 ? end : 1;
        break;
      }
      case 'U':
      case 'D': {
        int32_t num = 0;
        if (!recv_int32(conn, &num)) return -4;
        memcpy(value_buf, &num, sizeof num);
        ret = ch == 'U' ? 2 : 3;
        int32_t end = peek_reply_end(conn);
        if (end != 0) return end < 0 ? end : ret;
        break;
      }
      case 'A': {
        int32_t rc = recv_scalar_result(conn, value_buf, value_cap, type_out);
        if (rc < 0) return rc;
        if (rc == 1) return 0;
        break;
      }
      case 'O':
      case 'P': {
        // Output values the caller did not ask for: dropped, so that the reply stays in step.
        int32_t rc = drop_out_value(conn, ch == 'P');
        if (rc != 0) return rc;
        ret = -56;
        break;
      }
      default:
        return 0;
    }
  }
}
