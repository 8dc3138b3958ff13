// Opening, logging in, reconnecting and closing against scripted peers.
#include <gtest/gtest.h>
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "connection/client_text.h"
#include "connection/conn_string.h"
#include "connection/login.h"
#include "peer.h"
#include "zvc.h"

namespace {

const std::string default_text =
    "login database = SYSTEM user='U' password='P' lock_timeout = 300 auto_commit = 'on' "
    "return_cursor_id  = 'on' version = '301'";

struct Opened {
  int32_t rc = 0;
  ConnRecord* conn = nullptr;
  std::string sent;
  ~Opened() {
    if (conn) ZVC_CloseConnection(&conn);
  }
};

// Opens against a peer that reads `expect` bytes, answers `reply` and closes.
void open_with(Opened* out, const std::string& extra, size_t expect, const std::string& reply) {
  ScriptedPeer peer;
  peer.expect(expect).send(reply).close();
  peer.start();
  out->rc = ZVC_OpenConnection(peer.conn_string(extra).c_str(), &out->conn);
  out->sent = peer.received();
}

// A record connected to the peer but not logged in, as the open call leaves it before the login.
ConnRecord* connected(const ScriptedPeer& peer, const std::string& extra) {
  ConnRecord* conn = static_cast<ConnRecord*>(client_alloc(sizeof(ConnRecord)));
  conn->kind = HT_CONN;
  conn->lock_timeout = 300;
  strcpy(conn->version, "301");
  parse_conn_string(peer.conn_string(extra).c_str(), conn);
  conn->ltimeout = 10000;
  EXPECT_TRUE(net_connect(conn));
  return conn;
}

// A port on 127.0.0.1 that is bound but not listening: connecting to it is refused.
struct DeadPort {
  DeadPort() {
    fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr);
    socklen_t len = sizeof addr;
    getsockname(fd, reinterpret_cast<sockaddr*>(&addr), &len);
    port = ntohs(addr.sin_port);
  }
  ~DeadPort() { close(fd); }
  int fd;
  uint16_t port;
};

}  // namespace

TEST(LoginText, PlainClausesByteForByte) {
  struct Case {
    const char* extra;
    const char* text;
  };
  const Case cases[] = {
      {"", default_text.c_str()},
      {";CHAR_SET=GBK",
       "login database = SYSTEM user='U' password='P' char_set = 'GBK' lock_timeout = 300 auto_commit = 'on' "
       "return_cursor_id  = 'on' version = '301'"},
      {";ISO_LEVEL=READ COMMITTED",
       "login database = SYSTEM user='U' password='P' iso_level = 'READ COMMITTED' lock_timeout = 300 "
       "auto_commit = 'on' return_cursor_id  = 'on' version = '301'"},
      {";CURRENT_SCHEMA=S1",
       "login database = SYSTEM user='U' password='P' current_schema = 'S1' lock_timeout = 300 auto_commit = 'on' "
       "return_cursor_id  = 'on' version = '301'"},
      {";COMPATIBLE_MODE=MYSQL",
       "login database = SYSTEM user='U' password='P' compatible_mode = 'MYSQL' lock_timeout = 300 "
       "auto_commit = 'on' return_cursor_id  = 'on' version = '301'"},
      {";KEYWORD_FILTER=kw",
       "login database = SYSTEM user='U' password='P' keyword_filter='kw' lock_timeout = 300 auto_commit = 'on' "
       "return_cursor_id  = 'on' version = '301'"},
      {";LOCK_TIMEOUT=0",
       "login database = SYSTEM user='U' password='P' auto_commit = 'on' return_cursor_id  = 'on' version = '301'"},
      {";LOCK_TIMEOUT=-1",
       "login database = SYSTEM user='U' password='P' lock_timeout = -1 auto_commit = 'on' "
       "return_cursor_id  = 'on' version = '301'"},
      {";AUTO_COMMIT=off",
       "login database = SYSTEM user='U' password='P' lock_timeout = 300 auto_commit = 'off' "
       "return_cursor_id  = 'on' version = '301'"},
      {";RETURN_CURSOR_ID=off",
       "login database = SYSTEM user='U' password='P' lock_timeout = 300 auto_commit = 'on' version = '301'"},
      {";LOB_RET=x",
       "login database = SYSTEM user='U' password='P' lock_timeout = 300 auto_commit = 'on' "
       "return_cursor_id  = 'on' lob_ret  =descriptor version = '301'"},
      {";LOB_RET=1;KEYWORD_FILTER=k;COMPATIBLE_MODE=m;CURRENT_SCHEMA=s;ISO_LEVEL=i;CHAR_SET=c;LOCK_TIMEOUT=5;"
       "AUTO_COMMIT=false;PWD=",
       "login database = SYSTEM user='U' password='' char_set = 'c' iso_level = 'i' current_schema = 's' "
       "compatible_mode = 'm' keyword_filter='k' lock_timeout = 5 auto_commit = 'off' return_cursor_id  = 'on' "
       "lob_ret  =descriptor version = '301'"},
  };
  for (const Case& c : cases) {
    Opened opened;
    open_with(&opened, c.extra, strlen(c.text), "K");
    EXPECT_EQ(opened.sent, c.text) << c.extra;
    EXPECT_EQ(opened.rc, 2) << c.extra;
    ASSERT_NE(opened.conn, nullptr);
    EXPECT_NE(opened.conn->socket, 0);
    EXPECT_EQ(opened.conn->error_text, nullptr);
    EXPECT_STREQ(opened.conn->version, "201");
  }
}

