// Preparing statements under generated names: a named statement for its caller, or the
// connection's default statement.
#include <cstring>

#include "connection/client_text.h"
#include "statements/exchange.h"
#include "statements/prepare.h"
#include "zvc.h"

namespace {
// Replaces the default statement: the standing one goes first, in an exchange of its own.
int32_t prepare_default(ConnRecord* conn, const char* sql) {
  if (conn->prepared) {
    int32_t rc = deallocate_statement(conn, conn->prepare_name);
    if (rc < 0) return rc;
  }
  memset(conn->prepare_name, 0, sizeof conn->prepare_name);
  next_statement_name(conn, conn->prepare_name);
  return prepare_statement(conn, sql, conn->prepare_name);
}
}  // namespace

void next_statement_name(ConnRecord* conn, char* name) {
  client_sprintf(name, ZV_STMT_NAME_SIZE, "STC%u", conn->stmt_counter++);
}

bool statement_name_ok(const char* name) {
  return name && strnlen(name, ZV_STMT_NAME_SIZE) < ZV_STMT_NAME_SIZE;
}

int32_t ZVC_Prepare(ConnRecord** handle, const char* sql, char* name_buf) {
  ConnRecord* conn = conn_of(handle);
  if (!conn || !sql) return ZV_BAD_HANDLE;
  if (!name_buf) return prepare_default(conn, sql);
  // A named statement leaves the default one as it stands.
  int32_t prepared = conn->prepared;
  next_statement_name(conn, name_buf);
  int32_t rc = prepare_statement(conn, sql, name_buf);
  conn->prepared = prepared;
  return rc;
}
