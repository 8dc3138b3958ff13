// Wire primitives and the platform layer under them, over local socket pairs.
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>
#include <fcntl.h>

#include <cstring>
#include <string>
#include <vector>

#include "connection/client_text.h"
#include "connection/wire.h"
#include "peer.h"
#include "zvc.h"

namespace {

// A record whose socket is one end of a local socket pair. With SOCK_SEQPACKET every
// socket write of the client arrives as one packet, so the test sees how many writes it made.
struct Link {
  explicit Link(int type = SOCK_STREAM) {
    int fds[2];
    socketpair(AF_UNIX, type, 0, fds);
    conn = static_cast<ConnRecord*>(client_alloc(sizeof(ConnRecord)));
    conn->kind = HT_CONN;
    conn->socket = fds[0];
    peer = fds[1];
  }
  ~Link() {
    if (conn) ZVC_CloseConnection(&conn);
    if (peer >= 0) close(peer);
  }
  void feed(const std::string& bytes) { ASSERT_EQ(write(peer, bytes.data(), bytes.size()), (ssize_t)bytes.size()); }
  void end() { shutdown(peer, SHUT_WR); }
  void drop_peer() {
    close(peer);
    peer = -1;
  }
  // Every packet (or, on a stream, every chunk) the client wrote so far.
  std::vector<std::string> packets() {
    std::vector<std::string> out;
    std::vector<char> buf(65536);
    for (;;) {
      ssize_t n = recv(peer, buf.data(), buf.size(), MSG_DONTWAIT);
      if (n <= 0) break;
      out.emplace_back(buf.data(), static_cast<size_t>(n));
    }
    return out;
  }
  ConnRecord* conn;
  int peer;
};

std::string pattern(size_t n, int seed) {
  std::string s(n, '\0');
  for (size_t i = 0; i < n; ++i) s[i] = static_cast<char>((i * 7 + seed) & 0xff);
  return s;
}

}  // namespace

TEST(WireWrite, SmallWritesStayBufferedUntilTheBufferWouldFill) {
  Link link(SOCK_SEQPACKET);
  std::string sent;
  for (int i = 0; i < 8191; ++i) {
    char c = static_cast<char>(i);
    sent += c;
    ASSERT_EQ(send_bytes(link.conn, &c, 1), 0);
  }
  EXPECT_TRUE(link.packets().empty());
  EXPECT_EQ(link.conn->send_len, 8191);

  // The write that brings the total to 8192 sends the 8191 first and starts the buffer again.
  EXPECT_EQ(send_bytes(link.conn, "Z", 1), 8191);
  std::vector<std::string> first = link.packets();
  ASSERT_EQ(first.size(), 1u);
  EXPECT_EQ(first[0], sent);
  EXPECT_EQ(link.conn->send_len, 1);

  EXPECT_EQ(send_flush(link.conn), 0);
  std::vector<std::string> last = link.packets();
  ASSERT_EQ(last.size(), 1u);
  EXPECT_EQ(last[0], "Z");

  // An empty buffer makes no socket call; a zero-length write buffers nothing.
  EXPECT_EQ(send_flush(link.conn), 0);
  EXPECT_EQ(send_bytes(link.conn, "x", 0), 0);
  EXPECT_EQ(send_flush(link.conn), 0);
  EXPECT_TRUE(link.packets().empty());
}

TEST(WireWrite, BlocksOf2049BytesBypassTheBuffer) {
  Link link(SOCK_SEQPACKET);
  std::string ten = pattern(10, 1), bulk = pattern(2049, 2), mid = pattern(2048, 3);

  ASSERT_EQ(send_bytes(link.conn, ten.data(), 10), 0);
  EXPECT_EQ(send_bytes(link.conn, bulk.data(), 2049), 2049);
  std::vector<std::string> got = link.packets();
  ASSERT_EQ(got.size(), 2u);
  EXPECT_EQ(got[0], ten);
  EXPECT_EQ(got[1], bulk);
  EXPECT_EQ(link.conn->send_len, 0);

  // With nothing buffered, one write; 2048 bytes are still buffered.
  EXPECT_EQ(send_bytes(link.conn, bulk.data(), 2049), 2049);
  EXPECT_EQ(link.packets().size(), 1u);
  EXPECT_EQ(send_bytes(link.conn, mid.data(), 2048), 0);
  EXPECT_TRUE(link.packets().empty());
  EXPECT_EQ(send_bytes(link.conn, mid.data(), 2048), 0);
  EXPECT_EQ(send_bytes(link.conn, mid.data(), 2048), 0);
  EXPECT_EQ(send_bytes(link.conn, mid.data(), 2048), 6144);  // 6144 + 2048 reaches 8192
  EXPECT_EQ(send_flush(link.conn), 0);
  got = link.packets();
  ASSERT_EQ(got.size(), 2u);
  EXPECT_EQ(got[0], mid + mid + mid);
  EXPECT_EQ(got[1], mid);
}

