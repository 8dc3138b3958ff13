// The readers of replies that bring no rows: counts, row ids, server texts, up to "K"; and the
// reader of a call's reply, whose output values go into the bound parameters.
#include <cstring>

#include "connection/client_text.h"
#include "connection/wire.h"
#include "results/reception.h"
#include "statements/command.h"
#include "statements/out_values.h"
#include "statements/reply_reader.h"

namespace {
struct NoQuery {
  int32_t num;            // row ids received
  ParamSet* set;          // the call's parameters, where output values go
  ResultRecord* result;   // the rows of a call's reply
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
  client_print(st->conn, letter == 'W' ? "Server Warning %s \n" : "Server Message %s \n", st->conn->error_text);
  st->ret = 1;
  return REPLY_GO_ON;
}

int32_t on_noquery_row_id(ReplyState* st, char) {
  char bkmk[ROWID_BUF_SIZE] = {};
  if (recv_row_id(st, bkmk) != 0) return ZV_NET_ERROR;
  memcpy(st->conn->last_rowid, bkmk, ROWID_BUF_SIZE);
  st->end_value = ++static_cast<NoQuery*>(st->ctx)->num;
  return REPLY_PEEK;
}

int32_t on_noquery_count(ReplyState* st, char) {
  int32_t count = 0;
  // A count is never negative: one that is would read as a failure code, so the reply is broken.
  if (!recv_int32(st->conn, &count) || count < 0) return ZV_NET_ERROR;
  st->ret = st->end_value = count;
  return REPLY_PEEK;
}

// Every failed read of these readers says so through the notice hook; those inside "I", "U" and "D"
// also leave their own text.
void on_failure(ConnRecord* conn, char letter) {
  if (letter == 'I') {
    client_print(conn, "Insert Prop NetError  \n");
    set_error_text(&conn->error_text, "[EC004]Insert Prop NetError");
  } else if (letter == 'U' || letter == 'D') {
    client_print(conn, "Update Prop NetError  \n");
    set_error_text(&conn->error_text, "[EC004]Update Prop NetError");
  } else if (letter == 0) {
    client_print(conn, "Net Error %s \n", "recv_noQuery");
  }
}

// Rows of a statement run as one that brings none (a SELECT behind another statement) are not
// wanted here, but what follows them is; output values the caller did not bind are dropped.
const ReplyLetter kNoQueryLetters[] = {
    {'E', on_error},  {'F', on_error}, {'W', on_notice},          {'M', on_notice},
    {'I', on_noquery_row_id}, {'U', on_noquery_count}, {'D', on_noquery_count},           {'A', drop_result_hook},
    {'O', drop_out_value_hook},        {'P', drop_out_value_hook}, {0, nullptr},
};
const ReplyReader kNoQuery = {kNoQueryLetters, READ_RET, on_failure};

void op_failure(ConnRecord* conn, char letter) {
  if (letter == 0) client_print(conn, "Net Error %s \n", "recv_noQuery_OP");
}

// "O" and "P": the value goes into the bound parameter; a cut value or a missing parameter sets
// the reply's result, and the reply goes on.
int32_t on_out_value(ReplyState* st, char letter) {
  int32_t rc = recv_out_value(st->conn, static_cast<NoQuery*>(st->ctx)->set, letter == 'O');
  if (rc == ZV_TRUNCATED || rc == ZV_OUT_UNBOUND) {
    st->ret = rc;
    return REPLY_GO_ON;
  }
  return rc < 0 ? rc : REPLY_GO_ON;
}

// A call's rows, all of them, as a one-value reply reads them. A result followed by "K" is the
// reply's; one followed by other letters gives way to what comes. The status is its row count.
int32_t on_call_rows(ReplyState* st, char) {
  NoQuery* q = static_cast<NoQuery*>(st->ctx);
  ResultRecord* result = static_cast<ResultRecord*>(client_alloc(sizeof(ResultRecord)));
  if (!result) return ZV_NO_MEMORY;
  result->kind = HT_RESULT;
  result->result_kind = RK_ROWS;
  result->conn = st->conn;
  free_result(q->result);
  q->result = result;
  int32_t rc = read_field_descs(st->conn, result);
  if (rc == 0) rc = recv_call_rows(st->conn, result);
  if (rc < 0) return rc;
  st->ret = st->end_value = row_count_int32(result);
  return rc == 1 ? REPLY_DONE : REPLY_PEEK;
}

const ReplyLetter kCallLetters[] = {
    {'E', on_error}, {'F', on_error}, {'W', on_notice}, {'M', on_notice},
    {'O', on_out_value}, {'P', on_out_value}, {'A', on_call_rows}, {0, nullptr},
};
const ReplyReader kNoQueryOp = {kCallLetters, READ_RET, op_failure};
}  // namespace

int32_t recv_noQuery(ConnRecord* conn) {
  NoQuery ctx = {};
  ReplyState st = {conn, 0, 0, &ctx, false, false};
  return read_reply(&kNoQuery, &st);
}

int32_t recv_noQuery_OP(ConnRecord* conn, ParamSet* set, ResultRecord** result_out) {
  NoQuery ctx = {0, set, nullptr};
  ReplyState st = {conn, 0, 0, &ctx, false, false};
  int32_t rc = read_reply(&kNoQueryOp, &st);
  if (ctx.result && !st.failed && result_out)
    *result_out = ctx.result;
  else
    free_result(ctx.result);
  return rc;
}
