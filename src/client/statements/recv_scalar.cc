// The reader of a reply that brings one value: a row id, a count, or the first column of
// the first row of a result.
#include <cstring>

#include "connection/client_text.h"
#include "connection/wire.h"
#include "results/field_access.h"
#include "results/reception.h"
#include "statements/command.h"
#include "statements/reply_reader.h"

namespace {
struct Scalar {
  void* value_buf;
  int32_t value_cap;
  int32_t* type_out;
};

// Every server text is printed here: errors, warnings and messages alike.
int32_t on_scalar_text(ReplyState* st, char letter) {
  int32_t rc = recv_reply_text(st->conn);
  if (rc != 0) return rc;
  const char* line = letter == 'W' ? "Server Warning %s \n" : letter == 'M' ? "Server Message %s \n" : "Server Error %s \n";
  client_print(st->conn, line, st->conn->error_text);
  st->ret = letter == 'W' || letter == 'M' ? 1 : ZV_SERVER_ERROR;
  return REPLY_GO_ON;
}

int32_t on_scalar_row_id(ReplyState* st, char) {
  char bkmk[ROWID_BUF_SIZE] = {};
  if (recv_row_id(st, bkmk) != 0) return ZV_NET_ERROR;
  Scalar* s = static_cast<Scalar*>(st->ctx);
  str_copy_bounded(static_cast<char*>(s->value_buf), s->value_cap, bkmk);
  st->end_value = 1;
  return REPLY_PEEK;
}

int32_t on_scalar_count(ReplyState* st, char letter) {
  int32_t num = 0;
  if (!recv_int32(st->conn, &num) || num < 0) return ZV_NET_ERROR;  // a count is never negative
  memcpy(static_cast<Scalar*>(st->ctx)->value_buf, &num, sizeof num);
  st->ret = st->end_value = letter == 'U' ? 2 : 3;
  return REPLY_PEEK;
}

// The value of a finished result: field 0 of row 0 as text, or type 0 and a zero word.
void report_first_value(ResultRecord* result, const Scalar* s) {
  if (result->row_count == 0 || result->field_count == 0) {
    *s->type_out = 0;
    memset(s->value_buf, 0, 4);
    return;
  }
  *s->type_out = result->fields[0].type;
  int32_t cut = 0;
  field_to_text(result, static_cast<uint8_t*>(s->value_buf), s->value_cap, &cut);
  if (cut) *s->type_out += 100;
}

// "A": the result is the answer when "K" follows it; a result followed by more letters is
// dropped and the reply goes on.
int32_t on_result(ReplyState* st, char) {
  ResultRecord* result = nullptr;
  int32_t rc = read_result_fields(st->conn, &result);
  if (rc != 0) return rc;
  rc = recv_call_rows(st->conn, result);
  if (rc == 0) rc = peek_reply_end(st->conn);
  if (rc == 1) report_first_value(result, static_cast<Scalar*>(st->ctx));
  free_result(result);
  if (rc < 0) return rc;
  if (rc != 1) return REPLY_GO_ON;
  st->ret = 0;
  return REPLY_DONE;
}

// Output values the caller did not ask for are dropped, so that the reply stays in step.
const ReplyLetter kScalarLetters[] = {
    {'E', on_scalar_text},   {'F', on_scalar_text},  {'W', on_scalar_text},           {'M', on_scalar_text},
    {'I', on_scalar_row_id}, {'U', on_scalar_count}, {'D', on_scalar_count},          {'A', on_result},
    {'O', drop_out_value_hook},        {'P', drop_out_value_hook}, {0, nullptr},
};
const ReplyReader kScalar = {kScalarLetters, 0, nullptr};
}  // namespace

int32_t recv_scalar(ConnRecord* conn, void* value_buf, int32_t value_cap, int32_t* type_out) {
  int32_t type_scratch = 0;
  Scalar ctx = {value_buf, value_cap, type_out ? type_out : &type_scratch};
  ReplyState st = {conn, 0, 0, &ctx, false, false};
  return read_reply(&kScalar, &st);
}