TEST(WireWrite, IntegersGoBigEndianAndFailuresAreReported) {
  Link link;
  send_int16(link.conn, -2);
  send_int32(link.conn, 258);
  send_int64(link.conn, 0x0102030405060708LL);
  send_bytes(link.conn, "Q", 1);
  ASSERT_EQ(send_flush(link.conn), 0);
  std::string got;
  for (const std::string& p : link.packets()) got += p;
  EXPECT_EQ(got, std::string("\xff\xfe\x00\x00\x01\x02\x01\x02\x03\x04\x05\x06\x07\x08Q", 15));

  uint8_t block[32];
  int32_t cursor = 3;
  EXPECT_EQ(buf_put_int16(block, &cursor, 0x0a0b), 5);
  EXPECT_EQ(buf_put_int32(block, &cursor, -1), 9);
  EXPECT_EQ(buf_put_int64(block, &cursor, 1), 17);
  EXPECT_EQ(buf_put_bytes(block, &cursor, "ab", 2), 19);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(block) + 3, 16),
            std::string("\x0a\x0b\xff\xff\xff\xff\x00\x00\x00\x00\x00\x00\x00\x01" "ab", 16));

  // A dead peer: the write fails without a signal and the buffer is dropped.
  link.drop_peer();
  send_int32(link.conn, 7);
  EXPECT_EQ(send_flush(link.conn), -1);
  EXPECT_EQ(link.conn->send_len, 0);
  std::string bulk = pattern(3000, 4);
  send_int32(link.conn, 7);
  EXPECT_EQ(send_bytes(link.conn, bulk.data(), 3000), -1);
  EXPECT_EQ(link.conn->send_len, 0);

  // An unconnected record never writes to descriptor 0.
  int fd = static_cast<int>(link.conn->socket);
  link.conn->socket = 0;
  send_int32(link.conn, 7);
  EXPECT_EQ(send_flush(link.conn), -1);
  EXPECT_EQ(send_direct(link.conn, "x", 1), -1);
  close(fd);
}

TEST(WireRead, TypedValuesAreBigEndian) {
  Link link;
  link.feed(std::string("\x00\x00\x01\x02", 4) + "\xff\xfe" + std::string("\x80\x00\x00\x00\x00\x00\x00\x01", 8) +
            std::string("\x3f\xc0\x00\x00", 4) + std::string("\xc0\x02\x00\x00\x00\x00\x00\x00", 8) + "K");
  link.end();
  int32_t i32 = 0;
  int16_t i16 = 0;
  int64_t i64 = 0;
  float f = 0;
  double d = 0;
  char ch = 0;
  EXPECT_TRUE(recv_int32(link.conn, &i32));
  EXPECT_EQ(i32, 258);
  EXPECT_TRUE(recv_int16(link.conn, &i16));
  EXPECT_EQ(i16, -2);
  EXPECT_TRUE(recv_int64(link.conn, &i64));
  EXPECT_EQ(i64, INT64_MIN + 1);
  EXPECT_TRUE(recv_float(link.conn, &f));
  EXPECT_EQ(f, 1.5f);
  EXPECT_TRUE(recv_double(link.conn, &d));
  EXPECT_EQ(d, -2.25);
  EXPECT_EQ(recv_char(link.conn, &ch), 1);
  EXPECT_EQ(ch, 'K');

  // At the end of the stream every read fails and leaves its output alone.
  EXPECT_EQ(recv_char(link.conn, &ch), 0);
  EXPECT_EQ(ch, 'K');
  EXPECT_FALSE(recv_int32(link.conn, &i32));
  EXPECT_EQ(i32, 258);
  EXPECT_FALSE(recv_double(link.conn, &d));
  EXPECT_EQ(d, -2.25);
}

