// Typed wire primitives over a connection's socket and its 8192-byte buffers.
// Integers and floats travel big-endian; text and raw bytes as they are. On an enciphered link
// every byte either way passes the keystream: sent bytes as they are written, received bytes as
// they come off the socket, so the buffers and every read and write here stay the same.
#pragma once
#include <cstdint>
#include <cstring>
#include "connection/conn_record.h"

// The longest string recv_string accepts; longer or negative lengths are failed reads.
enum { WIRE_MAX_STRING = 64 * 1024 * 1024 };
// Blocks of this size and up go to the socket past the send buffer.
enum { WIRE_BYPASS_SIZE = 2049 };

// True while a link is made and logged in and the deadline of connect_timeout has come.
bool link_deadline_passed(const ConnRecord* conn);

// The general read: pushback first, then the receive buffer and the socket. The inline
// reads below take their bytes straight from recv_buf when they can and fall back to it.
bool recv_bytes_general(ConnRecord* conn, void* buf, int32_t len);
// Delivers up to len bytes from the receive buffer or one socket read; -1 after 3 failed tries.
int32_t recv_buffered(ConnRecord* conn, uint8_t* dst, int32_t len);
// Heap string, NUL-terminated, owned by the caller. 0; -4 on a failed or refused read; -5 out of memory.
int32_t recv_string(ConnRecord* conn, char** out);

int32_t send_bytes(ConnRecord* conn, const void* buf, int32_t len);
int32_t send_int16(ConnRecord* conn, int16_t n);
int32_t send_int32(ConnRecord* conn, int32_t n);
int32_t send_int64(ConnRecord* conn, int64_t n);
int32_t send_flush(ConnRecord* conn);
// Writes straight to the socket, past the send buffer and the keystream (the login). The socket's
// result, -1 when unconnected.
int64_t send_direct(ConnRecord* conn, const void* buf, int32_t len);
// Reads len bytes straight from the socket, past the receive buffer and the keystream (the login's
// key exchange). The count that arrived before the link failed or closed.
int32_t recv_direct(ConnRecord* conn, void* buf, int32_t len);

// Memory-buffer writers: store at *cursor, advance it, return its new value.
int32_t buf_put_bytes(uint8_t* buf, int32_t* cursor, const void* src, int32_t len);
int32_t buf_put_int16(uint8_t* buf, int32_t* cursor, int16_t n);
int32_t buf_put_int32(uint8_t* buf, int32_t* cursor, int32_t n);
int32_t buf_put_int64(uint8_t* buf, int32_t* cursor, int64_t n);

// Byte order between the machine and the wire.
inline uint16_t wire_order16(uint16_t v) { return swap_on_wire ? __builtin_bswap16(v) : v; }
inline uint32_t wire_order32(uint32_t v) { return swap_on_wire ? __builtin_bswap32(v) : v; }
inline uint64_t wire_order64(uint64_t v) { return swap_on_wire ? __builtin_bswap64(v) : v; }

// The next len bytes when they all wait in recv_buf and no letter was handed back, else null.
// Taking exactly what waits empties the buffer, as recv_buffered does.
inline const uint8_t* wire_take_buffered(ConnRecord* conn, int32_t len) {
  if (conn->pushback != 0 || len < 0 || conn->recv_len - conn->recv_pos < len) return nullptr;
  const uint8_t* p = conn->recv_buf + conn->recv_pos;
  conn->recv_pos += len;
  if (conn->recv_pos == conn->recv_len) conn->recv_len = conn->recv_pos = 0;
  return p;
}

// The next len bytes (len up to 8): straight from the buffer, or gathered into tmp. Null on failure.
inline const uint8_t* wire_take(ConnRecord* conn, uint8_t* tmp, int32_t len) {
  const uint8_t* p = wire_take_buffered(conn, len);
  if (p) return p;
  return recv_bytes_general(conn, tmp, len) ? tmp : nullptr;
}

// Exactly len bytes; true, or false on a failed socket read.
inline bool recv_bytes(ConnRecord* conn, void* buf, int32_t len) {
  const uint8_t* p = wire_take_buffered(conn, len);
  if (!p) return recv_bytes_general(conn, buf, len);
  memcpy(buf, p, static_cast<size_t>(len));
  return true;
}

// One byte as it is: 1, or 0 on failure.
inline int recv_char(ConnRecord* conn, char* ch) {
  uint8_t tmp[1];
  const uint8_t* p = wire_take(conn, tmp, 1);
  if (!p) return 0;
  *ch = static_cast<char>(p[0]);
  return 1;
}

inline bool recv_int16(ConnRecord* conn, int16_t* n) {
  uint8_t tmp[2];
  const uint8_t* p = wire_take(conn, tmp, 2);
  if (!p) return false;
  uint16_t v;
  memcpy(&v, p, 2);
  *n = static_cast<int16_t>(wire_order16(v));
  return true;
}

inline bool recv_int32(ConnRecord* conn, int32_t* n) {
  uint8_t tmp[4];
  const uint8_t* p = wire_take(conn, tmp, 4);
  if (!p) return false;
  uint32_t v;
  memcpy(&v, p, 4);
  *n = static_cast<int32_t>(wire_order32(v));
  return true;
}

inline bool recv_int64(ConnRecord* conn, int64_t* n) {
  uint8_t tmp[8];
  const uint8_t* p = wire_take(conn, tmp, 8);
  if (!p) return false;
  uint64_t v;
  memcpy(&v, p, 8);
  *n = static_cast<int64_t>(wire_order64(v));
  return true;
}

inline bool recv_float(ConnRecord* conn, float* f) {
  uint8_t tmp[4];
  const uint8_t* p = wire_take(conn, tmp, 4);
  if (!p) return false;
  uint32_t v;
  memcpy(&v, p, 4);
  v = wire_order32(v);
  memcpy(f, &v, 4);
  return true;
}

inline bool recv_double(ConnRecord* conn, double* f) {
  uint8_t tmp[8];
  const uint8_t* p = wire_take(conn, tmp, 8);
  if (!p) return false;
  uint64_t v;
  memcpy(&v, p, 8);
  v = wire_order64(v);
  memcpy(f, &v, 8);
  return true;
}
