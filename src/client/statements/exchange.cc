#include "statements/exchange.h"

#include <cstdlib>
#include <cstring>

#include "connection/login.h"
#include "connection/wire.h"
#include "statements/command.h"

char* begin_exchange(ConnRecord* conn, const char* sql) {
  char* text = strdup(sql);
  if (!text) return nullptr;
  plat_sem_wait(conn->semaphore);
  send_sql_params(conn, text, 0);
  send_flush(conn);
  return text;
}

void end_exchange(ConnRecord* conn, char* text) {
  if (conn->out_of_step) drop_link(conn);
  plat_sem_signal(conn->semaphore);
  free(text);
}