TEST(WireRead, PushbackComesFirst) {
  Link link;
  link.feed("\x01\x02\x03XYZ");
  link.conn->pushback = 'A';
  int32_t n = 0;
  EXPECT_TRUE(recv_int32(link.conn, &n));
  EXPECT_EQ(n, 0x41010203);
  EXPECT_EQ(link.conn->pushback, 0);

  // A pushed-back byte alone satisfies a one-byte read without touching the socket.
  int32_t waiting = link.conn->recv_len - link.conn->recv_pos;
  link.conn->pushback = 'R';
  char got[1] = {0};
  EXPECT_TRUE(recv_bytes(link.conn, got, 1));
  EXPECT_EQ(got[0], 'R');
  EXPECT_EQ(link.conn->recv_len - link.conn->recv_pos, waiting);
  char rest[3];
  EXPECT_TRUE(recv_bytes(link.conn, rest, 3));
  EXPECT_EQ(std::string(rest, 3), "XYZ");

  // A zero-length read returns at once and leaves the pushback in place.
  link.conn->pushback = 'P';
  EXPECT_TRUE(recv_bytes(link.conn, rest, 0));
  EXPECT_EQ(link.conn->pushback, 'P');
  EXPECT_FALSE(recv_bytes(link.conn, rest, -1));
}

TEST(WireRead, BufferedReadsFollowTheSocketAndTheBuffer) {
  Link link;
  link.feed("ABCDEFGH");
  uint8_t out[16];
  // One socket read brings all eight; two are handed out and six wait.
  EXPECT_EQ(recv_buffered(link.conn, out, 2), 2);
  EXPECT_EQ(link.conn->recv_len, 8);
  EXPECT_EQ(link.conn->recv_pos, 2);
  // Asking for exactly what waits empties the buffer.
  EXPECT_EQ(recv_buffered(link.conn, out, 6), 6);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(out), 6), "CDEFGH");
  EXPECT_EQ(link.conn->recv_len, 0);
  EXPECT_EQ(link.conn->recv_pos, 0);
  // Asking for more than waits delivers what there is.
  link.feed("IJ");
  EXPECT_EQ(recv_buffered(link.conn, out, 16), 2);
  link.feed("KLMN");
  EXPECT_EQ(recv_buffered(link.conn, out, 1), 1);
  EXPECT_EQ(recv_buffered(link.conn, out, 16), 3);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(out), 3), "LMN");
  link.end();
  EXPECT_EQ(recv_buffered(link.conn, out, 4), -1);

  // The same through the inline readers: exactly what waits also empties the buffer.
  Link exact;
  exact.feed(be32(5) + be32(6));
  int32_t a = 0, b = 0;
  EXPECT_TRUE(recv_int32(exact.conn, &a));
  EXPECT_TRUE(recv_int32(exact.conn, &b));
  EXPECT_EQ(a, 5);
  EXPECT_EQ(b, 6);
  EXPECT_EQ(exact.conn->recv_len, 0);
  EXPECT_EQ(exact.conn->recv_pos, 0);
}

TEST(WireRead, ValuesAcrossBufferBoundariesAndLargeBlocks) {
  Link link;
  // A letter first, so that integers straddle the 8192-byte refills.
  std::string stream = "R";
  for (int32_t i = 0; i < 5000; ++i) stream += be32(static_cast<int32_t>(i * 2654435761u));
  std::string block = pattern(20000, 9);
  stream += block + be64(-42);
  link.feed(stream);
  link.end();
  char ch = 0;
  ASSERT_EQ(recv_char(link.conn, &ch), 1);
  EXPECT_EQ(ch, 'R');
  for (int32_t i = 0; i < 5000; ++i) {
    int32_t n = 0;
    ASSERT_TRUE(recv_int32(link.conn, &n));
    ASSERT_EQ(n, static_cast<int32_t>(i * 2654435761u)) << i;
  }
  std::string got(20000, '\0');
  ASSERT_TRUE(recv_bytes(link.conn, &got[0], 20000));
  EXPECT_EQ(got, block);
  int64_t tail = 0;
  EXPECT_TRUE(recv_int64(link.conn, &tail));
  EXPECT_EQ(tail, -42);
  EXPECT_FALSE(recv_bytes(link.conn, &got[0], 1));
}

