// The smart cursor: a query declared as a server cursor, opened, and read in blocks of
// SMART_BLOCK_ROWS rows that refill behind the row steps. The semaphore is held for each
// exchange only, never while the caller reads rows.
#include <cstdlib>
#include <cstring>

#include "connection/client_text.h"
#include "connection/login.h"
#include "connection/wire.h"
#include "results/row_store.h"
#include "statements/command.h"
#include "statements/cursor.h"
#include "statements/exchange.h"
#include "statements/reply_reader.h"
#include "zvc.h"

namespace {
const char kConnClosed[] =
    "[EC070]Error smart cursor lost its connection: it was closed while the cursor was open, the rows past the "
    "last block cannot be fetched\n";

// One "FETCH 20000 FROM name ;" exchange; the block in *block, null on failure.
int32_t fetch_block(ConnRecord* conn, const char* name, ResultRecord** block) {
  char call_sql[128] = {0};
  client_sprintf(call_sql, sizeof call_sql, "FETCH %d FROM %s ;", SMART_BLOCK_ROWS, name);
  return fetch_rows(conn, call_sql, recv_fetch, SMART_BLOCK_ROWS, block);
}

// The reply to a command that went out behind one the server refused: read to its end and
// forgotten, without a line to the notice hook, so that the link stays in step.
int32_t drop_text(ReplyState* st, char) { return recv_reply_text(st->conn); }

const ReplyLetter kDroppedLetters[] = {
    {'E', drop_text}, {'F', drop_text}, {'W', drop_text}, {'M', drop_text}, {'A', drop_result_hook}, {0, nullptr},
};
const ReplyReader kDropped = {kDroppedLetters, READ_RET, nullptr};

// The count replies behind a refusal, read while the link is in step; the refusal's text stays
// the connection's. A read that fails marks the link out of step, and its exchange drops it.
void drop_replies(ConnRecord* conn, int32_t count) {
  char* refusal = conn->error_text;
  conn->error_text = nullptr;
  for (int32_t i = 0; i < count && !conn->out_of_step; i++) {
    ReplyState st = {conn, 0, 0, nullptr, false, false};
    read_reply(&kDropped, &st);
  }
  free(conn->error_text);
  conn->error_text = refusal;
}

// DECLARE text (carrying the connection's parameters), "OPEN name ;" and the first "FETCH 20000
// FROM name ;" in one write, and their replies read in turn (read_declare_open_fetch).
int32_t declare_open_fetch(ConnRecord* conn, const char* text, const char* name, ResultRecord** block) {
  Exchange ex;
  if (!queue_exchange(&ex, conn, text, true)) return ZV_NO_MEMORY;
  send_open_fetch(conn, name);
  flush_exchange(conn);
  int32_t rc = read_declare_open_fetch(conn, block);
  end_exchange(&ex);
  return rc;
}

// The list of open cursors is the connection's, shared by every thread that uses it, so it
// changes under the connection's semaphore, as the link does.
void link_open(SmartCursor* cursor, ConnRecord* conn) {
  cursor->open = 1;
  cursor->more = 1;
  cursor->conn = conn;
  plat_sem_wait(conn->semaphore);
  cursor->next_open = conn->open_cursors;
  conn->open_cursors = cursor;
  plat_sem_signal(conn->semaphore);
}

// Off the connection's list, under the semaphore that the caller holds; a CLOSE reply still
// unread stays the connection's to read, but no longer names this record.
void list_remove(ConnRecord* conn, SmartCursor* cursor) {
  SmartCursor** slot = &conn->open_cursors;
  while (*slot && *slot != cursor) slot = &(*slot)->next_open;
  if (*slot) *slot = cursor->next_open;
  for (int32_t i = 0; i < conn->closing_count; i++)
    if (conn->closing[i].cursor == cursor) conn->closing[i].cursor = nullptr;
  cursor->next_open = nullptr;
  cursor->conn = nullptr;
}

// Off the connection's list of open cursors, and no longer tied to it.
void unlink_open(SmartCursor* cursor) {
  if (cursor->conn) {
    ConnRecord* conn = cursor->conn;
    plat_sem_wait(conn->semaphore);
    list_remove(conn, cursor);
    plat_sem_signal(conn->semaphore);
  }
  cursor->next_open = nullptr;
  cursor->conn = nullptr;
  cursor->open = 0;
  memset(cursor->name, 0, sizeof cursor->name);
}

// A short block came in a refill: the server cursor is closed and the cursor goes Drained. A
// link that is already down closed it too; a CLOSE the server refused leaves it open, to close
// once more. The refill reports that refusal, so this CLOSE is read at once.
int32_t drain(SmartCursor* cursor, ConnRecord* conn) {
  cursor->more = 0;
  int32_t rc = close_cursor(conn, cursor->name);
  if (rc == ZV_SERVER_ERROR) {
    take_error(cursor, conn);
    return rc;
  }
  unlink_open(cursor);
  return 0;
}

// A short first block came: the cursor goes Drained and its CLOSE goes out at once (or, on a link
// that holds its CLOSEs, with the next command), but its reply is left in the socket for the next
// exchange on the link to read ahead of its own (settle_close), so that a one-block query costs
// one round trip. Until then the record stays on the connection's list and is the one the reply
// is about; its name goes with the reply.
void drain_later(SmartCursor* cursor, ConnRecord* conn) {
  cursor->more = 0;
  cursor->open = 0;
  char sql[128] = {0};
  client_sprintf(sql, sizeof sql, "CLOSE %s ", cursor->name);
  Exchange ex;
  bool held = conn->hold_closes != 0;
  if (!(held ? queue_exchange(&ex, conn, sql, false) : begin_exchange(&ex, conn, sql, false))) {
    unlink_open(cursor);
    return;
  }
  conn->close_held = conn->close_held || held;
  PendingClose* pending = &conn->closing[conn->closing_count++];
  pending->cursor = cursor;
  memcpy(pending->name, cursor->name, sizeof pending->name);
  memset(cursor->name, 0, sizeof cursor->name);
  if (held && conn->held_hook) conn->held_hook(conn->held_context);
  end_exchange(&ex);
}

int32_t refill(SmartCursor* cursor) {
  free_result_chain(cursor->result);
  cursor->result = nullptr;
  ConnRecord* conn = cursor->conn;
  if (!conn) {
    cursor->more = 0;
    set_error_text(&cursor->error, kConnClosed);
    return ZV_NET_ERROR;
  }
  int32_t rc = fetch_block(conn, cursor->name, &cursor->result);
  if (rc < 0 || !cursor->result) {
    set_error_text(&cursor->error, conn->error_text);
    return rc < 0 ? rc : ZV_SERVER_ERROR;
  }
  if (cursor->result->row_count == SMART_BLOCK_ROWS) return 0;
  return drain(cursor, conn);
}
}  // namespace

