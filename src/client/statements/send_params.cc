// The parameter records that follow a command whose parameter word is not 0: name, direction,
// type, data length and payload for each parameter in table order.
#include "statements/send_params.h"

#include <cstring>

#include "connection/client_text.h"
#include "connection/wire.h"
#include "results/lob.h"

namespace {
// How a CType goes out: its TypeCode, and the width of a fixed-size value (0: bytes as bound,
// -1: a large object, -2: nothing at all).
struct WireForm {
  int32_t type;
  int32_t width;
};
enum { BYTES = 0, LARGE_OBJECT = -1, EMPTY = -2 };

WireForm wire_form(int32_t ctype) {
  switch (ctype) {
    case 0: return {TC_CHAR, EMPTY};
    case CT_BOOL: return {TC_BOOL, BYTES};
    case CT_BYTE: return {TC_TINYINT, BYTES};
    case CT_INT16: return {TC_SMALLINT, 2};
    case CT_INT32: return {TC_INTEGER, 4};
    case CT_INT64: return {TC_BIGINT, 8};
    case CT_FLOAT: return {TC_FLOAT, 4};
    case CT_DOUBLE: return {TC_DOUBLE, 8};
    case CT_BINARY: return {TC_BINARY, BYTES};
    case CT_EPOCH_MS: return {TC_DATETIME, 8};
    case CT_LOB_BINARY:
    case CT_BLOB: return {TC_BLOB, LARGE_OBJECT};
    case CT_CLOB: return {TC_CLOB, LARGE_OBJECT};
    case CT_CLOB43: return {TC_CLOB47, LARGE_OBJECT};
    case CT_CLOB44: return {TC_CLOB64, LARGE_OBJECT};
    case CT_EMPTY58: return {TC_EMPTY1008, EMPTY};
    default: return {TC_CHAR, BYTES};  // text, dates and times as text, and every other code
  }
}

// A fixed-size value goes out in its own width, read from a zero-padded copy, so that a length
// bound short never reads past the value nor puts the stream out of step.
void send_fixed(ConnRecord* conn, const void* value, int32_t length, int32_t width) {
  uint8_t v[8] = {};
  memcpy(v, value, static_cast<size_t>(length < width ? length : width));
  if (width == 2) {
    int16_t n;
    memcpy(&n, v, 2);
    send_int16(conn, n);
  } else if (width == 4) {
    int32_t n;
    memcpy(&n, v, 4);
    send_int32(conn, n);
  } else {
    int64_t n;
    memcpy(&n, v, 8);
    send_int64(conn, n);
  }
}

// The handle behind a large-object parameter's value, when it is one.
LobHandle* lob_of_value(const void* value, int32_t length) {
  if (!value || length < static_cast<int32_t>(sizeof(LobHandle*))) return nullptr;
  LobHandle* lob;
  memcpy(&lob, value, sizeof lob);
  return lob && lob->kind == HT_LOB ? lob : nullptr;
}

// A complete object goes out chunk after chunk from the head of its list; one still open for
// writing has no payload. A failed send of a BLOB chunk ends the records at once.
int32_t send_lob(ConnRecord* conn, const ParamSet* set, int32_t i, int32_t type, LobHandle* lob) {
  bool complete = lob && lob->state == LOB_COMPLETE;
  int64_t size = complete ? lob->size : 0;
  send_param_header(conn, set, i, type, static_cast<int32_t>(size));
  for (LobChunk* chunk = complete ? lob->first_chunk : nullptr; chunk && size > 0; chunk = chunk->next) {
    int32_t part = size < LOB_CHUNK_SIZE ? static_cast<int32_t>(size) : LOB_CHUNK_SIZE;
    if (send_bytes(conn, chunk->data, part) == -1 && type == TC_BLOB) {
      client_print(conn, "send param net Error for BLOB");
      return -1;
    }
    size -= part;
  }
  return 0;
}

int32_t send_record(ConnRecord* conn, const ParamSet* set, int32_t i) {
  WireForm form = wire_form(set->types[i]);
  const void* value = set->values[0][i];
  int32_t length = set->lengths[i] && value ? *set->lengths[i] : 0;
  if (length < 0) length = 0;
  // An output buffer is the caller's: no more of it goes out than the size it was bound with.
  if (set->directions[i] != DIR_IN && length > set->sizes[i]) length = set->sizes[i] > 0 ? set->sizes[i] : 0;
  if (form.width == LARGE_OBJECT) return send_lob(conn, set, i, form.type, lob_of_value(value, length));
  if (form.width == EMPTY || length == 0) {
    send_param_header(conn, set, i, form.type, 0);
  } else if (form.width == BYTES) {
    send_param_header(conn, set, i, form.type, length);
    send_bytes(conn, value, length);
  } else {
    send_param_header(conn, set, i, form.type, form.width);
    send_fixed(conn, value, length, form.width);
  }
  return 0;
}
}  // namespace

void send_param_header(ConnRecord* conn, const ParamSet* set, int32_t i, int32_t type, int32_t data_len) {
  const char* name = set->names ? set->names[i] : nullptr;
  int16_t name_len = name ? static_cast<int16_t>(strnlen(name, INT16_MAX)) : 0;
  send_int16(conn, name_len);
  send_bytes(conn, name, name_len);
  // A slot that a later position jumped over goes out with direction 0 and no value: the server
  // tells that no value was bound for it.
  send_int16(conn, static_cast<int16_t>(set->directions[i]));
  send_int16(conn, static_cast<int16_t>(type));
  send_int32(conn, data_len);
}

int32_t param_word(const ParamSet* set) {
  int32_t records = set->count;
  for (int32_t i = 0; i < set->count; i++)
    if (set->directions && set->directions[i] == DIR_RETURN) records--;
  return records;
}

int32_t send_params(ConnRecord* conn, ParamSet* set) {
  // An array-bound set has no one-row form.
  if (set->array_size > 0) return 0;
  int32_t rc = 0;
  for (int32_t i = 0; i < set->count && rc == 0; i++) {
    if (set->directions[i] == DIR_RETURN) continue;  // a return value has no record
    rc = send_record(conn, set, i);
  }
  if (set->origin != ORIGIN_STANDING) free_params(set);
  return rc;
}
