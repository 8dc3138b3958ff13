// Wire primitives over local socket pairs.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "connection/client_text.h"
#include "connection/wire.h"
#include "peer.h"
#include "zvc.h"

namespace {

// Each socket write of the client arrives at `peer` as one packet.
struct Link {
  Link() {
    int fds[2];
    socketpair(AF_UNIX, SOCK_SEQPACKET, 0, fds);
    conn = static_cast<ConnRecord*>(client_alloc(sizeof(ConnRecord)));
    conn->socket = fds[0];
    peer = fds[1];
  }
  ~Link() {
    ZVC_CloseConnection(&conn);
    if (peer >= 0) close(peer);
  }
  std::vector<std::string> packets() {
    std::vector<std::string> out;
    std::vector<char> buf(65536);
    for (ssize_t n; (n = recv(peer, buf.data(), buf.size(), MSG_DONTWAIT)) > 0;) out.emplace_back(buf.data(), n);
    return out;
  }
  ConnRecord* conn;
  int peer;
};

template <class T>
T read(ConnRecord* conn, bool (*recv)(ConnRecord*, T*)) {
  T value{};
  EXPECT_TRUE(recv(conn, &value));
  return value;
}

}  // namespace

TEST(WireWrite, BufferingAndBypass) {
  Link link;
  std::string small(8191, 's');
  for (char c : small) ASSERT_EQ(send_bytes(link.conn, &c, 1), 0);
  EXPECT_TRUE(link.packets().empty());
  EXPECT_EQ(send_bytes(link.conn, "Z", 1), 8191);  // reaching 8192 sends the 8191 first
  EXPECT_EQ(link.packets(), std::vector<std::string>{small});
  EXPECT_EQ(send_flush(link.conn), 0);
  EXPECT_EQ(link.packets(), std::vector<std::string>{"Z"});
  EXPECT_EQ(send_flush(link.conn), 0);
  EXPECT_TRUE(link.packets().empty());

  std::string ten(10, 't'), bulk(2049, 'b');
  ASSERT_EQ(send_bytes(link.conn, ten.data(), 10), 0);
  EXPECT_EQ(send_bytes(link.conn, bulk.data(), 2049), 2049);
  EXPECT_EQ(link.packets(), (std::vector<std::string>{ten, bulk}));
  EXPECT_EQ(send_bytes(link.conn, bulk.data(), 2048), 0);  // one byte less stays buffered
  EXPECT_TRUE(link.packets().empty());
}

TEST(WireWrite, Failures) {
  Link link;
  // A dead peer fails without a signal and drops the buffer.
  close(link.peer);
  link.peer = -1;
  send_int32(link.conn, 7);
  EXPECT_EQ(send_flush(link.conn), -1);
  EXPECT_EQ(link.conn->send_len, 0);
}

TEST(WireRead, TypedValuesAndPushback) {
  StreamPeer peer(std::string("\x00\x00\x01\x02\xff\xfe\x80\x00\x00\x00\x00\x00\x00\x01", 14) +
                  std::string("\x3f\xc0\x00\x00\xc0\x02\x00\x00\x00\x00\x00\x00", 12) + "\x01\x02\x03X");
  ConnRecord* conn = peer.conn;
  EXPECT_EQ(read(conn, recv_int32), 258);
  EXPECT_EQ(read(conn, recv_int16), -2);
  EXPECT_EQ(read(conn, recv_int64), INT64_MIN + 1);
  EXPECT_EQ(read(conn, recv_float), 1.5f);
  EXPECT_EQ(read(conn, recv_double), -2.25);
  conn->pushback = 'A';
  EXPECT_EQ(read(conn, recv_int32), 0x41010203);
  // Behind the handed-back byte the buffer held one byte more than the read took: it stays.
  char got[2];
  EXPECT_EQ(1, recv_char(conn, got));
  EXPECT_EQ('X', got[0]);
  conn->pushback = 'P';
  EXPECT_TRUE(recv_bytes(conn, got, 0));  // a zero-length read leaves the pushback in place
  EXPECT_EQ(conn->pushback, 'P');
  // At the end of the stream a read fails and leaves its output alone.
  int32_t n = 7;
  EXPECT_FALSE(recv_int32(conn, &n));
  EXPECT_EQ(n, 7);
}

TEST(WireRead, StringsAndRefusedLengths) {
  StreamPeer peer(wire_str("") + wire_str("hello") + be32(-5) + be32(WIRE_MAX_STRING + 1) + wire_str("ok") +
                  be32(10) + "abc");
  char* text = nullptr;
  for (const char* want : {"", "hello"}) {
    EXPECT_EQ(recv_string(peer.conn, &text), 0);
    ASSERT_NE(text, nullptr);  // length 0 gives "", not null
    EXPECT_STREQ(text, want);
    free(text);
  }
  for (const char* what : {"negative", "huge"}) {
    EXPECT_EQ(recv_string(peer.conn, &text), ZV_NET_ERROR) << what;
    EXPECT_EQ(text, nullptr);
  }
  EXPECT_EQ(recv_string(peer.conn, &text), 0);  // a refused length reads no further
  EXPECT_STREQ(text, "ok");
  free(text);
  EXPECT_EQ(recv_string(peer.conn, &text), ZV_NET_ERROR);  // cut short
}
