// Ending a connection: the statement layer's parts of the record first, then the link and the
// record itself.
#include "connection/login.h"
#include "results/result_record.h"
#include "statements/cursor.h"
#include "statements/param_set.h"
#include "statements/prepare.h"
#include "zvc.h"

int32_t ZVC_CloseConnection(ConnRecord** handle) {
  if (!handle || !*handle) return -1;
  ConnRecord* conn = *handle;
  // The server keeps the default statement while the link lasts; a link already down took it
  // along, and its outcome changes nothing about the close.
  if (conn->prepared && conn->socket != 0) deallocate_statement(conn, conn->prepare_name);
  // A standing set is its caller's, to free with ZVC_FreeHandle.
  if (conn->params && conn->params->origin != ORIGIN_STANDING) free_param_set(conn->params);
  free_result(conn->results);
  // The server drops the link's cursors with the link; the handles of open ones stay with their
  // callers and must not reach this record again.
  detach_smart_cursors(conn);
  free_conn_record(conn);
  *handle = nullptr;
  return 0;
}
