#include "statements/lob_fetch.h"

#include <cctype>
#include <cstdlib>
#include <cstring>

#include "connection/client_text.h"
#include "connection/wire.h"
#include "results/lob_chain.h"
#include "results/reception.h"
#include "statements/command.h"
#include "statements/exchange.h"
#include "zvc.h"

namespace {
// A descriptor: 13 characters naming the object, one separator, the length in digits.
enum { LOB_DESC_LEN = 13, LOB_DIGITS_AT = 14, LOB_MAX_DIGITS = 10 };

// Splits desc_text into the name and the length digits. The name goes inside quotes of a
// statement, so only printable characters other than a quote are taken.
bool parse_descriptor(const char* text, char* lob_desc, char* digits, int64_t* length) {
  size_t n = strlen(text);
  if (n <= LOB_DIGITS_AT || n - LOB_DIGITS_AT > LOB_MAX_DIGITS) return false;
  for (int i = 0; i < LOB_DESC_LEN; i++) {
    if (!isgraph(static_cast<unsigned char>(text[i])) || text[i] == '\'') return false;
  }
  *length = 0;
  for (const char* p = text + LOB_DIGITS_AT; *p; p++) {
    if (!isdigit(static_cast<unsigned char>(*p))) return false;
    *length = *length * 10 + (*p - '0');
  }
  if (*length > INT32_MAX) return false;
  memcpy(lob_desc, text, LOB_DESC_LEN);
  lob_desc[LOB_DESC_LEN] = '\0';
  strcpy(digits, text + LOB_DIGITS_AT);
  return true;
}

// The descriptions of the fetch reply's one column tell nothing new: read and thrown away.
int32_t skip_field_descs(ConnRecord* conn) {
  int32_t field_num = 0;
  if (!recv_int32(conn, &field_num)) return ZV_NET_ERROR;
  if (field_num < 0 || field_num > MAX_FIELDS) return ZV_NET_ERROR;
  FieldDesc* fields = static_cast<FieldDesc*>(client_alloc(sizeof(FieldDesc) * field_num));
  if (!fields) return ZV_NO_MEMORY;
  int32_t rc = 0;
  for (int32_t i = 0; i < field_num && rc == 0; i++) rc = read_field_desc(conn, &fields[i]);
  free_field_descs(fields, field_num);
  if (rc == ZV_NO_MEMORY) return ZV_NO_MEMORY;
  return rc == 0 ? 0 : -4;
}

// An error instead of the object: its text goes to the handle, and the closing letter is read.
int32_t recv_fetch_error(ConnRecord* conn, LobHandle* lob) {
  char* text = nullptr;
  int32_t rc = recv_string(conn, &text);
  if (rc != 0) return rc == ZV_NO_MEMORY ? ZV_NO_MEMORY : ZV_NET_ERROR;
  free(lob->error_text);
  lob->error_text = text;
  char ch = 0;
  if (!recv_char(conn, &ch)) return ZV_NET_ERROR;
  return ZV_SERVER_ERROR;
}

// Reads n bytes of the object straight into the free space of the chain.
int32_t recv_piece(ConnRecord* conn, LobHandle* lob, int32_t n) {
  while (n > 0) {
    int32_t room = 0;
    uint8_t* dst = lob_tail(lob, &room);
    if (!dst) return ZV_NO_MEMORY;
    int32_t part = n < room ? n : room;
    if (!recv_bytes(conn, dst, part)) return ZV_NET_ERROR;
    lob->size += part;
    n -= part;
  }
  return 0;
}

// A reply of another form ends the fetch quietly with what arrived; what is left of it in the
// socket would be misread by the next reply, so the link is marked out of step.
int32_t fetch_left_form(ConnRecord* conn) {
  conn->out_of_step = 1;
  return 0;
}

// "A", the column descriptions, "R", then pieces, each behind a non-zero word, up to a zero
// word. Nothing follows that word. Pieces are at most one chunk long and never carry the
// object past the length that was asked for. A bare "K" is the server's answer for a descriptor
// it does not know: the reply ends there in step, with no object.
int32_t recv_fetch_reply(ConnRecord* conn, LobHandle* lob, int64_t limit) {
  char ch = 0;
  if (!recv_char(conn, &ch)) return ZV_NET_ERROR;
  if (ch == 'K') return 0;
  if (ch == 'E' || ch == 'F') return recv_fetch_error(conn, lob);
  if (ch != 'A') return fetch_left_form(conn);
  int32_t rc = skip_field_descs(conn);
  if (rc != 0) return rc;
  if (!recv_char(conn, &ch)) return ZV_NET_ERROR;
  if (ch != 'R') return fetch_left_form(conn);
  for (;;) {
    int32_t db_len = 0;
    int32_t data_len = 0;
    if (!recv_int32(conn, &db_len)) return ZV_NET_ERROR;
    if (db_len == 0) return 0;
    if (!recv_int32(conn, &data_len)) return ZV_NET_ERROR;
    if (data_len < 0 || data_len > LOB_CHUNK_SIZE || lob->size + data_len > limit) return ZV_NET_ERROR;
    rc = recv_piece(conn, lob, data_len);
    if (rc != 0) return rc;
  }
}
}  // namespace

int32_t recv_lob(ConnRecord* conn, LobHandle* lob) {
  char lob_desc[LOB_DESC_LEN + 1];
  char digits[LOB_MAX_DIGITS + 1];
  int64_t limit = 0;
  if (!lob->desc_text || !parse_descriptor(lob->desc_text, lob_desc, digits, &limit)) {
    set_error_text(&lob->error_text, "[EC099]Error the lob descriptor is malformed");
    return ZV_NO_CONVERSION;
  }
  if (!conn) return ZV_NET_ERROR;
  char cmdsql[128];
  client_sprintf(cmdsql, sizeof cmdsql, "get lob '%s' offset 0 limit %s ", lob_desc, digits);
  // The fetch runs between the caller's statements: parameters bound for the next one stay.
  Exchange ex;
  if (!begin_exchange(&ex, conn, cmdsql, false)) return ZV_NO_MEMORY;
  int32_t rc = recv_fetch_reply(conn, lob, limit);
  if (rc < 0 && rc != ZV_SERVER_ERROR) conn->out_of_step = 1;
  end_exchange(&ex);
  return rc;
}