TEST(LoginText, EncipheredColumnAndLimits) {
  ConnRecord* conn = static_cast<ConnRecord*>(client_alloc(sizeof(ConnRecord)));
  parse_conn_string("DB=SYSTEM;USER=U;PWD=P;LOCK_TIMEOUT=-1;LOB_RET=1", conn);
  strcpy(conn->version, "301");
  char out[512];
  ASSERT_TRUE(build_login_text(conn, true, out, sizeof out));
  EXPECT_STREQ(out,
               "login database = SYSTEM user='U' password='P' char_set = '' iso_level = '' auto_commit = 'on' "
               "return_cursor_id  = 'on' lob_ret=descriptor version = '301'");
  conn->lock_timeout = 300;
  ASSERT_TRUE(build_login_text(conn, true, out, sizeof out));
  EXPECT_NE(strstr(out, " iso_level = '' lock_timeout = 300 auto_commit"), nullptr);
  conn->lock_timeout = 0;
  ASSERT_TRUE(build_login_text(conn, false, out, sizeof out));
  EXPECT_STREQ(out,
               "login database = SYSTEM user='U' password='P' auto_commit = 'on' return_cursor_id  = 'on' "
               "lob_ret  =descriptor version = '301'");

  // 511 characters fit the 512-byte area; one more does not, and nothing half-built is left.
  std::string v40(40, 'v');
  strcpy(conn->user, v40.c_str());
  strcpy(conn->password, v40.c_str());
  strcpy(conn->char_set, v40.c_str());
  strcpy(conn->iso_level, v40.c_str());
  strcpy(conn->current_schema, v40.c_str());
  strcpy(conn->compatible_mode, v40.c_str());
  strcpy(conn->keyword_filter, v40.c_str());
  conn->lob_ret = 0;
  std::string tail = " user='" + v40 + "' password='" + v40 + "' char_set = '" + v40 + "' iso_level = '" + v40 +
                     "' current_schema = '" + v40 + "' compatible_mode = '" + v40 + "' keyword_filter='" + v40 +
                     "' auto_commit = 'on' return_cursor_id  = 'on' version = '301'";
  size_t db_len = 511 - strlen("login database = ") - tail.size();
  ASSERT_LT(db_len, sizeof conn->database);
  std::string db(db_len, 'd');
  strcpy(conn->database, db.c_str());
  ASSERT_TRUE(build_login_text(conn, false, out, sizeof out));
  EXPECT_EQ(std::string(out), "login database = " + db + tail);
  EXPECT_EQ(strlen(out), 511u);
  strcat(conn->database, "d");
  EXPECT_FALSE(build_login_text(conn, false, out, sizeof out));
  EXPECT_STREQ(out, "");
  // The enciphered text has 479 characters at most.
  conn->database[db_len - 32] = '\0';
  EXPECT_TRUE(build_login_text(conn, true, out, 480));
  EXPECT_EQ(strlen(out), 479u);
  conn->database[db_len - 32] = 'd';
  conn->database[db_len - 31] = '\0';
  EXPECT_FALSE(build_login_text(conn, true, out, 480));

  // A quote in any value the login carries is refused rather than sent.
  strcpy(conn->database, "SYSTEM");
  strcpy(conn->char_set, "a'b");
  EXPECT_FALSE(build_login_text(conn, false, out, sizeof out));
  ZVC_CloseConnection(&conn);
}

