// Deallocating prepared statements: a named one, or the connection's default statement.
#include "connection/client_text.h"
#include "statements/exchange.h"
#include "statements/prepare.h"
#include "statements/reply_reader.h"
#include "zvc.h"

int32_t deallocate_statement(ConnRecord* conn, const char* name) {
  if (!statement_name_ok(name)) return ZV_BAD_HANDLE;
  char sql[128] = {0};
  client_sprintf(sql, sizeof sql, "DEALLOCATE %s ", name);
  Exchange ex;
  if (!begin_exchange(&ex, conn, sql, false)) return ZV_NO_MEMORY;
  int32_t rc = read_short_reply(conn);
  if (rc == 0 || rc == ZV_SERVER_ERROR) conn->prepared = 0;
  end_exchange(&ex);
  return rc;
}

int32_t ZVC_UnPrepare(ConnRecord** handle, const char* name) {
  ConnRecord* conn = conn_of(handle);
  if (!conn) return ZV_BAD_HANDLE;
  if (!name) {
    int32_t rc = deallocate_statement(conn, conn->prepare_name);
    conn->prepared = 0;
    return rc;
  }
  // A named statement leaves the default one as it stands.
  int32_t prepared = conn->prepared;
  int32_t rc = deallocate_statement(conn, name);
  conn->prepared = prepared;
  return rc;
}
