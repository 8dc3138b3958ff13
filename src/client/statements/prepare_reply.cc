// The PREPARE exchange and its reply: field descriptions when the statement will bring rows,
// parameter descriptions when it has placeholders, the server's text when it refuses.
#include <cstdlib>
#include <cstring>

#include "connection/client_text.h"
#include "connection/wire.h"
#include "results/result_record.h"
#include "statements/exchange.h"
#include "statements/param_set.h"
#include "statements/prepare.h"
#include "statements/reply_reader.h"

namespace {
// A described parameter's name, at most; the server's are identifiers.
enum { PARAM_NAME_MAX = 255 };

// A: the fields of the rows the statement will bring; the rows come at its run.
int32_t on_fields(ReplyState* st, char) {
  ResultRecord* result = nullptr;
  int32_t rc = read_result_fields(st->conn, &result);
  if (rc != 0) return rc;
  free_result(st->conn->results);
  st->conn->results = result;
  st->ret = PREPARED_ROWS;
  return REPLY_GO_ON;
}

template <typename T>
bool alloc_table(T** table, int32_t n) {
  *table = static_cast<T*>(client_alloc(sizeof(T) * static_cast<size_t>(n > 0 ? n : 1)));
  return *table != nullptr;
}

// One description: a name and three words, position, type and size.
bool read_one_desc(ConnRecord* conn, ParamSet* set, int32_t i) {
  if (recv_string(conn, &set->names[i]) != 0 || strlen(set->names[i]) > PARAM_NAME_MAX) return false;
  return recv_int32(conn, &set->positions[i]) && recv_int32(conn, &set->types[i]) && recv_int32(conn, &set->sizes[i]);
}

// The descriptions behind "$" into set, whose value tables stay empty until the first bind.
// 0, -4 on a failed read or a count or name out of bounds, -5.
int32_t read_param_desc(ConnRecord* conn, ParamSet* set) {
  int32_t param_num = 0;
  if (!recv_int32(conn, &param_num) || param_num < 0 || param_num > PARAM_MAX) return ZV_NET_ERROR;
  if (!alloc_table(&set->names, param_num) || !alloc_table(&set->positions, param_num) ||
      !alloc_table(&set->types, param_num) || !alloc_table(&set->sizes, param_num))
    return ZV_NO_MEMORY;
  set->count = set->capacity = param_num;
  for (int32_t i = 0; i < param_num; i++)
    if (!read_one_desc(conn, set, i)) return ZV_NET_ERROR;
  return 0;
}

// $: the set the statement's values are to be bound into, in place of the connection's set.
int32_t on_params(ReplyState* st, char) {
  ParamSet* set = new_param_set(ORIGIN_PREPARED);
  if (!set) return ZV_NO_MEMORY;
  int32_t rc = read_param_desc(st->conn, set);
  if (rc != 0) {
    free_param_set(set);
    return rc;
  }
  ConnRecord* conn = st->conn;
  // A standing set is its caller's; it is only let go.
  if (conn->params && conn->params->origin != ORIGIN_STANDING) free_param_set(conn->params);
  conn->params = set;
  return REPLY_GO_ON;
}

// E, F, W, M: the statement was not prepared; a "K" right behind ends the reply.
int32_t on_refusal(ReplyState* st, char) {
  int32_t rc = recv_reply_text(st->conn);
  if (rc != 0) return rc;
  st->ret = st->end_value = ZV_SERVER_ERROR;
  return REPLY_PEEK;
}

const ReplyLetter kPrepareLetters[] = {
    {'A', on_fields},  {'$', on_params},  {'E', on_refusal}, {'F', on_refusal},
    {'W', on_refusal}, {'M', on_refusal}, {0, nullptr},
};
// Any other letter leaves the reply unread behind it, and the link is dropped for it.
const ReplyReader kPrepare = {kPrepareLetters, ZV_NET_ERROR, nullptr};
}  // namespace

int32_t prepare_statement(ConnRecord* conn, const char* sql, const char* name) {
  if (!statement_name_ok(name)) return ZV_BAD_HANDLE;
  size_t cap = strlen(sql) + 32;
  char* text = static_cast<char*>(client_alloc(cap));
  if (!text) return ZV_NO_MEMORY;
  client_sprintf(text, cap, "PREPARE %s AS %s", name, sql);
  Exchange ex;
  bool begun = begin_exchange(&ex, conn, text, false);
  free(text);
  if (!begun) return ZV_NO_MEMORY;
  ReplyState st = {conn, 0, 0, nullptr, false, false};
  int32_t rc = read_reply(&kPrepare, &st);
  // Only a reply read to its "K" without a refusal stands for a prepared statement.
  if (rc >= 0 && !conn->out_of_step) conn->prepared = 1;
  end_exchange(&ex);
  return rc;
}
