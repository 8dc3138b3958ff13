#include "connection/wire.h"

#include <cstdlib>

#include "connection/client_text.h"
#include "connection/link_cipher.h"
#include "zvc.h"

namespace {

enum { RECV_TRIES = 3, CIPHER_CHUNK = 16384 };

// Socket 0 is "not connected": it must never reach the system as descriptor 0.
int64_t sock_send(ConnRecord* conn, const void* buf, int32_t len) {
  if (conn->socket == 0) return -1;
  return plat_socket_send(static_cast<int>(conn->socket), buf, len);
}

// While a link is made, a read waits only for what is left of the one deadline of connect and
// login, so neither silence nor an answer dripped a byte at a time can stretch it; a failed read
// tried again after the deadline fails at once.
int64_t sock_recv(ConnRecord* conn, void* buf, int32_t len) {
  if (conn->socket == 0) return -1;
  int fd = static_cast<int>(conn->socket);
  if (conn->link_deadline != 0) {
    int64_t left = conn->link_deadline - plat_now_ms();
    if (left <= 0 || !plat_socket_wait_readable(fd, static_cast<int32_t>(left))) return -1;
  }
  return plat_socket_recv(fd, buf, len);
}

// Writes and empties send_buf; what it held is dropped when the write fails.
int32_t write_send_buf(ConnRecord* conn) {
  int64_t r = sock_send(conn, conn->send_buf, conn->send_len);
  conn->send_len = 0;
  return static_cast<int32_t>(r);
}

// A bulk block on an enciphered link: the caller's memory stays as it is, so the block is
// enciphered and written a chunk at a time. len, or -1 when a write fails.
int32_t send_enciphered(ConnRecord* conn, const uint8_t* buf, int32_t len) {
  uint8_t chunk[CIPHER_CHUNK];
  for (int32_t done = 0; done < len;) {
    int32_t n = len - done < CIPHER_CHUNK ? len - done : CIPHER_CHUNK;
    memcpy(chunk, buf + done, static_cast<size_t>(n));
    link_cipher_out(conn, chunk, n);
    if (sock_send(conn, chunk, n) < 0) return -1;
    done += n;
  }
  return len;
}

}  // namespace

bool link_deadline_passed(const ConnRecord* conn) {
  return conn->link_deadline != 0 && plat_now_ms() >= conn->link_deadline;
}

bool recv_bytes_general(ConnRecord* conn, void* buf, int32_t len) {
  if (len < 0) return false;
  if (len == 0) return true;
  uint8_t* dst = static_cast<uint8_t*>(buf);
  if (conn->pushback != 0) {
    *dst++ = static_cast<uint8_t>(conn->pushback);
    conn->pushback = 0;
    --len;
  }
  while (len > 0) {
    int32_t got = recv_buffered(conn, dst, len);
    if (got <= 0) return false;
    dst += got;
    len -= got;
  }
  return true;
}

int32_t recv_buffered(ConnRecord* conn, uint8_t* dst, int32_t len) {
  int32_t waiting = conn->recv_len - conn->recv_pos;
  if (waiting > len) {
    memcpy(dst, conn->recv_buf + conn->recv_pos, static_cast<size_t>(len));
    conn->recv_pos += len;
    return len;
  }
  if (waiting > 0) {
    memcpy(dst, conn->recv_buf + conn->recv_pos, static_cast<size_t>(waiting));
    conn->recv_len = conn->recv_pos = 0;
    return waiting;
  }
  // A read of a whole buffer or more goes straight into the caller's memory, not copied twice.
  bool direct = len >= CONN_BUF_SIZE;
  uint8_t* into = direct ? dst : conn->recv_buf;
  // An enciphered link gives up at the first failed read; a plain one tries three times.
  int tries_left = conn->recv_cipher ? 1 : RECV_TRIES;
  int64_t r = 0;
  for (; tries_left > 0 && r <= 0; --tries_left) r = sock_recv(conn, into, direct ? len : CONN_BUF_SIZE);
  if (r <= 0) return -1;
  int32_t got = static_cast<int32_t>(r);
  // Deciphered as they arrive: the buffer, and every read that takes from it, holds plain bytes.
  if (conn->recv_cipher) link_cipher_in(conn, into, got);
  if (direct) return got;
  if (got <= len) {
    memcpy(dst, conn->recv_buf, static_cast<size_t>(got));
    conn->recv_len = conn->recv_pos = 0;
    return got;
  }
  memcpy(dst, conn->recv_buf, static_cast<size_t>(len));
  conn->recv_len = got;
  conn->recv_pos = len;
  return len;
}