void send_open_fetch(ConnRecord* conn, const char* name) {
  char open_sql[128] = {0};
  char fetch_sql[128] = {0};
  client_sprintf(open_sql, sizeof open_sql, "OPEN %s ;", name);
  client_sprintf(fetch_sql, sizeof fetch_sql, "FETCH %d FROM %s ;", SMART_BLOCK_ROWS, name);
  send_sql_params(conn, open_sql, 0);
  send_sql_params(conn, fetch_sql, 0);
}

// The server reads its commands one at a time in the order they came, so the two behind the
// DECLARE wait in its socket, and their replies come back in that order.
int32_t read_declare_open_fetch(ConnRecord* conn, ResultRecord** block) {
  ResultRecord* declared = nullptr;
  int32_t rc = recv_result(conn, &declared);
  free_result_chain(declared);
  int32_t unread = 2;  // the OPEN's and the FETCH's replies
  if (rc >= 0 && !conn->out_of_step) {
    conn->smart_busy = 0;
    rc = read_short_reply(conn);
    unread = 1;
  }
  if (rc >= 0 && !conn->out_of_step) {
    ResultRecord* chain = nullptr;
    rc = recv_fetch(conn, SMART_BLOCK_ROWS, &chain);
    // A refusal after rows leaves them in the chain: a failed FETCH hands out nothing.
    if (rc < 0)
      free_result_chain(chain);
    else
      *block = chain;
    unread = 0;
  }
  if (rc < 0)
    drop_replies(conn, unread);
  else if (unread > 0)
    rc = ZV_NET_ERROR;  // the DECLARE's reply ended on a letter it does not know: the rest is lost
  // A refusal is the server's text in error_text; a failed link keeps its own code.
  if (rc < 0 && rc != ZV_NET_ERROR && rc != ZV_NO_MEMORY) rc = ZV_SERVER_ERROR;
  return rc;
}

