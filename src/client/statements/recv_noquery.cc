// The reader of a reply that brings no rows: counts, row ids, server texts, up to "K".
#include <cstring>

#include "connection/client_text.h"
#include "connection/wire.h"
#include "results/reception.h"
#include "statements/command.h"
#include "statements/reply_items.h"

namespace {
// Every failed letter read of this reader says so on standard output.
bool read_letter(ConnRecord* conn, char* ch) {
  if (recv_char(conn, ch)) return true;
  client_print("Net Error %s \n", "recv_noQuery");
  return false;
}

// The letter after "I", "U" or "D", as peek_reply_end; a failed read is told like any other.
int32_t peek_end(ConnRecord* conn) {
  int32_t end = peek_reply_end(conn);
  if (end < 0) client_print("Net Error %s \n", "recv_noQuery");
  return end;
}
}  // namespace

int32_t recv_noQuery(ConnRecord* conn) {
  int32_t ret = 0;
  int32_t num = 0;
  for (;;) {
    char ch = 0;
    if (!read_letter(conn, &ch)) return -4;
    switch (ch) {
      case 'K':
        return ret;
      case 'E':
      case 'F': {
        int32_t rc = recv_reply_text(conn);
        if (rc != 0) return rc;
        ret = -1;
        break;
      }
      case 'W':
      case 'M': {
        int32_t rc = recv_reply_text(conn);
        if (rc != 0) return rc;
        client_print(ch == 'W' ? "Server Warning %s \n" : "Server Message %s \n", conn->error_text);
        ret = 1;
        break;
      }
      case 'I': {
        // An id longer than 31 bytes is cut; the rest is read past, so the reply stays in step.
        char bkmk[ROWID_BUF_SIZE] = {};
        if (!recv_counted_id(conn, bkmk, ROWID_BUF_SIZE - 1)) {
          client_print("Insert Prop NetError  \n");
          set_error_text(&conn->error_text, "[EC004]Insert Prop NetError");
          return -4;
        }
        memcpy(conn->last_rowid, bkmk, ROWID_BUF_SIZE);
        num++;
        int32_t end = peek_end(conn);
        if (end != 0) return end < 0 ? end : num;
        break;
      }
      case 'U':
      case 'D': {
        int32_t count = 0;
        if (!recv_int32(conn, &count)) {
          client_print("Update Prop NetError  \n");
          set_error_text(&conn->error_text, "[EC004]Update Prop NetError");
          return -4;
        }
        ret = count;
        int32_t end = peek_end(conn);
        if (end != 0) return end < 0 ? end : ret;
        break;
      }
      case 'A': {
        // Rows of a statement run as one that brings none (a SELECT behind another statement):
        // they are not wanted here, but what follows them is.
        int32_t rc = drop_result(conn);
        if (rc != 0) return rc;
        break;
      }
      case 'O':
      case 'P': {
        // The statement has output values but the caller took the plain path.
        int32_t rc = drop_out_value(conn, ch == 'P');
        if (rc != 0) return rc;
        ret = -56;
        break;
      }
      default:
        return ret;
    }
  }
}
