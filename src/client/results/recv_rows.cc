// Rows of a result off the wire: one letter, then one value for each field, decoded by TypeCode
// into a packed row in the result's arena.
#include <climits>
#include <cstdlib>
#include <cstring>

#include "connection/client_text.h"
#include "connection/wire.h"
#include "results/reception.h"
#include "results/row_store.h"

int32_t recv_counted_id(ConnRecord* conn, char* dst, int32_t cap) {
  int32_t len = 0;
  if (!recv_int32(conn, &len) || len < 0 || len > MAX_NAME_LEN) return ZV_NET_ERROR;
  int32_t kept = len < cap ? len : cap;
  if (!recv_bytes(conn, dst, kept)) return ZV_NET_ERROR;
  char rest[256];
  for (int32_t left = len - kept; left > 0;) {
    int32_t n = left < static_cast<int32_t>(sizeof rest) ? left : static_cast<int32_t>(sizeof rest);
    if (!recv_bytes(conn, rest, n)) return ZV_NET_ERROR;
    left -= n;
  }
  return len;
}

// Joins a text received between rows onto the result's message; takes ownership of text. The
// message grows by doubling, with its length kept, so that many small texts cost linear time,
// and stops growing at MAX_MESSAGE_LEN: texts beyond it are read and dropped.
static int32_t add_message(ResultRecord* result, char* text) {
  size_t add_len = strlen(text);
  size_t need = result->message_len + add_len + 1;
  if (need > MAX_MESSAGE_LEN) {
    free(text);
    return 0;
  }
  if (need > result->message_cap) {
    size_t cap = result->message_cap ? result->message_cap : 256;
    while (cap < need) cap *= 2;
    char* grown = static_cast<char*>(realloc(result->message, cap));
    if (!grown) {
      free(text);
      return ZV_NO_MEMORY;
    }
    result->message = grown;
    result->message_cap = cap;
  }
  memcpy(result->message + result->message_len, text, add_len + 1);
  result->message_len += add_len;
  free(text);
  return 0;
}

// Reads letters up to the start of a row. 0 with the row's letter in *letter; ROW_NOT_MINE when the
// letter belongs to the caller; a negative code on failure.
static int32_t recv_row_letter(ConnRecord* conn, ResultRecord* result, char* letter) {
  for (;;) {
    if (!recv_char(conn, letter)) return ZV_NET_ERROR;
    switch (*letter) {
      case 'R':
      case '*':
        return 0;
      case 'E':
      case 'F':
      case 'M':
      case 'W': {
        char* text = nullptr;
        int32_t rc = recv_string(conn, &text);
        if (rc != 0) return rc;
        if (*letter == 'E' || *letter == 'F') result->message_has_error = 1;
        rc = add_message(result, text);
        if (rc != 0) return rc;
        break;
      }
      default:
        conn->pushback = *letter;
        return ROW_NOT_MINE;
    }
  }
}

// A value of d_len bytes into the arena, its FieldValueRef into the slot.
static int32_t recv_variable(ConnRecord* conn, RowArena* arena, uint8_t* slot, int32_t d_len) {
  if (d_len > MAX_VALUE_LEN) return ZV_NET_ERROR;
  uint8_t* bytes = arena_alloc(arena, d_len);
  if (!bytes) return ZV_NO_MEMORY;
  if (!recv_bytes(conn, bytes, d_len)) return ZV_NET_ERROR;
  bytes[d_len] = 0;
  memcpy(slot, &d_len, sizeof d_len);
  memcpy(slot + 8, &bytes, sizeof bytes);
  return 0;
}

