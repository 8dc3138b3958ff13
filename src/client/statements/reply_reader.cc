#include "statements/reply_reader.h"

#include <cstdlib>

#include "connection/client_text.h"
#include "connection/wire.h"
#include "results/reception.h"

namespace {
enum { ROWS_PER_BLOCK = 200 };

ReplyHook find_hook(const ReplyReader* reader, char letter) {
  for (const ReplyLetter* l = reader->letters; l->hook; ++l)
    if (l->letter == letter) return l->hook;
  return nullptr;
}

// Every way out of a reply before its "K" leaves bytes of it unread, or takes bytes of the next.
int32_t stop_short(ReplyState* st, int32_t rc) {
  st->conn->out_of_step = 1;
  return rc;
}

// The result of a reply that ended in order: -12 instead of a success when a value was cut.
int32_t settle(const ReplyState* st, int32_t rc) { return st->cut && rc >= 0 ? ZV_TRUNCATED : rc; }

int32_t fail(const ReplyReader* reader, ReplyState* st, char letter, int32_t rc) {
  st->failed = true;
  if (reader->on_failure) reader->on_failure(st->conn, letter);
  return stop_short(st, rc);
}

// Reads n bytes and forgets them, through a small buffer so that a large length costs no memory.
bool skip_bytes(ConnRecord* conn, int32_t n) {
  uint8_t scratch[4096];
  while (n > 0) {
    int32_t part = n < static_cast<int32_t>(sizeof scratch) ? n : static_cast<int32_t>(sizeof scratch);
    if (!recv_bytes(conn, scratch, part)) return false;
    n -= part;
  }
  return true;
}
}  // namespace

int32_t read_reply(const ReplyReader* reader, ReplyState* st) {
  for (;;) {
    char letter = 0;
    if (!recv_char(st->conn, &letter)) return fail(reader, st, 0, ZV_NET_ERROR);
    if (letter == 'K') return settle(st, st->ret);
    ReplyHook hook = find_hook(reader, letter);
    if (!hook) return stop_short(st, settle(st, reader->stray_ret == READ_RET ? st->ret : reader->stray_ret));
    int32_t step = hook(st, letter);
    if (step < 0) return fail(reader, st, letter, step);
    if (step == REPLY_DONE) return settle(st, st->ret);
    if (step == REPLY_PEEK) {
      int32_t end = peek_reply_end(st->conn);
      if (end < 0) return fail(reader, st, 0, end);
      if (end == 1) return settle(st, st->end_value);
    }
  }
}

int32_t peek_reply_end(ConnRecord* conn) {
  char ch = 0;
  if (!recv_char(conn, &ch)) return ZV_NET_ERROR;
  // A zero byte cannot be handed back; as an unknown letter it would end the reply anyway.
  if (ch == 'K' || ch == 0) return 1;
  conn->pushback = ch;
  return 0;
}

int32_t recv_row_id(ReplyState* st, char* bkmk) {
  int32_t len = recv_counted_id(st->conn, bkmk, ROWID_BUF_SIZE - 1);
  if (len < 0) return ZV_NET_ERROR;
  if (len >= ROWID_BUF_SIZE) {
    st->cut = true;
    set_error_textf(&st->conn->error_text, "[EC0108]Error row id of %d bytes cut to its first %d\n", len,
                    ROWID_BUF_SIZE - 1);
  }
  return 0;
}

int32_t recv_reply_text(ConnRecord* conn) {
  char* text = nullptr;
  int32_t rc = recv_string(conn, &text);
  if (rc != 0) return rc;
  free(conn->error_text);
  conn->error_text = text;
  return 0;
}

int32_t drop_out_value(ConnRecord* conn, bool with_index) {
  int32_t word = 0;
  if (with_index && !recv_int32(conn, &word)) return ZV_NET_ERROR;
  int32_t d_len = 0;
  if (!recv_int32(conn, &word) || !recv_int32(conn, &d_len)) return ZV_NET_ERROR;
  if (d_len < 0 || d_len > WIRE_MAX_STRING || !skip_bytes(conn, d_len)) return ZV_NET_ERROR;
  set_error_text(&conn->error_text, "[EC0056]when execute sql with output params or return value need bind_params");
  return 0;
}

int32_t drop_out_value_hook(ReplyState* st, char letter) {
  int32_t rc = drop_out_value(st->conn, letter == 'P');
  if (rc != 0) return rc;
  st->ret = ZV_OUT_NEEDS_PARAMS;
  return REPLY_GO_ON;
}

int32_t read_result_fields(ConnRecord* conn, ResultRecord** out) {
  ResultRecord* result = static_cast<ResultRecord*>(client_alloc(sizeof(ResultRecord)));
  if (!result) return ZV_NO_MEMORY;
  result->kind = HT_RESULT;
  result->result_kind = RK_ROWS;
  result->conn = conn;
  int32_t rc = read_field_descs(conn, result);
  if (rc != 0) {
    free_result(result);
    return rc;
  }
  *out = result;
  return 0;
}

// The rows go, but an error among them is the reply's: the server reports a later statement
// of the same text that failed there, and it must not pass for a success.
int32_t drop_result_hook(ReplyState* st, char) {
  ResultRecord* result = nullptr;
  int32_t rc = read_result_fields(st->conn, &result);
  if (rc != 0) return rc;
  rc = recv_rows_all(st->conn, result);
  if (rc >= 0 && result->message_has_error) {
    set_error_text(&st->conn->error_text, result->message);
    st->ret = ZV_SERVER_ERROR;
  }
  free_result(result);
  return rc < 0 ? rc : REPLY_GO_ON;
}

int32_t recv_call_rows(ConnRecord* conn, ResultRecord* result) {
  int32_t got = recv_rows_200(conn, result);
  if (got != ROWS_PER_BLOCK) return got < 0 ? got : 0;
  int32_t end = peek_reply_end(conn);
  if (end != 0) return end;
  send_bytes(conn, ".", 1);
  send_flush(conn);
  do {
    got = recv_rows_200(conn, result);
  } while (got == ROWS_PER_BLOCK);
  return got < 0 ? got : 0;
}

int32_t read_short_reply(ConnRecord* conn) {
  char letter = 0;
  if (!recv_char(conn, &letter)) {
    conn->out_of_step = 1;
    return ZV_NET_ERROR;
  }
  if (letter == 'K') return 0;
  // The letter is not looked at: a warning fails the statement as an error does.
  int32_t rc = recv_reply_text(conn);
  char end = 0;
  if (rc != 0 || !recv_char(conn, &end) || end != 'K') conn->out_of_step = 1;
  return rc != 0 ? rc : ZV_SERVER_ERROR;
}