SmartCursor* new_smart_cursor(ConnRecord* conn, const char* sql, char** declare_text) {
  SmartCursor* cursor = static_cast<SmartCursor*>(client_alloc(sizeof(SmartCursor)));
  size_t cap = strlen(sql) + 128;
  char* text = static_cast<char*>(client_alloc(cap));
  if (!cursor || !text) {
    free(cursor);
    free(text);
    return nullptr;
  }
  cursor->kind = HT_SMART_CURSOR;
  client_sprintf(cursor->name, sizeof cursor->name, "STC%u_%s", conn->stmt_counter++, "SMARTCUR");
  client_sprintf(text, cap, "DECLARE %s CURSOR FOR %s;", cursor->name, sql);
  *declare_text = text;
  return cursor;
}

SmartCursor* take_first_block(ConnRecord* conn, SmartCursor* cursor) {
  if (!cursor->result) {
    close_cursor(conn, cursor->name);
    free(cursor);
    return nullptr;
  }
  link_open(cursor, conn);
  if (cursor->result->row_count != SMART_BLOCK_ROWS) drain_later(cursor, conn);
  return cursor;
}

void take_error(SmartCursor* cursor, ConnRecord* conn) {
  free(cursor->error);
  cursor->error = conn->error_text;
  conn->error_text = nullptr;
}

int32_t open_smart_cursor(ConnRecord* conn, const char* sql, SmartCursor** out) {
  *out = nullptr;
  char* text = nullptr;
  SmartCursor* cursor = new_smart_cursor(conn, sql, &text);
  if (!cursor) return ZV_NO_MEMORY;
  int32_t rc = declare_open_fetch(conn, text, cursor->name, &cursor->result);
  free(text);
  if (rc < 0) {
    free(cursor);
    return rc;
  }
  *out = take_first_block(conn, cursor);
  return rc;
}

int32_t smart_next_row(SmartCursor* cursor) {
  if (!cursor->result) return ZV_SERVER_ERROR;
  int32_t ret = next_row(cursor->result);
  if (ret != ZV_NO_MORE || !cursor->more) return ret;
  int32_t rc = refill(cursor);
  if (rc < 0) return rc;
  return next_row(cursor->result);
}

int32_t close_smart_cursor(SmartCursor* cursor) {
  if (cursor->open && close_cursor(cursor->conn, cursor->name) == ZV_SERVER_ERROR) {
    take_error(cursor, cursor->conn);
    return ZV_SERVER_ERROR;
  }
  // A Drained cursor whose CLOSE reply is unread does not wait for it: the next exchange reads it.
  unlink_open(cursor);
  free_result_chain(cursor->result);
  free(cursor->error);
  free(cursor);
  return 0;
}

void detach_smart_cursors(ConnRecord* conn) {
  while (conn->open_cursors) {
    SmartCursor* cursor = conn->open_cursors;
    // The block in hand can still be read; it can no longer fetch large objects over the link.
    if (cursor->result) cursor->result->conn = nullptr;
    unlink_open(cursor);
  }
}

namespace {
// The reply of one CLOSE that went out without its reply being read.
void settle_one(ConnRecord* conn, const PendingClose* pending) {
  SmartCursor* cursor = pending->cursor;
  char* kept = conn->error_text;
  conn->error_text = nullptr;
  int32_t rc = read_short_reply(conn);
  if (rc == ZV_SERVER_ERROR) {
    const char* refusal = conn->error_text ? conn->error_text : "";
    set_error_textf(&conn->error_text, "[EC027]Error :%s Close Cursor %s  \n", refusal, pending->name);
    if (cursor) {
      // As when the CLOSE was read at once: the cursor's error, and open for a close to try again.
      take_error(cursor, conn);
      cursor->open = 1;
      memcpy(cursor->name, pending->name, sizeof cursor->name);
    } else if (conn->error_text) {
      notice_line(conn, conn->error_text);
    }
  } else if (cursor) {
    list_remove(conn, cursor);
  }
  free(conn->error_text);
  conn->error_text = kept;
}
}  // namespace

