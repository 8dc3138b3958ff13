// An array-bound set behind a batch's command: row 0 as parameter records, then the other rows
// packed into blocks (an int32 byte count and the values), each block holding whole rows. The
// server counts the rows from the command word, so no mark ends the blocks.
#include <cstdlib>
#include <cstring>

#include "connection/client_text.h"
#include "connection/wire.h"
#include "statements/param_array.h"
#include "statements/send_params.h"

namespace {
enum {
  PACK_BUFFER = 512000,  // packed rows gather here, so that the socket sees a few large writes
  PACK_SPARE = 64000,    // once less than this is free behind a row, the rows go out
  VALUE_HEAD = 5,        // the type byte and the length in front of a value
};

// Rows from 1 on as they are packed: whole rows up to mark, the row being packed behind it.
struct Packer {
  ConnRecord* conn;
  uint8_t* buf;
  int32_t size;
  int32_t off;   // bytes used
  int32_t mark;  // the end of the last whole row
  bool utp;      // a type byte in front of each value
  const ArrayType** types;  // each slot's layout, looked up once
};

void write_block(Packer* pk, int32_t len) {
  send_int32(pk->conn, len);
  send_bytes(pk->conn, pk->buf, len);
}

// Room for need more bytes. The whole rows go out first and the part of the row being packed
// moves to the front, so that no block ends inside a row; a row that the buffer cannot hold by
// itself makes it larger. False when the buffer cannot grow.
bool make_room(Packer* pk, int64_t need) {
  if (pk->off + need <= pk->size) return true;
  if (pk->mark > 0) {
    write_block(pk, pk->mark);
    memmove(pk->buf, pk->buf + pk->mark, static_cast<size_t>(pk->off - pk->mark));
    pk->off -= pk->mark;
    pk->mark = 0;
    if (pk->off + need <= pk->size) return true;
  }
  int64_t size = pk->size + need;
  if (size > INT32_MAX) return false;  // a block's count is an int32
  uint8_t* grown = static_cast<uint8_t*>(realloc(pk->buf, static_cast<size_t>(size)));
  if (!grown) return false;
  pk->buf = grown;
  pk->size = static_cast<int32_t>(size);
  return true;
}

bool pack_row(Packer* pk, const ParamSet* set, int32_t row) {
  for (int32_t i = 0; i < set->count; i++) {
    ArrayValue v = array_value(set, pk->types[i], i, row);
    if (!make_room(pk, static_cast<int64_t>(v.length) + VALUE_HEAD)) return false;
    if (pk->utp) {
      uint8_t code = static_cast<uint8_t>(v.wire_type);
      buf_put_bytes(pk->buf, &pk->off, &code, 1);
    }
    buf_put_int32(pk->buf, &pk->off, v.length);
    put_array_value(pk->buf, &pk->off, v);
  }
  if (pk->off > pk->size - PACK_SPARE || pk->off > PACK_BUFFER) {
    write_block(pk, pk->off);
    pk->off = 0;
  }
  pk->mark = pk->off;
  return true;
}

void send_first_row(ConnRecord* conn, const ParamSet* set, const ArrayType** types) {
  for (int32_t i = 0; i < set->count; i++) {
    ArrayValue v = array_value(set, types[i], i, 0);
    send_param_header(conn, set, i, v.wire_type, v.length);
    if (v.width > 0) {
      uint8_t number[8];
      int32_t n = 0;
      put_array_value(number, &n, v);
      send_bytes(conn, number, n);
    } else if (v.length > 0) {
      send_bytes(conn, v.bytes, v.length);
    }
  }
}
}  // namespace

int32_t send_params_array(ConnRecord* conn, ParamSet* set) {
  const ArrayType** types =
      static_cast<const ArrayType**>(client_alloc(sizeof(ArrayType*) * static_cast<size_t>(set->count)));
  Packer pk = {conn, static_cast<uint8_t*>(client_alloc(PACK_BUFFER)), PACK_BUFFER, 0, 0,
               strcmp(conn->version, "201") != 0, types};
  bool ok = pk.buf != nullptr && types != nullptr;
  for (int32_t i = 0; ok && i < set->count; i++) types[i] = array_slot_type(set, i);
  // Without memory for the packing nothing goes out, and the caller marks the link out of step.
  if (ok) send_first_row(conn, set, types);
  for (int32_t row = 1; ok && row < set->array_size; row++) ok = pack_row(&pk, set, row);
  if (ok && pk.mark > 0) write_block(&pk, pk.mark);
  free(pk.buf);
  free(types);
  free_params(set);
  return ok ? 0 : ZV_NO_MEMORY;
}
