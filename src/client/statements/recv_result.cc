// The letters of a reply that brings rows, read into a chain of ResultRecords (recv_result) or
// into one record (recv_result_all, for fetches from a named cursor).
#include <cstdlib>
#include <cstring>

#include "connection/client_text.h"
#include "connection/wire.h"
#include "results/reception.h"
#include "results/row_store.h"

enum { VERBOSE_ALL = 1, VERBOSE_ERRORS = 2, VERBOSE_WARNINGS = 4 };

// E, F, W, M: the server's text replaces the connection's error text, with a line on standard
// output as verbose_mode asks. Returns the status that the letter gives, or the read's failure.
static int32_t recv_server_text(ConnRecord* conn, char letter) {
  char* text = nullptr;
  int32_t rc = recv_string(conn, &text);
  if (rc != 0) return rc;
  int32_t status = 0;
  if (letter == 'E' || letter == 'F') {
    if (conn->verbose_mode & (VERBOSE_ALL | VERBOSE_ERRORS)) client_print("[EC031]Error in recv result :%s \n", text);
    status = -1;
  } else if (letter == 'W') {
    if (conn->verbose_mode & (VERBOSE_ALL | VERBOSE_WARNINGS))
      client_print("[WC032]Server Warning in recv result :%s \n", text);
  } else {
    client_print("[MC033]Server send message :%s \n", text);
  }
  free(conn->error_text);
  conn->error_text = text;
  return status;
}

static bool is_server_text(char letter) { return letter == 'E' || letter == 'F' || letter == 'W' || letter == 'M'; }

// A new empty record behind last (or as head when the chain is empty).
static ResultRecord* append_record(ResultRecord** head, ResultRecord** last, int32_t result_kind) {
  ResultRecord* record = static_cast<ResultRecord*>(client_alloc(sizeof(ResultRecord)));
  if (!record) return nullptr;
  record->kind = HT_RESULT;
  record->result_kind = result_kind;
  if (*last)
    (*last)->next = record;
  else
    *head = record;
  *last = record;
  return record;
}

// I: the row id goes to the connection and to a record of its own; the chain's head counts it.
static int32_t recv_insert(ConnRecord* conn, ResultRecord** head, ResultRecord** last) {
  char bkmk[32] = {0};
  if (!recv_counted_id(conn, bkmk, sizeof bkmk - 1)) return -4;
  memcpy(conn->last_rowid, bkmk, sizeof bkmk);
  conn->rowid_valid = 1;
  ResultRecord* record = append_record(head, last, RK_INSERT);
  if (!record) return -5;
  memcpy(record->row_id, bkmk, sizeof bkmk);
  (*head)->effect_count++;
  return 0;
}

// A: field descriptions, then rows in batches until one comes short. Returns the last batch's
// count, or a failure.
static int32_t recv_rows_result(ConnRecord* conn, ResultRecord* record) {
  record->conn = conn;
  int32_t rc = read_field_descs(conn, record);
  if (rc != 0) return rc;
  do {
    rc = recv_rows_20000(conn, record);
  } while (rc == ROW_BATCH);
  return rc;
}

// One letter of recv_result. 1 when the reply has ended, else 0 with *status updated, or a failure.
static int32_t recv_result_letter(ConnRecord* conn, char letter, ResultRecord** head, ResultRecord** last,
                                  int32_t* status) {
  if (is_server_text(letter)) {
    int32_t rc = recv_server_text(conn, letter);
    if (rc < -1) return rc;
    *status = rc;
    return 0;
  }
  switch (letter) {
    case 'U':
    case 'D': {
      int32_t count = 0;
      if (!recv_int32(conn, &count)) return -4;
      ResultRecord* record = append_record(head, last, letter == 'U' ? RK_UPDATE : RK_DELETE);
      if (!record) return -5;
      record->effect_count = count;
      return 0;
    }
    case 'I':
      return recv_insert(conn, head, last);
    case 'A': {
      ResultRecord* record = append_record(head, last, RK_ROWS);
      if (!record) return -5;
      int32_t rc = recv_rows_result(conn, record);
      if (rc < 0) return rc;
      *status = rc;
      return 0;
    }
    default:  // K, or a letter that no reply of this kind carries
      return 1;
  }
}

int32_t recv_result(ConnRecord* conn, ResultRecord** result_out) {
  int32_t status = 0;
  ResultRecord* head = nullptr;
  ResultRecord* last = nullptr;
  for (;;) {
    char letter = 0;
    int32_t rc = recv_char(conn, &letter) ? recv_result_letter(conn, letter, &head, &last, &status) : -4;
    if (rc < 0) {
      // The caller never sees a chain of a failed reply.
      free_result_chain(head);
      return rc;
    }
    if (rc == 1) {
      *result_out = head;
      return status;
    }
  }
}

// A: the record is made on the first A; a later A replaces its descriptions and rows.
static int32_t refill_record(ConnRecord* conn, ResultRecord** record) {
  if (!*record) {
    *record = static_cast<ResultRecord*>(client_alloc(sizeof(ResultRecord)));
    if (!*record) return -5;
    (*record)->kind = HT_RESULT;
    (*record)->result_kind = RK_ROWS;
  }
  ResultRecord* rec = *record;
  clear_rows(rec);
  free_field_descs(rec->fields, rec->field_count);
  rec->fields = nullptr;
  rec->field_count = 0;
  rec->conn = conn;
  int32_t rc = read_field_descs(conn, rec);
  if (rc != 0) return rc;
  return recv_rows_all(conn, rec);
}

int32_t recv_result_all(ConnRecord* conn, ResultRecord** result_out) {
  int32_t status = 0;
  ResultRecord* record = nullptr;
  for (;;) {
    char letter = 0;
    int32_t rc = -4;
    if (recv_char(conn, &letter)) {
      if (is_server_text(letter)) {
        rc = recv_server_text(conn, letter);
        if (rc >= -1) {  // -1 is the server's error: a status, not a failed read
          status = rc;
          continue;
        }
      } else if (letter == 'A') {
        rc = refill_record(conn, &record);
        if (rc >= 0) {
          status = rc;
          continue;
        }
      } else {
        break;  // K, or a letter that this reply does not carry
      }
    }
    free_result(record);
    return rc;
  }
  *result_out = record;
  return status;
}
