// A run of statements at once: every query's DECLARE, OPEN and first FETCH, and every other
// statement's command, in one write, and all the replies read in order under one hold of the
// semaphore, before any query goes on. A link that waits a round trip for each statement spends
// most of its time waking up; a run of many short statements then costs one wake on each side.
#include <cstdlib>

#include "connection/client_text.h"
#include "connection/login.h"
#include "statements/command.h"
#include "statements/cursor.h"
#include "statements/exchange.h"
#include "zvc.h"

namespace {
// The records and their DECLARE texts, one per query; null for any other statement, which goes
// out as one command. False, with nothing left, when memory ran out.
bool new_run_cursors(ConnRecord* conn, const RunQuery* queries, int32_t count, SmartCursor** cursors,
                     char** texts) {
  for (int32_t i = 0; i < count; i++) {
    cursors[i] = nullptr;
    texts[i] = nullptr;
    if (ZVC_ClassifySql(queries[i].sql) != SQL_QUERY) continue;
    cursors[i] = new_smart_cursor(conn, queries[i].sql, &texts[i]);
    if (cursors[i]) continue;
    for (int32_t j = 0; j < i; j++) {
      free(cursors[j]);
      free(texts[j]);
    }
    return false;
  }
  return true;
}

// A statement's reply, read as ZVC_Execute reads it. A failure's text stays with the statement,
// in its first record (an empty one when the reply brought none), since the replies read after
// it replace the connection's.
int32_t read_statement(ConnRecord* conn, ResultRecord** head) {
  int32_t rc = recv_result(conn, head);
  if (rc >= 0) return rc;
  if (!*head) {
    *head = static_cast<ResultRecord*>(client_alloc(sizeof(ResultRecord)));
    if (!*head) return rc;
    (*head)->kind = HT_RESULT;
  }
  set_result_message(*head, conn->error_text);
  return rc;
}

// Writes the run and reads its replies in order, each statement's into its own record. A refusal
// leaves its text with its statement, and the next statement's replies are read in step; once the
// link is lost, every later statement fails with it, unread.
void send_and_read(ConnRecord* conn, RunQuery* queries, int32_t count, SmartCursor** cursors, char** texts,
                   ResultRecord** heads) {
  plat_sem_wait(conn->semaphore);
  for (int32_t i = 0; i < count; i++) {
    send_command(conn, cursors[i] ? texts[i] : queries[i].sql, queries[i].params);
    if (cursors[i]) send_open_fetch(conn, cursors[i]->name);
  }
  flush_exchange(conn);
  bool lost = false;
  for (int32_t i = 0; i < count; i++) {
    if (lost) {
      queries[i].code = ZV_NET_ERROR;
    } else if (!cursors[i]) {
      queries[i].code = read_statement(conn, &heads[i]);
    } else {
      queries[i].code = read_declare_open_fetch(conn, &cursors[i]->result);
      if (queries[i].code < 0) take_error(cursors[i], conn);
    }
    lost = lost || conn->out_of_step;
  }
  if (conn->out_of_step) drop_link(conn);
  plat_sem_signal(conn->semaphore);
}
}  // namespace

int32_t ZVC_ExecuteRun(ConnRecord** handle, RunQuery* queries, int32_t count) {
  ConnRecord* conn = conn_of(handle);
  if (!conn || !queries || count < 1 || count > ZV_RUN_MAX) return ZV_BAD_HANDLE;
  for (int32_t i = 0; i < count; i++)
    if (!queries[i].sql) return ZV_BAD_HANDLE;
  SmartCursor* cursors[ZV_RUN_MAX];
  char* texts[ZV_RUN_MAX];
  if (!new_run_cursors(conn, queries, count, cursors, texts)) {
    for (int32_t i = 0; i < count; i++) queries[i] = {queries[i].sql, queries[i].params, nullptr, ZV_NO_MEMORY};
    return ZV_NO_MEMORY;
  }
  ResultRecord* heads[ZV_RUN_MAX] = {};
  send_and_read(conn, queries, count, cursors, texts, heads);
  // Only now does any query go on: its CLOSE is held or sent behind the whole run, and a long
  // result's refills come once its caller reads past the first block.
  for (int32_t i = 0; i < count; i++) {
    free(texts[i]);
    if (!cursors[i]) queries[i].result = heads[i];
    else queries[i].result = queries[i].code < 0 ? cursors[i] : take_first_block(conn, cursors[i]);
  }
  return 0;
}
