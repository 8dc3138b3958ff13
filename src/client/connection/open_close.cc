#include <cstdlib>

#include "connection/block_cache.h"
#include "connection/client_text.h"
#include "connection/conn_string.h"
#include "connection/link_cipher.h"
#include "connection/login.h"
#include "zvc.h"

int32_t ZVC_OpenConnection(const char* conn_string, ConnRecord** out) {
  if (!conn_string) return -1;  // no record is made
  ConnRecord* conn = static_cast<ConnRecord*>(client_alloc(sizeof(ConnRecord)));
  *out = conn;
  if (!conn) return ZV_NO_MEMORY;
  // Defaults the connection string may change.
  conn->kind = HT_CONN;
  conn->lock_timeout = LOCK_TIMEOUT_DEFAULT;
  str_copy_bounded(conn->version, sizeof conn->version, "301");
  conn->verbose_mode = 1;
  conn->connect_timeout = CONNECT_TIMEOUT_DEFAULT;
  parse_conn_string(conn_string, conn);
  // Defaults it may not, but for the receive time-out that RECV_TIMEOUT names outright.
  conn->pushback = 0;
  conn->ltimeout = conn->recv_timeout > 0 ? conn->recv_timeout : LTIMEOUT_DEFAULT;
  // The lock exists before the socket is tried, so that a failed open leaves a handle to close.
  if (!create_conn_lock(conn)) return ZV_NO_MEMORY;
  conn->socket = 0;
  if (conn_string_refused(conn)) return ZV_BAD_CONN_STRING;
  if (!net_connect(conn)) {
    set_error_text(&conn->error_text, "[EC011]Error in build-connect Sock Failure");
    return ZV_SOCKET_FAILED;
  }
  return login_outcome(conn, "[EC012]Error in build-database-connect LOGIN database Failure", 2);
}

int32_t ZVC_CheckConnString(const char* conn_string, char* text, int32_t cap) {
  if (!conn_string) return ZV_BAD_HANDLE;
  ConnRecord* conn = static_cast<ConnRecord*>(client_alloc(sizeof(ConnRecord)));
  if (!conn) return ZV_NO_MEMORY;
  parse_conn_string(conn_string, conn);
  int32_t rc = conn->conn_string_fault[0] != '\0' ? ZV_BAD_CONN_STRING : ZV_OK;
  if (text && cap > 0) str_copy_bounded(text, static_cast<size_t>(cap), conn->conn_string_fault);
  free_conn_record(conn);
  return rc;
}

bool conn_string_refused(ConnRecord* conn) {
  if (conn->conn_string_fault[0] == '\0') return false;
  set_error_text(&conn->error_text, conn->conn_string_fault);
  return true;
}

int32_t login_outcome(ConnRecord* conn, const char* failed_text, int32_t success) {
  LoginResult login = login_dialogue(conn);
  if (login == LOGIN_OK) return success;
  // A refusal of the client's own keeps its text: it says what to change.
  if (login != LOGIN_REFUSED_HERE) set_error_text(&conn->error_text, failed_text);
  return ZV_LOGIN_FAILED;
}

bool create_conn_lock(ConnRecord* conn) {
  // Created empty and released once: a mutex that stands open.
  conn->semaphore = plat_sem_create(0);
  if (!conn->semaphore) return false;
  plat_sem_signal(conn->semaphore);
  // A record with a lock counts as open until it is freed: the last one empties the block cache.
  block_cache_join();
  return true;
}

int32_t ZVC_Reconnect(ConnRecord** handle) {
  if (!handle || !*handle) return ZV_BAD_HANDLE;
  ConnRecord* conn = *handle;
  if (conn_string_refused(conn)) return ZV_BAD_CONN_STRING;
  if (!net_connect(conn)) {
    set_error_text(&conn->error_text, "[EC0197]Error when RECONNECT Sock Failure");
    return ZV_SOCKET_FAILED;
  }
  return login_outcome(conn, "[EC0198]Error when LOGIN database Failure", 1);
}

void free_conn_record(ConnRecord* conn) {
  // No farewell goes over the wire: the server sees the link reset.
  drop_link(conn);
  link_cipher_free(conn);
  if (conn->semaphore) block_cache_leave();
  plat_sem_close(conn->semaphore);
  free(conn->error_text);
  free_server_list(conn->server_list);
  free(conn);
}