TEST(WireRead, StringsAndRefusedLengths) {
  Link link;
  link.feed(wire_str("") + wire_str("hello") + be32(-1) + be32(WIRE_MAX_STRING + 1) + be32(INT32_MAX) +
            be32(10) + "abc");
  link.end();
  char* text = reinterpret_cast<char*>(1);
  EXPECT_EQ(recv_string(link.conn, &text), 0);
  ASSERT_NE(text, nullptr);
  EXPECT_STREQ(text, "");
  free(text);
  EXPECT_EQ(recv_string(link.conn, &text), 0);
  EXPECT_STREQ(text, "hello");
  free(text);
  // Negative and absurd lengths are failed reads: nothing is allocated for them.
  EXPECT_EQ(recv_string(link.conn, &text), ZV_NET_ERROR);
  EXPECT_EQ(text, nullptr);
  EXPECT_EQ(recv_string(link.conn, &text), ZV_NET_ERROR);
  EXPECT_EQ(text, nullptr);
  EXPECT_EQ(recv_string(link.conn, &text), ZV_NET_ERROR);
  EXPECT_EQ(text, nullptr);
  // A body cut short frees the block.
  EXPECT_EQ(recv_string(link.conn, &text), ZV_NET_ERROR);
  EXPECT_EQ(text, nullptr);
  EXPECT_EQ(recv_string(link.conn, &text), ZV_NET_ERROR);

  // An unconnected record never reads descriptor 0.
  int fd = static_cast<int>(link.conn->socket);
  link.conn->socket = 0;
  int32_t n = 9;
  EXPECT_FALSE(recv_int32(link.conn, &n));
  EXPECT_EQ(n, 9);
  close(fd);
}

TEST(WirePlatform, SocketOptionsSemaphoreAndByteOrder) {
  uint32_t one = 1;
  EXPECT_EQ(swap_on_wire, *reinterpret_cast<uint8_t*>(&one) == 1);

  int fd = plat_socket_open(1500);
  ASSERT_GT(fd, 0);
  int value = 0;
  socklen_t len = sizeof value;
  getsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &value, &len);
  EXPECT_NE(value, 0);
  getsockopt(fd, SOL_SOCKET, SO_KEEPALIVE, &value, &len);
  EXPECT_NE(value, 0);
  getsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &value, &len);
  EXPECT_NE(value, 0);
  timeval tv{};
  len = sizeof tv;
  getsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &tv, &len);
  EXPECT_EQ(tv.tv_sec, 1);
  EXPECT_EQ(tv.tv_usec, 500000);
  plat_socket_set_abortive(fd);
  linger lng{};
  len = sizeof lng;
  getsockopt(fd, SOL_SOCKET, SO_LINGER, &lng, &len);
  EXPECT_EQ(lng.l_onoff, 1);
  EXPECT_EQ(lng.l_linger, 0);
  plat_socket_close(fd);

  fd = plat_socket_open(0);
  len = sizeof tv;
  getsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &tv, &len);
  EXPECT_EQ(tv.tv_sec, 0);
  EXPECT_EQ(tv.tv_usec, 0);
  plat_socket_close(fd);

  // With descriptor 0 free the socket still lands above it.
  int saved_stdin = dup(0);
  close(0);
  fd = plat_socket_open(0);
  EXPECT_GT(fd, 0);
  EXPECT_EQ(fcntl(0, F_GETFD), -1);
  plat_socket_close(fd);
  dup2(saved_stdin, 0);
  close(saved_stdin);

  EXPECT_EQ(plat_inet_addr("127.0.0.1"), htonl(INADDR_LOOPBACK));
  EXPECT_EQ(plat_inet_addr("not an address"), INADDR_NONE);

  Semaphore* sem = plat_sem_create(0);
  ASSERT_NE(sem, nullptr);
  EXPECT_NE(sem_trywait(sem), 0);
  plat_sem_signal(sem);
  plat_sem_wait(sem);
  EXPECT_NE(sem_trywait(sem), 0);
  plat_sem_signal(sem);
  plat_sem_signal(sem);
  int count = 0;
  sem_getvalue(sem, &count);
  EXPECT_EQ(count, 2);
  plat_sem_close(sem);
}
