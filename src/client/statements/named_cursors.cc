// Cursors that callers name and drive themselves: declare and open, fetch by blocks or by a
// count, fetch again by any text, close.
#include <cstdlib>
#include <cstring>

#include "connection/client_text.h"
#include "statements/command.h"
#include "statements/cursor.h"
#include "statements/exchange.h"
#include "zvc.h"

namespace {
const char kReadToEnd[] = "[EC072]Error FetchCursor after the cursor was read to its end\n";

// One exchange of text whose reply of at most row_limit rows (or NO_ROW_LIMIT) fills a single new
// record. On success the record the caller held (if any) is freed and *result_io takes the new one.
int32_t fetch_into(ConnRecord* conn, const char* text, int32_t row_limit, ResultRecord** result_io) {
  ResultRecord* record = nullptr;
  int32_t rc = fetch_rows(conn, text, recv_fetch_all, row_limit, &record);
  if (rc < 0) return rc;
  free_result_chain(*result_io);
  *result_io = record;
  return rc;
}
}  // namespace

int32_t ZVC_DeclareCursor(ConnRecord** handle, const char* sql, const char* cursor_name, void** result_out,
                          int32_t* field_count_out) {
  ConnRecord* conn = conn_of(handle);
  if (!conn || !sql) return ZV_BAD_HANDLE;
  if (!cursor_name_ok(conn, cursor_name)) return ZV_BAD_HANDLE;
  size_t cap = strlen(sql) + strlen(cursor_name) + 32;
  char* text = static_cast<char*>(client_alloc(cap));
  if (!text) return ZV_NO_MEMORY;
  client_sprintf(text, cap, "DECLARE %s CURSOR FOR %s ", cursor_name, sql);
  ResultRecord* declared = nullptr;
  bool declare_ok = false;
  int32_t rc = declare_and_open(conn, text, cursor_name, &declared, &declare_ok);
  free(text);
  if (rc < 0) {
    free_result_chain(declared);
    return rc == ZV_NET_ERROR || rc == ZV_NO_MEMORY ? rc : ZV_SERVER_ERROR;
  }
  // The record can fetch large objects over the link.
  if (declared) declared->conn = conn;
  if (field_count_out) *field_count_out = declared ? declared->field_count : 0;
  if (result_out)
    *result_out = declared;
  else
    free_result_chain(declared);
  return rc;
}

int32_t ZVC_FetchCursor(ConnRecord** handle, const char* cursor_name, void** result_io) {
  ConnRecord* conn = conn_of(handle);
  if (!conn || !result_io) return ZV_BAD_HANDLE;
  if (!cursor_name_ok(conn, cursor_name)) return ZV_BAD_HANDLE;
  if (conn->smart_busy) {
    set_error_text(&conn->error_text, kReadToEnd);
    return ZV_SERVER_ERROR;
  }
  char sql[256] = {0};
  client_sprintf(sql, sizeof sql, "FETCH  %d  FROM  %s ", SMART_BLOCK_ROWS, cursor_name);
  int32_t rc = fetch_into(conn, sql, SMART_BLOCK_ROWS, reinterpret_cast<ResultRecord**>(result_io));
  if (rc >= 0 && rc < SMART_BLOCK_ROWS) conn->smart_busy = 1;
  return rc;
}

int32_t ZVC_FetchCount(ConnRecord** handle, const char* cursor_name, void** result_out, int32_t* field_count_out,
                       int32_t* row_count_out, const int32_t* count_ptr) {
  // A failed call leaves no counts of an earlier one to be taken for its own.
  if (field_count_out) *field_count_out = 0;
  if (row_count_out) *row_count_out = 0;
  ConnRecord* conn = conn_of(handle);
  if (!conn || !count_ptr || *count_ptr < 0) return ZV_BAD_HANDLE;
  if (!cursor_name_ok(conn, cursor_name)) return ZV_BAD_HANDLE;
  char sql[200] = {0};
  client_sprintf(sql, sizeof sql, "FETCH %d  FROM %s ", *count_ptr, cursor_name);
  ResultRecord* head = nullptr;
  int32_t rc = fetch_rows(conn, sql, recv_fetch, *count_ptr, &head);
  if (rc < 0) return rc;
  if (field_count_out) *field_count_out = head ? head->field_count : 0;
  if (row_count_out) *row_count_out = head ? row_count_int32(head) : 0;
  if (result_out)
    *result_out = head;
  else
    free_result_chain(head);
  return 0;
}

int32_t ZVC_CloseCursor(ConnRecord** handle, const char* cursor_name) {
  ConnRecord* conn = conn_of(handle);
  if (!conn) return ZV_BAD_HANDLE;
  if (!cursor_name_ok(conn, cursor_name)) return ZV_BAD_HANDLE;
  // A cursor read to its end counts as closed.
  if (conn->smart_busy) return 0;
  return close_cursor(conn, cursor_name);
}

int32_t ZVC_Refetch(ConnRecord** handle, const char* text, void** result_io) {
  ConnRecord* conn = conn_of(handle);
  if (!conn || !text || !result_io) return ZV_BAD_HANDLE;
  free_result_chain(static_cast<ResultRecord*>(*result_io));
  *result_io = nullptr;
  // The text is the caller's: how many rows it asks for is not known here.
  return fetch_into(conn, text, NO_ROW_LIMIT, reinterpret_cast<ResultRecord**>(result_io));
}