TEST(Login, RepliesSetTheVersionAndReconnectSendsIt) {
  Opened opened;
  open_with(&opened, "", default_text.size(), "K");
  ASSERT_EQ(opened.rc, 2);
  EXPECT_STREQ(opened.conn->version, "201");

  // A reconnection sends what the last login left, and an "N" reply puts the record back at 301.
  ScriptedPeer again;
  std::string text201 = default_text.substr(0, default_text.size() - 5) + "'201'";
  again.expect(text201.size()).send("N1234K");
  again.start();
  opened.conn->port = again.port();
  EXPECT_EQ(ZVC_Reconnect(&opened.conn), 1);
  EXPECT_EQ(again.received(), text201);
  EXPECT_STREQ(opened.conn->version, "301");
  EXPECT_NE(opened.conn->socket, 0);

  Opened n_reply;
  open_with(&n_reply, "", default_text.size(), std::string("N\x00\x00\x00\x01K", 6));
  EXPECT_EQ(n_reply.rc, 2);
  EXPECT_STREQ(n_reply.conn->version, "301");
  EXPECT_EQ(n_reply.sent, default_text);
}

TEST(Login, RefusalsAndSilentServersFailTheOpen) {
  const std::string replies[] = {
      std::string("N1234X") + wire_str("refused"),  // fifth byte not "K"
      std::string("E") + wire_str("password wrong"),
      "N12",  // cut short
      "",     // closes before replying
  };
  for (const std::string& reply : replies) {
    Opened opened;
    open_with(&opened, "", default_text.size(), reply);
    EXPECT_EQ(opened.rc, ZV_LOGIN_FAILED) << reply;
    ASSERT_NE(opened.conn, nullptr);
    EXPECT_STREQ(opened.conn->error_text, "[EC012]Error in build-database-connect LOGIN database Failure");
    EXPECT_EQ(opened.conn->socket, 0);
    EXPECT_EQ(opened.sent, default_text);
  }
}

TEST(Login, DialogueKeepsItsOwnTexts) {
  struct Case {
    std::string reply;
    const char* text;
  };
  const Case cases[] = {
      {"", "[EC0195]Error when RECIEVING ,Net Recieve Error"},
      {std::string("Z") + wire_str("no"), "[EC0196]Error Can't finish build connect ,Receives K failed"},
      {"N", "[EC0196]Error Can't finish build connect ,Receives K failed"},
  };
  for (const Case& c : cases) {
    ScriptedPeer peer;
    peer.expect(default_text.size()).send(c.reply).close();
    peer.start();
    ConnRecord* conn = connected(peer, "");
    EXPECT_FALSE(login_dialogue(conn));
    EXPECT_STREQ(conn->error_text, c.text);
    EXPECT_EQ(conn->socket, 0);
    EXPECT_EQ(peer.received(), default_text);
    ZVC_CloseConnection(&conn);
  }
}

TEST(Login, RefusedLoginsSendNothing) {
  std::string v63(63, 'x');
  std::string too_long = ";DB=" + v63 + ";USER=" + v63 + ";PWD=" + v63 + ";CHAR_SET=" + v63 + ";ISO_LEVEL=" + v63 +
                         ";CURRENT_SCHEMA=" + v63 + ";COMPATIBLE_MODE=" + v63 + ";KEYWORD_FILTER=" + v63;
  struct Case {
    std::string extra;
    const char* text;
  };
  const Case cases[] = {
      {";USE_SSL=on", "[EC0199]Error in build-database-connect enciphered link not supported"},
      {";USER=O'Brien", "[EC0194]Error in build-database-connect quote (') not allowed in user"},
      {";PWD=it's", "[EC0194]Error in build-database-connect quote (') not allowed in password"},
      {";DB=a'b", "[EC0194]Error in build-database-connect quote (') not allowed in database"},
      {";KEYWORD_FILTER='", "[EC0194]Error in build-database-connect quote (') not allowed in keyword_filter"},
      {too_long, "[EC0193]Error in build-database-connect LOGIN text longer than 511 characters"},
  };
  for (const Case& c : cases) {
    // The peer waits for a single byte: it gets none, only the reset of the link.
    ScriptedPeer peer;
    peer.expect(1);
    peer.start();
    ConnRecord* conn = connected(peer, c.extra);
    EXPECT_FALSE(login_dialogue(conn));
    EXPECT_STREQ(conn->error_text, c.text) << c.extra;
    EXPECT_EQ(conn->socket, 0);
    EXPECT_EQ(peer.received(), "") << c.extra;
    ZVC_CloseConnection(&conn);

    ScriptedPeer open_peer;
    open_peer.expect(1);
    open_peer.start();
    Opened opened;
    opened.rc = ZVC_OpenConnection(open_peer.conn_string(c.extra).c_str(), &opened.conn);
    EXPECT_EQ(opened.rc, ZV_LOGIN_FAILED);
    EXPECT_STREQ(opened.conn->error_text, "[EC012]Error in build-database-connect LOGIN database Failure");
    EXPECT_EQ(opened.conn->socket, 0);
    EXPECT_EQ(open_peer.received(), "") << c.extra;
  }
}

