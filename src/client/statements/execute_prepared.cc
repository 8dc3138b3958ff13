// Running prepared statements by name ("? name"), with the values bound into the set that the
// PREPARE described, or into a set of the caller's.
#include "connection/client_text.h"
#include "results/result_record.h"
#include "statements/command.h"
#include "statements/cursor.h"
#include "statements/exchange.h"
#include "statements/param_set.h"
#include "statements/prepare.h"
#include "zvc.h"

namespace {
const char kNoDefault[] =
    "[EC023]Error Execute without a default prepare ,or you can ZVC_Execute2 with a prepare_name value\n";
const char kNoValues[] =
    "[EC059]Error params need values-bind, here params without bindparams-byname or bindparams-bypos  \n";

// The rows or counts go to the caller, or are let go when the caller wants none.
void hand_over(ResultRecord* head, void** result_out) {
  if (result_out)
    *result_out = head;
  else
    free_result_chain(head);
}

// A described set without a single value is refused before anything goes out: its records
// would have nothing to say.
bool values_missing(ConnRecord* conn) {
  const ParamSet* set = conn->params;
  if (!set || set->origin != ORIGIN_PREPARED || set->count <= 0 || set->values) return false;
  set_error_text(&conn->error_text, kNoValues);
  return true;
}

// One "? name" exchange carrying the connection's parameters.
int32_t run_prepared(ConnRecord* conn, const char* call_sql, ResultRecord** head) {
  if (values_missing(conn)) return ZV_OUT_UNBOUND;
  Exchange ex;
  if (!begin_exchange(&ex, conn, call_sql, true)) return ZV_NO_MEMORY;
  int32_t rc = recv_result(conn, head);
  end_exchange(&ex);
  return rc;
}

int32_t execute_default(ConnRecord* conn, void** result_out) {
  if (!conn->prepared) {
    set_error_text(&conn->error_text, kNoDefault);
    return ZV_SERVER_ERROR;
  }
  char call_sql[128] = {0};
  client_sprintf(call_sql, sizeof call_sql, "? %s ", conn->prepare_name);
  ResultRecord* head = nullptr;
  int32_t rc = run_prepared(conn, call_sql, &head);
  hand_over(head, result_out);
  return rc;
}
// The cursor form: the prepared statement declared as the cursor "<name>_CUR" (written into
// cursor_buf) with the connection's parameters, and opened. A refused DECLARE names its text in
// error_text; a refused OPEN leaves the server's text and gives its own code, since the caller
// has no cursor to fetch from then.
int32_t declare_prepared(ConnRecord* conn, const char* prepare_name, char* cursor_buf, void** result_out) {
  if (!prepare_name) {
    if (!conn->prepared) {
      set_error_text(&conn->error_text, kNoDefault);
      return ZV_SERVER_ERROR;
    }
    prepare_name = conn->prepare_name;
  }
  if (!statement_name_ok(prepare_name)) return ZV_BAD_HANDLE;
  if (values_missing(conn)) return ZV_OUT_UNBOUND;
  client_sprintf(cursor_buf, ZV_CURSOR_BUF_SIZE, "%s_%s", prepare_name, "CUR");
  char sql[256] = {0};
  client_sprintf(sql, sizeof sql, "DECLARE  %s CURSOR FOR %s ", cursor_buf, prepare_name);
  ResultRecord* declared = nullptr;
  bool declare_ok = false;
  int32_t rc = declare_and_open(conn, sql, cursor_buf, &declared, &declare_ok);
  if (rc < 0 && !declare_ok && conn->error_text)
    set_error_textf(&conn->error_text, "sql:%s errinfo: %s \n", sql, conn->error_text);
  hand_over(declared, rc < 0 ? nullptr : result_out);
  return rc;
}
}  // namespace

int32_t ZVC_Execute2(ConnRecord** handle, const char* prepare_name, char* cursor_buf, void** result_out) {
  ConnRecord* conn = conn_of(handle);
  if (!conn) return ZV_BAD_HANDLE;
  if (!prepare_name && !cursor_buf) return execute_default(conn, result_out);
  if (cursor_buf) return declare_prepared(conn, prepare_name, cursor_buf, result_out);
  if (!statement_name_ok(prepare_name)) return ZV_BAD_HANDLE;
  char sql[256] = {0};
  client_sprintf(sql, sizeof sql, "? %s ", prepare_name);
  ResultRecord* head = nullptr;
  int32_t rc = run_prepared(conn, sql, &head);
  // The server's text alone does not say which statement it was about.
  if (rc == ZV_SERVER_ERROR && conn->error_text)
    set_error_textf(&conn->error_text, "sql:%s errinfo: %s \n", sql, conn->error_text);
  hand_over(head, result_out);
  return rc;
}
