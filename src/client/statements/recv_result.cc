// The letters of a reply that brings rows, read into a chain of ResultRecords (recv_result) or
// into one record (recv_result_all, for fetches from a named cursor).
#include <cstring>

#include "connection/client_text.h"
#include "connection/wire.h"
#include "results/reception.h"
#include "results/row_store.h"
#include "statements/command.h"
#include "statements/reply_reader.h"

namespace {
enum { VERBOSE_ALL = 1, VERBOSE_ERRORS = 2, VERBOSE_WARNINGS = 4 };

// The chain being built: its head, and its last record, behind which the next one goes; and
// the rows each of its results may hold, or NO_ROW_LIMIT.
struct Chain {
  ResultRecord* head;
  ResultRecord* last;
  int32_t row_limit;
};

// The record that one "A" of a FETCH's reply fills, and the rows it may hold.
struct Fetched {
  ResultRecord* record;
  int32_t row_limit;
};

void bound_rows(ResultRecord* record, int32_t row_limit) {
  record->row_bound = row_limit != NO_ROW_LIMIT;
  record->row_limit = row_limit;
}

// E, F, W, M: the server's text replaces the connection's error text, with a line to the notice hook
// as verbose_mode asks. An error makes the status -1, a warning or message 0.
int32_t on_text(ReplyState* st, char letter) {
  int32_t rc = recv_reply_text(st->conn);
  if (rc != 0) return rc;
  const char* text = st->conn->error_text;
  int32_t mode = st->conn->verbose_mode;
  if (letter == 'E' || letter == 'F') {
    if (mode & (VERBOSE_ALL | VERBOSE_ERRORS)) client_print(st->conn, "[EC031]Error in recv result :%s \n", text);
  } else if (letter == 'W') {
    if (mode & (VERBOSE_ALL | VERBOSE_WARNINGS)) client_print(st->conn, "[WC032]Server Warning in recv result :%s \n", text);
  } else {
    client_print(st->conn, "[MC033]Server send message :%s \n", text);
  }
  st->ret = letter == 'E' || letter == 'F' ? ZV_SERVER_ERROR : 0;
  return REPLY_GO_ON;
}

ResultRecord* new_record(int32_t result_kind) {
  ResultRecord* record = static_cast<ResultRecord*>(client_alloc(sizeof(ResultRecord)));
  if (!record) return nullptr;
  record->kind = HT_RESULT;
  record->result_kind = result_kind;
  return record;
}

// A new empty record behind the chain's last (or as head when the chain is empty).
ResultRecord* append_record(ReplyState* st, int32_t result_kind) {
  Chain* chain = static_cast<Chain*>(st->ctx);
  ResultRecord* record = new_record(result_kind);
  if (!record) return nullptr;
  if (chain->last)
    chain->last->next = record;
  else
    chain->head = record;
  chain->last = record;
  return record;
}

int32_t on_count(ReplyState* st, char letter) {
  int32_t count = 0;
  if (!recv_int32(st->conn, &count) || count < 0) return ZV_NET_ERROR;  // a count is never negative
  ResultRecord* record = append_record(st, letter == 'U' ? RK_UPDATE : RK_DELETE);
  if (!record) return ZV_NO_MEMORY;
  record->effect_count = count;
  return REPLY_GO_ON;
}

// I: the row id goes to the connection and to a record of its own; the chain's head counts it.
int32_t on_row_id(ReplyState* st, char) {
  char bkmk[ROWID_BUF_SIZE] = {0};
  if (recv_row_id(st, bkmk) != 0) return ZV_NET_ERROR;
  memcpy(st->conn->last_rowid, bkmk, sizeof bkmk);
  st->conn->rowid_valid = 1;
  ResultRecord* record = append_record(st, RK_INSERT);
  if (!record) return ZV_NO_MEMORY;
  memcpy(record->row_id, bkmk, sizeof bkmk);
  static_cast<Chain*>(st->ctx)->head->effect_count++;
  return REPLY_GO_ON;
}

// A: field descriptions, then rows in batches until one comes short; the status is the last
// batch's count.
int32_t on_rows(ReplyState* st, char) {
  ResultRecord* record = append_record(st, RK_ROWS);
  if (!record) return ZV_NO_MEMORY;
  record->conn = st->conn;
  bound_rows(record, static_cast<Chain*>(st->ctx)->row_limit);
  int32_t rc = read_field_descs(st->conn, record);
  if (rc != 0) return rc;
  do {
    rc = recv_rows_20000(st->conn, record);
  } while (rc == ROW_BATCH);
  if (rc < 0) return rc;
  st->ret = rc;
  return REPLY_GO_ON;
}

const ReplyLetter kResultLetters[] = {
    {'E', on_text},  {'F', on_text},   {'W', on_text},   {'M', on_text}, {'U', on_count},
    {'D', on_count}, {'I', on_row_id}, {'A', on_rows},   {0, nullptr},
};
const ReplyReader kResult = {kResultLetters, READ_RET, nullptr};

// A of a cursor fetch: the record is made on the first A; a later A replaces its descriptions
// and rows.
int32_t on_refill(ReplyState* st, char) {
  Fetched* fetched = static_cast<Fetched*>(st->ctx);
  if (!fetched->record && !(fetched->record = new_record(RK_ROWS))) return ZV_NO_MEMORY;
  ResultRecord* rec = fetched->record;
  clear_rows(rec);
  free_field_descs(rec->fields, rec->field_count);
  rec->fields = nullptr;
  rec->field_count = 0;
  rec->conn = st->conn;
  bound_rows(rec, fetched->row_limit);
  int32_t rc = read_field_descs(st->conn, rec);
  if (rc == 0) rc = recv_rows_all(st->conn, rec);
  if (rc < 0) return rc;
  st->ret = rc;
  return REPLY_GO_ON;
}

const ReplyLetter kFetchLetters[] = {
    {'E', on_text}, {'F', on_text}, {'W', on_text}, {'M', on_text}, {'A', on_refill}, {0, nullptr},
};
const ReplyReader kFetch = {kFetchLetters, READ_RET, nullptr};
}  // namespace

int32_t recv_fetch(ConnRecord* conn, int32_t row_limit, ResultRecord** result_out) {
  Chain chain = {nullptr, nullptr, row_limit};
  ReplyState st = {conn, 0, 0, &chain, false, false};
  int32_t rc = read_reply(&kResult, &st);
  if (st.failed) {
    // The caller never sees a chain of a failed reply.
    free_result_chain(chain.head);
    return rc;
  }
  *result_out = chain.head;
  return rc;
}

int32_t recv_fetch_all(ConnRecord* conn, int32_t row_limit, ResultRecord** result_out) {
  Fetched fetched = {nullptr, row_limit};
  ReplyState st = {conn, 0, 0, &fetched, false, false};
  int32_t rc = read_reply(&kFetch, &st);
  if (st.failed) {
    free_result(fetched.record);
    return rc;
  }
  *result_out = fetched.record;
  return rc;
}

int32_t recv_result(ConnRecord* conn, ResultRecord** result_out) {
  return recv_fetch(conn, NO_ROW_LIMIT, result_out);
}

int32_t recv_result_all(ConnRecord* conn, ResultRecord** result_out) {
  return recv_fetch_all(conn, NO_ROW_LIMIT, result_out);
}
