// The command message that carries every statement to the server, and the short reply
// that DEALLOCATE, CLOSE and OPEN get.
#include "statements/command.h"

#include <cstdlib>
#include <cstring>

#include "connection/client_text.h"
#include "connection/wire.h"

// "?", the text's length, the text with its NUL, the parameter word. Not flushed:
// parameter records may follow and should share the same socket write.
int32_t send_sql_params(ConnRecord* conn, const char* text, int32_t word) {
  int32_t len = static_cast<int32_t>(strlen(text));
  send_bytes(conn, "?", 1);
  send_int32(conn, len);
  send_bytes(conn, text, len + 1);
  send_int32(conn, word);
  return 0;
}

// A command without parameters is complete at once, so it goes out now.
int32_t send_sql(ConnRecord* conn, const char* text) {
  send_sql_params(conn, text, 0);
  send_flush(conn);
  return 0;
}

// "K" alone is success. Any other letter opens an error text, closed by one more letter;
// the letter itself is not told apart, so a warning is a failure here too.
int32_t recv_short_form(ConnRecord* conn) {
  char ch = 0;
  if (!recv_char(conn, &ch)) return -4;
  if (ch == 'K') return 0;
  char* text = nullptr;
  int32_t rc = recv_string(conn, &text);
  if (rc != 0) return rc;
  set_error_text(&conn->error_text, text);
  free(text);
  if (!recv_char(conn, &ch)) return -4;
  return -1;
}