// Reads field i's value (d_len at least 1) into its slot and sets its status bits.
static int32_t recv_value(ConnRecord* conn, ResultRecord* result, uint8_t* row, int32_t i, int32_t d_len) {
  const FieldDesc& field = result->fields[i];
  uint8_t* slot = row + ROW_HEADER_SIZE + field.offset;
  // i is never negative: unsigned arithmetic spares the signed division on this hot path.
  uint32_t pair = static_cast<uint32_t>(i);
  uint8_t* status = row + ROW_HEADER_SIZE + pair / 4;
  int32_t null_bit = 1 << (2 * (pair % 4));
  bool ok;
  switch (field.type) {
    case TC_BOOL:
    case TC_TINYINT:
      ok = recv_char(conn, reinterpret_cast<char*>(slot)) != 0;
      break;
    case TC_SMALLINT: {
      int16_t v = 0;
      ok = recv_int16(conn, &v);
      memcpy(slot, &v, sizeof v);
      break;
    }
    case TC_INTEGER:
    case TC_DATE:
    case TC_TIME:
    case TC_INTERVAL_YEAR:
    case TC_INTERVAL_YEAR_MONTH:
    case TC_INTERVAL_MONTH:
    case TC_INTERVAL_DAY:
    case TC_INTERVAL_DAY_HOUR:
    case TC_INTERVAL_HOUR:
    case TC_INTERVAL_DAY_MINUTE:
    case TC_INTERVAL_HOUR_MINUTE:
    case TC_INTERVAL_MINUTE: {
      int32_t v = 0;
      ok = recv_int32(conn, &v);
      memcpy(slot, &v, sizeof v);
      break;
    }
    case TC_BIGINT:
    case TC_DATETIME:
    case TC_INTERVAL_DAY_SECOND:
    case TC_INTERVAL_HOUR_SECOND:
    case TC_INTERVAL_MINUTE_SECOND:
    case TC_INTERVAL_SECOND: {
      int64_t v = 0;
      ok = recv_int64(conn, &v);
      memcpy(slot, &v, sizeof v);
      break;
    }
    case TC_FLOAT: {
      float v = 0;
      ok = recv_float(conn, &v);
      memcpy(slot, &v, sizeof v);
      break;
    }
    case TC_DOUBLE: {
      double v = 0;
      ok = recv_double(conn, &v);
      memcpy(slot, &v, sizeof v);
      break;
    }
    default: {
      int32_t rc = recv_variable(conn, result->arena, slot, d_len);
      if (rc != 0) return rc;
      *status ^= 3 * null_bit;  // null bit off, reference bit on
      return 0;
    }
  }
  if (!ok) return ZV_NET_ERROR;
  *status &= ~null_bit;
  return 0;
}

int32_t recv_row(ConnRecord* conn, ResultRecord* result, uint8_t** row_out) {
  *row_out = nullptr;
  char letter = 0;
  int32_t rc = recv_row_letter(conn, result, &letter);
  if (rc != 0) return rc;
  // A server that sends more than a FETCH asked for could fill the client's memory: the reply is
  // left at the first row too many, and the link with it.
  if (result->row_bound && result->row_count >= result->row_limit) {
    set_error_textf(&conn->error_text, "[EC073]Error the server sent more rows than the %d a FETCH asked for\n",
                    result->row_limit);
    return ZV_NET_ERROR;
  }
  // The arena is made with the first row, so a result without rows costs no row memory.
  if (!result->arena && !(result->arena = arena_create())) return ZV_NO_MEMORY;
  uint8_t* row = new_row(result->arena, result->row_size, result->field_count);
  if (!row) return ZV_NO_MEMORY;
  // A row that failed part-way stays in the arena unreferenced; it goes with the result.
  if (letter == '*' && recv_counted_id(conn, reinterpret_cast<char*>(row) + ROW_PREFIX_OFFSET, ROW_PREFIX_SIZE) < 0)
    return ZV_NET_ERROR;
  for (int32_t i = 0; i < result->field_count; i++) {
    int32_t d_len = 0;
    if (!recv_int32(conn, &d_len)) return ZV_NET_ERROR;
    if (d_len < 1) continue;  // null, as new_row left it
    rc = recv_value(conn, result, row, i, d_len);
    if (rc != 0) return rc;
  }
  *row_out = row;
  return 0;
}

// Reads and stores up to limit rows. A row that the table refuses still counts, so that reception
// stays in step with the reply.
static int32_t recv_rows(ConnRecord* conn, ResultRecord* result, int32_t limit) {
  int32_t count = 0;
  while (count < limit) {
    uint8_t* row = nullptr;
    int32_t rc = recv_row(conn, result, &row);
    if (rc < 0) return rc;
    if (!row) break;
    store_row(result, row);
    count++;
  }
  return count;
}

int32_t recv_rows_200(ConnRecord* conn, ResultRecord* result) { return recv_rows(conn, result, 200); }
int32_t recv_rows_20000(ConnRecord* conn, ResultRecord* result) { return recv_rows(conn, result, ROW_BATCH); }
int32_t recv_rows_all(ConnRecord* conn, ResultRecord* result) { return recv_rows(conn, result, INT_MAX); }
