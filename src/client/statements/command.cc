// The command message that carries every statement to the server.
#include "statements/command.h"

#include <cstring>

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