int32_t recv_string(ConnRecord* conn, char** out) {
  *out = nullptr;
  int32_t len;
  if (!recv_int32(conn, &len)) return ZV_NET_ERROR;
  // The length comes from the peer: refuse what no reply can honestly carry.
  if (len < 0 || len > WIRE_MAX_STRING) return ZV_NET_ERROR;
  char* text = static_cast<char*>(client_alloc(static_cast<size_t>(len) + 1));
  if (!text) return ZV_NO_MEMORY;
  if (!recv_bytes(conn, text, len)) {
    free(text);
    return ZV_NET_ERROR;
  }
  *out = text;
  return 0;
}

// On an enciphered link a byte is enciphered as it enters send_buf, so the buffer only ever holds
// bytes ready for the wire and the keystream runs in the order of the writes.
int32_t send_bytes(ConnRecord* conn, const void* buf, int32_t len) {
  if (len <= 0) return 0;
  if (len >= WIRE_BYPASS_SIZE) {
    // Bulk data goes from the caller's memory, after whatever the buffer already holds.
    if (conn->send_len > 0 && write_send_buf(conn) < 0) return -1;
    if (conn->send_cipher) return send_enciphered(conn, static_cast<const uint8_t*>(buf), len);
    return static_cast<int32_t>(sock_send(conn, buf, len));
  }
  int32_t r = 0;
  if (conn->send_len + len >= CONN_BUF_SIZE) r = write_send_buf(conn);
  uint8_t* dst = conn->send_buf + conn->send_len;
  memcpy(dst, buf, static_cast<size_t>(len));
  conn->send_len += len;
  if (conn->send_cipher) link_cipher_out(conn, dst, len);
  return r;
}

int32_t send_int16(ConnRecord* conn, int16_t n) {
  uint16_t v = wire_order16(static_cast<uint16_t>(n));
  return send_bytes(conn, &v, 2);
}

int32_t send_int32(ConnRecord* conn, int32_t n) {
  uint32_t v = wire_order32(static_cast<uint32_t>(n));
  return send_bytes(conn, &v, 4);
}

int32_t send_int64(ConnRecord* conn, int64_t n) {
  uint64_t v = wire_order64(static_cast<uint64_t>(n));
  return send_bytes(conn, &v, 8);
}

int32_t send_flush(ConnRecord* conn) {
  if (conn->send_len == 0) return 0;
  return write_send_buf(conn) < 0 ? -1 : 0;
}

int64_t send_direct(ConnRecord* conn, const void* buf, int32_t len) { return sock_send(conn, buf, len); }

int32_t recv_direct(ConnRecord* conn, void* buf, int32_t len) {
  uint8_t* dst = static_cast<uint8_t*>(buf);
  int32_t done = 0;
  while (done < len) {
    int64_t r = sock_recv(conn, dst + done, len - done);
    if (r <= 0) break;
    done += static_cast<int32_t>(r);
  }
  return done;
}

int32_t buf_put_bytes(uint8_t* buf, int32_t* cursor, const void* src, int32_t len) {
  memcpy(buf + *cursor, src, static_cast<size_t>(len));
  *cursor += len;
  return *cursor;
}

int32_t buf_put_int16(uint8_t* buf, int32_t* cursor, int16_t n) {
  uint16_t v = wire_order16(static_cast<uint16_t>(n));
  return buf_put_bytes(buf, cursor, &v, 2);
}

int32_t buf_put_int32(uint8_t* buf, int32_t* cursor, int32_t n) {
  uint32_t v = wire_order32(static_cast<uint32_t>(n));
  return buf_put_bytes(buf, cursor, &v, 4);
}

int32_t buf_put_int64(uint8_t* buf, int32_t* cursor, int64_t n) {
  uint64_t v = wire_order64(static_cast<uint64_t>(n));
  return buf_put_bytes(buf, cursor, &v, 8);
}