void settle_close(ConnRecord* conn) {
  if (conn->closing_count == 0) return;
  if (conn->close_held) {
    conn->close_held = 0;
    send_flush(conn);
  }
  // Taken off the connection first: a reply cut short drops the link, which forgets the rest.
  PendingClose pending[ZV_RUN_MAX];
  int32_t count = conn->closing_count;
  memcpy(pending, conn->closing, sizeof pending[0] * static_cast<size_t>(count));
  conn->closing_count = 0;
  for (int32_t i = 0; i < count && !conn->out_of_step; i++) settle_one(conn, &pending[i]);
  if (conn->out_of_step) drop_link(conn);
}

void settle_cursor_close(SmartCursor* cursor) {
  ConnRecord* conn = cursor->conn;
  if (!conn) return;
  plat_sem_wait(conn->semaphore);
  bool pending = false;
  for (int32_t i = 0; i < conn->closing_count; i++) pending = pending || conn->closing[i].cursor == cursor;
  // The replies ahead of its own are read first, in order.
  if (pending) settle_close(conn);
  plat_sem_signal(conn->semaphore);
}

int32_t ZVC_HoldCloses(ConnRecord** handle, int32_t on, HeldHook hook, void* context) {
  ConnRecord* conn = conn_of(handle);
  if (!conn) return ZV_BAD_HANDLE;
  conn->hold_closes = on != 0;
  conn->held_hook = hook;
  conn->held_context = context;
  return 0;
}

int32_t ZVC_SendHeld(ConnRecord** handle) {
  ConnRecord* conn = conn_of(handle);
  if (!conn) return ZV_BAD_HANDLE;
  plat_sem_wait(conn->semaphore);
  if (conn->close_held) {
    conn->close_held = 0;
    if (send_flush(conn) < 0) drop_link(conn);
  }
  int32_t rc = conn->socket == 0 ? ZV_NET_ERROR : 0;
  plat_sem_signal(conn->semaphore);
  return rc;
}

int32_t fetch_rows(ConnRecord* conn, const char* text, RowsReader reader, int32_t row_limit, ResultRecord** head) {
  Exchange ex;
  if (!begin_exchange(&ex, conn, text, false)) return ZV_NO_MEMORY;
  ResultRecord* chain = nullptr;
  int32_t rc = reader(conn, row_limit, &chain);
  end_exchange(&ex);
  if (rc < 0) {
    free_result_chain(chain);
    return rc;
  }
  *head = chain;
  return rc;
}

int32_t close_cursor(ConnRecord* conn, const char* name) {
  char sql[128] = {0};
  client_sprintf(sql, sizeof sql, "CLOSE %s ", name);
  Exchange ex;
  if (!begin_exchange(&ex, conn, sql, false)) return ZV_NO_MEMORY;
  int32_t rc = read_short_reply(conn);
  if (rc == ZV_SERVER_ERROR)
    set_error_textf(&conn->error_text, "[EC027]Error :%s Close Cursor %s  \n",
                    conn->error_text ? conn->error_text : "", name);
  end_exchange(&ex);
  return rc;
}

int32_t declare_and_open(ConnRecord* conn, const char* text, const char* name, ResultRecord** declared,
                         bool* declare_ok) {
  Exchange ex;
  *declare_ok = false;
  if (!begin_exchange(&ex, conn, text, true)) return ZV_NO_MEMORY;
  int32_t rc = recv_result(conn, declared);
  if (rc >= 0) {
    *declare_ok = true;
    conn->smart_busy = 0;
    char call_sql[128] = {0};
    client_sprintf(call_sql, sizeof call_sql, "OPEN %s ;", name);
    send_sql_params(conn, call_sql, 0);
    send_flush(conn);
    int32_t open_rc = read_short_reply(conn);
    if (open_rc < 0) rc = open_rc;
  }
  end_exchange(&ex);
  return rc;
}

bool cursor_name_ok(ConnRecord* conn, const char* name) {
  if (name && name[0] && strnlen(name, ZV_CURSOR_NAME_SIZE) < ZV_CURSOR_NAME_SIZE) return true;
  set_error_text(&conn->error_text, name && name[0] ? "[EC071]Error cursor name longer than 63 bytes\n"
                                                    : "[EC071]Error cursor name missing\n");
  return false;
}
