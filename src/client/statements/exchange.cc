#include "statements/exchange.h"

#include <cstdlib>
#include <cstring>

#include "connection/login.h"
#include "connection/wire.h"
#include "statements/command.h"
#include "statements/cursor.h"
#include "statements/send_params.h"
#include "zvc.h"

ConnRecord* conn_of(ConnRecord** handle) {
  if (!handle || !*handle || (*handle)->kind != HT_CONN) return nullptr;
  return *handle;
}

bool open_exchange(Exchange* ex, ConnRecord* conn, const char* sql) {
  *ex = {conn, strdup(sql), nullptr};
  if (!ex->text) return false;
  plat_sem_wait(conn->semaphore);
  return true;
}

void flush_exchange(ConnRecord* conn) {
  // CLOSEs whose replies are unread, sent already or held in the send buffer ahead of this
  // command, have their replies first on the link. They are read once this command is out too,
  // so that all the replies come back in one round trip.
  bool unread = conn->closing_count > 0;
  send_flush(conn);
  if (unread) settle_close(conn);
}

bool begin_exchange(Exchange* ex, ConnRecord* conn, const char* sql, bool with_params) {
  if (!queue_exchange(ex, conn, sql, with_params)) return false;
  flush_exchange(conn);
  return true;
}

bool queue_exchange(Exchange* ex, ConnRecord* conn, const char* sql, bool with_params) {
  if (!open_exchange(ex, conn, sql)) return false;
  if (with_params) {
    ex->set = conn->params;
    conn->params = nullptr;
  }
  send_command(conn, ex->text, ex->set);
  return true;
}

void send_command(ConnRecord* conn, const char* sql, ParamSet* set) {
  send_sql_params(conn, sql, set ? param_word(set) : 0);
  // Records cut short leave the server reading the rest from the next command.
  if (set && send_params(conn, set) != 0) conn->out_of_step = 1;
}

void end_exchange(Exchange* ex) {
  if (ex->conn->out_of_step) drop_link(ex->conn);
  plat_sem_signal(ex->conn->semaphore);
  free(ex->text);
  if (ex->set && ex->set->origin != ORIGIN_STANDING) free_param_set(ex->set);
}
