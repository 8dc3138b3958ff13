// Running prepared statements by name ("? name"), with the values bound into the set that the
// PREPARE described, or into a set of the caller's.
#include "connection/client_text.h"
#include "results/result_record.h"
#include "statements/command.h"
#include "statements/exchange.h"
#include "statements/param_set.h"
#include "statements/prepare.h"
#include "zvc.h"

namespace {
const char kNoDefault[] =
    "[EC023]Error Execute without a default prepare ,or you can ZVC_Execute2 with a prepare_name value\n";
const char kNoValues[] =
    "[EC059]Error params need values-bind, here params without bindparams-byname or bindparams-bypos  \n";
const char kNoCursors[] = "ZVC_Execute2 with a cursor_buf: smart cursors are not available, pass a null cursor_buf\n";

// The rows or counts go to the caller, or are let go when the caller wants none.
void hand_over(ResultRecord* head, void** result_out) {
  if (result_out)
    *result_out = head;
  else
    free_result_chain(head);
}

// One "? name" exchange carrying the connection's parameters. A described set without a
// single value is refused before anything goes out: its records would have nothing to say.
int32_t run_prepared(ConnRecord* conn, const char* call_sql, ResultRecord** head) {
  const ParamSet* set = conn->params;
  if (set && set->origin == ORIGIN_PREPARED && set->count > 0 && !set->values) {
    set_error_text(&conn->error_text, kNoValues);
    return ZV_OUT_UNBOUND;
  }
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
}  // namespace

int32_t ZVC_Execute2(ConnRecord** handle, const char* prepare_name, char* cursor_buf, void** result_out) {
  ConnRecord* conn = conn_of(handle);
  if (!conn) return ZV_BAD_HANDLE;
  if (!prepare_name && !cursor_buf) return execute_default(conn, result_out);
  if (cursor_buf) {
    set_error_text(&conn->error_text, kNoCursors);
    return ZV_BAD_HANDLE;
  }
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