TEST(Login, NobodyListeningAndClosing) {
  DeadPort dead;
  ConnRecord* conn = nullptr;
  std::string text = "IP=127.0.0.1;PORT=" + std::to_string(dead.port) + ";DB=SYSTEM;USER=U;PWD=P";
  EXPECT_EQ(ZVC_OpenConnection(text.c_str(), &conn), ZV_SOCKET_FAILED);
  ASSERT_NE(conn, nullptr);
  EXPECT_STREQ(conn->error_text, "[EC011]Error in build-connect Sock Failure");
  EXPECT_EQ(conn->socket, 0);
  EXPECT_EQ(conn->ltimeout, 1800000);
  EXPECT_NE(conn->semaphore, nullptr);
  EXPECT_EQ(ZVC_CloseConnection(&conn), 0);
  EXPECT_EQ(conn, nullptr);
  EXPECT_EQ(ZVC_CloseConnection(&conn), -1);

  // A bad address fails at the socket too; a null string makes no record.
  ConnRecord* bad = nullptr;
  EXPECT_EQ(ZVC_OpenConnection("IP=not-an-ip;PORT=1", &bad), ZV_SOCKET_FAILED);
  EXPECT_EQ(ZVC_CloseConnection(&bad), 0);
  ConnRecord* untouched = reinterpret_cast<ConnRecord*>(0x1);
  EXPECT_EQ(ZVC_OpenConnection(nullptr, &untouched), -1);
  EXPECT_EQ(untouched, reinterpret_cast<ConnRecord*>(0x1));

  // Defaults set before parsing give way to the string; those set after do not.
  ScriptedPeer peer;
  peer.expect(1).close();
  peer.start();
  Opened opened;
  opened.rc = ZVC_OpenConnection(peer.conn_string(";verbose_mode=4;LOCK_TIMEOUT=7;IPS=1.1.1.1,2.2.2.2").c_str(),
                                 &opened.conn);
  EXPECT_EQ(opened.rc, ZV_LOGIN_FAILED);
  EXPECT_EQ(opened.conn->kind, HT_CONN);
  EXPECT_EQ(opened.conn->verbose_mode, 4);
  EXPECT_EQ(opened.conn->lock_timeout, 7);
  EXPECT_EQ(opened.conn->ips_given, 1);
  EXPECT_EQ(opened.conn->server_list->count, 2);
  EXPECT_STREQ(opened.conn->server_ip, "127.0.0.1");
}

TEST(Login, ReconnectFailures) {
  Opened opened;
  open_with(&opened, "", default_text.size(), "K");
  ASSERT_EQ(opened.rc, 2);

  DeadPort dead;
  opened.conn->port = dead.port;
  EXPECT_EQ(ZVC_Reconnect(&opened.conn), ZV_SOCKET_FAILED);
  EXPECT_STREQ(opened.conn->error_text, "[EC0197]Error when RECONNECT Sock Failure");
  EXPECT_EQ(opened.conn->socket, 0);

  ScriptedPeer refusing;
  std::string text201 = default_text.substr(0, default_text.size() - 5) + "'201'";
  refusing.expect(text201.size()).send("E" + wire_str("no")).close();
  refusing.start();
  opened.conn->port = refusing.port();
  EXPECT_EQ(ZVC_Reconnect(&opened.conn), ZV_LOGIN_FAILED);
  EXPECT_STREQ(opened.conn->error_text, "[EC0198]Error when LOGIN database Failure");
  EXPECT_EQ(opened.conn->socket, 0);
  EXPECT_EQ(refusing.received(), text201);

  ConnRecord* none = nullptr;
  EXPECT_EQ(ZVC_Reconnect(&none), ZV_BAD_HANDLE);
}
