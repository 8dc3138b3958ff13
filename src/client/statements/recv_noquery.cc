// The reader of a reply that brings no rows: counts, row ids, server texts, up to "K".
#include <cstring>

#include "connection/client_text.h"
#include "connection/wire.h"
#include "results/reception.h"
#include "statements/command.h"
#include "statements/reply_reader.h"

namespace {
struct NoQuery {
  int32_t num;  // row ids received
};

int32_t on_error(ReplyState* st, char) {
  int32_t rc = recv_reply_text(st->conn);
  if (rc != 0) return rc;
  st->ret = ZV_SERVER_ERROR;
  return REPLY_GO_ON;
}

int32_t on_notice(ReplyState* st, char letter) {
  int32_t rc = recv_reply_text(st->conn);
  if (rc != 0) return rc;
  client_print(letter == 'W' ? "Server Warning %s \n" : "Server Message %s \n", st->conn->error_text);
  st->ret = 1;
  return REPLY_GO_ON;
}

int32_t on_row_id(ReplyState* st, char) {
  // An id longer than 31 bytes is cut; the rest is read past, so the reply stays in step.
  char bkmk[ROWID_BUF_SIZE] = {};
  if (!recv_counted_id(st->conn, bkmk, ROWID_BUF_SIZE - 1)) return ZV_NET_ERROR;
  memcpy(st->conn->last_rowid, bkmk, ROWID_BUF_SIZE);
  st->end_value = ++static_cast<NoQuery*>(st->ctx)->num;
  return REPLY_PEEK;
}

int32_t on_count(ReplyState* st, char) {
  int32_t count = 0;
  if (!recv_int32(st->conn, &count)) return ZV_NET_ERROR;
  st->ret = st->end_value = count;
  return REPLY_PEEK;
}

// Every failed read of this reader says so on standard output; those inside "I", "U" and "D"
// also leave their own text.
void on_failure(ConnRecord* conn, char letter) {
  if (letter == 'I') {
    client_print("Insert Prop NetError  \n");
    set_error_text(&conn->error_text, "[EC004]Insert Prop NetError");
  } else if (letter == 'U' || letter == 'D') {
    client_print("Update Prop NetError  \n");
    set_error_text(&conn->error_text, "[EC004]Update Prop NetError");
  } else if (letter == 0) {
    client_print("Net Error %s \n", "recv_noQuery");
  }
}

// Rows of a statement run as one that brings none (a SELECT behind another statement) are not
// wanted here, but what follows them is; output values the caller did not bind are dropped.
const ReplyLetter kLetters[] = {
    {'E', on_error},  {'F', on_error}, {'W', on_notice},          {'M', on_notice},
    {'I', on_row_id}, {'U', on_count}, {'D', on_count},           {'A', drop_result_hook},
    {'O', drop_out_value_hook},        {'P', drop_out_value_hook}, {0, nullptr},
};
const ReplyReader kNoQuery = {kLetters, READ_RET, on_failure};
}  // namespace

int32_t recv_noQuery(ConnRecord* conn) {
  NoQuery ctx = {};
  ReplyState st = {conn, 0, 0, &ctx, false};
  return read_reply(&kNoQuery, &st);
}
