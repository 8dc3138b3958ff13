// Running a statement text directly: one exchange per call.
#include "connection/wire.h"
#include "statements/command.h"
#include "statements/exchange.h"
#include "zvc.h"

namespace {
// The connection behind a handle, or null when there is none to talk to.
ConnRecord* conn_of(ConnRecord** handle) {
  if (!handle || !*handle || (*handle)->kind != HT_CONN) return nullptr;
  return *handle;
}

}  // namespace

int32_t ZVC_ExecNoQuery(ConnRecord** handle, const char* sql) {
  ConnRecord* conn = conn_of(handle);
  if (!conn || !sql) return ZV_BAD_HANDLE;
  char* text = begin_exchange(conn, sql);
  if (!text) return ZV_NO_MEMORY;
  int32_t rc = recv_noQuery(conn);
  end_exchange(conn, text);
  return rc;
}

int32_t ZVC_ExecScalar(ConnRecord** handle, const char* sql, void* value_buf, int32_t value_cap, int32_t* type_out) {
  ConnRecord* conn = conn_of(handle);
  if (!conn || !sql || !value_buf || value_cap < 4) return ZV_BAD_HANDLE;
  char* text = begin_exchange(conn, sql);
  if (!text) return ZV_NO_MEMORY;
  int32_t rc = recv_scalar(conn, value_buf, value_cap, type_out);
  end_exchange(conn, text);
  return rc;
}

int32_t ZVC_Execute(ConnRecord** handle, const char* sql, void** result_out, int32_t* field_count_out,
                    int32_t* row_count_out, int32_t* effect_out) {
  ConnRecord* conn = conn_of(handle);
  if (!conn || !sql || !result_out) return ZV_BAD_HANDLE;
  char* text = begin_exchange(conn, sql);
  if (!text) return ZV_NO_MEMORY;
  ResultRecord* head = nullptr;
  int32_t rc = recv_result(conn, &head);
  end_exchange(conn, text);
  *result_out = head;
  if (head) {
    if (field_count_out) *field_count_out = head->field_count;
    if (row_count_out) *row_count_out = row_count_int32(head);
    if (effect_out) *effect_out = head->effect_count;
  }
  return rc;
}
