// Running a statement text directly: one exchange per call, carrying the parameters bound for it;
// a query through a smart cursor unless the connection turned server cursors off.
#include "connection/wire.h"
#include "statements/command.h"
#include "statements/cursor.h"
#include "statements/exchange.h"
#include "statements/param_set.h"
#include "zvc.h"

int32_t ZVC_ExecNoQuery(ConnRecord** handle, const char* sql) {
  ConnRecord* conn = conn_of(handle);
  if (!conn || !sql) return ZV_BAD_HANDLE;
  Exchange ex;
  if (!begin_exchange(&ex, conn, sql, true)) return ZV_NO_MEMORY;
  int32_t rc = recv_noQuery(conn);
  end_exchange(&ex);
  return rc;
}

int32_t ZVC_ExecScalar(ConnRecord** handle, const char* sql, void* value_buf, int32_t value_cap, int32_t* type_out) {
  ConnRecord* conn = conn_of(handle);
  if (!conn || !sql || !value_buf || value_cap < 4) return ZV_BAD_HANDLE;
  Exchange ex;
  if (!begin_exchange(&ex, conn, sql, true)) return ZV_NO_MEMORY;
  int32_t rc = recv_scalar(conn, value_buf, value_cap, type_out);
  end_exchange(&ex);
  return rc;
}

int32_t ZVC_Execute(ConnRecord** handle, const char* sql, void** result_out, int32_t* field_count_out,
                    int32_t* row_count_out, int32_t* effect_out) {
  ConnRecord* conn = conn_of(handle);
  if (!conn || !sql || !result_out) return ZV_BAD_HANDLE;
  ResultRecord* head = nullptr;
  int32_t rc = 0;
  if (ZVC_ClassifySql(sql) == SQL_QUERY && !conn->use_srvcursor_off) {
    // A query goes through a server cursor, read in blocks behind ZVC_NextRow.
    SmartCursor* cursor = nullptr;
    rc = open_smart_cursor(conn, sql, &cursor);
    *result_out = cursor;
    if (cursor) head = cursor->result;
  } else {
    Exchange ex;
    if (!begin_exchange(&ex, conn, sql, true)) return ZV_NO_MEMORY;
    rc = recv_result(conn, &head);
    end_exchange(&ex);
    *result_out = head;
  }
  if (head) {
    if (field_count_out) *field_count_out = head->field_count;
    if (row_count_out) *row_count_out = row_count_int32(head);
    if (effect_out) *effect_out = head->effect_count;
  }
  return rc;
}

// Output values stay bound across the exchange: the reply writes them into the caller's buffers.
int32_t ZVC_ExecuteOut(ConnRecord** handle, const char* sql, void** result_out) {
  ConnRecord* conn = conn_of(handle);
  if (!conn || !sql) return ZV_BAD_HANDLE;
  ParamSet* set = conn->params;
  if (!set || set->count == 0) return ZVC_ExecNoQuery(handle, sql);
  int32_t owned = set->owns_values;
  set->owns_values = 1;
  Exchange ex;
  if (!begin_exchange(&ex, conn, sql, true)) {
    set->owns_values = owned;
    return ZV_NO_MEMORY;
  }
  ResultRecord* result = nullptr;
  int32_t rc = recv_noQuery_OP(conn, set, &result);
  if (result && result_out) *result_out = result;
  else free_result(result);
  if (set->origin != ORIGIN_STANDING) free_params_after_out(set);
  set->owns_values = owned;
  end_exchange(&ex);
  return rc;
}
