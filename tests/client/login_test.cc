// Opening and logging in against scripted peers.
#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <functional>
#include <string>
#include <thread>

#include "connection/client_text.h"
#include "connection/conn_string.h"
#include "connection/login.h"
#include "peer.h"
#include "reply_script.h"
#include "zvc.h"

namespace {

const std::string head = "login database = SYSTEM user='U' password='P'";
const std::string tail = " auto_commit = 'on' return_cursor_id  = 'on' version = '301'";
const std::string default_text = head + " lock_timeout = 300" + tail;

struct Opened {
  int32_t rc = 0;
  ConnRecord* conn = nullptr;
  std::string sent;
  // Opens against a peer that reads `expect` bytes, answers `reply` and closes.
  Opened(const std::string& extra, size_t expect, const std::string& reply) {
    ScriptedPeer peer;
    peer.expect(expect).send(reply).close();
    peer.start();
    rc = ZVC_OpenConnection(peer.conn_string(extra).c_str(), &conn);
    sent = peer.received();
  }
  ~Opened() { ZVC_CloseConnection(&conn); }
};

}  // namespace

TEST(LoginText, PlainClausesByteForByte) {
  const std::pair<const char*, std::string> cases[] = {
      {"", default_text},
      {";LOCK_TIMEOUT=0", head + tail},
      {";AUTO_COMMIT=off", head + " lock_timeout = 300 auto_commit = 'off' return_cursor_id  = 'on' version = '301'"},
      {";LOB_RET=1;KEYWORD_FILTER=k;COMPATIBLE_MODE=m;CURRENT_SCHEMA=s;ISO_LEVEL=i;CHAR_SET=c;LOCK_TIMEOUT=5;PWD=",
       "login database = SYSTEM user='U' password='' char_set = 'c' iso_level = 'i' current_schema = 's' "
       "compatible_mode = 'm' keyword_filter='k' lock_timeout = 5 auto_commit = 'on' return_cursor_id  = 'on' "
       "lob_ret  =descriptor version = '301'"},
  };
  for (const auto& [extra, text] : cases) {
    Opened opened(extra, text.size(), "K");
    EXPECT_EQ(opened.sent, text) << extra;
    EXPECT_EQ(opened.rc, 2) << extra;
    EXPECT_STREQ(opened.conn->version, "201") << extra;
  }
}

TEST(LoginText, EncipheredColumns) {
  ConnRecord* conn = static_cast<ConnRecord*>(client_alloc(sizeof(ConnRecord)));
  parse_conn_string("DB=SYSTEM;USER=U;PWD=P;LOCK_TIMEOUT=-1;LOB_RET=1", conn);
  strcpy(conn->version, "301");
  char out[512];
  ASSERT_TRUE(build_login_text(conn, true, out, sizeof out));
  EXPECT_STREQ(out,
               "login database = SYSTEM user='U' password='P' char_set = '' iso_level = '' auto_commit = 'on' "
               "return_cursor_id  = 'on' lob_ret=descriptor version = '301'");
  ZVC_CloseConnection(&conn);
}

// A plain link tries a read that times out three times: a reply later than RECV_TIMEOUT, but
// well within three of it, still answers the statement (an enciphered link gives up at once).
TEST(Login, APlainReadThatTimesOutIsTriedAgain) {
  ScriptedPeer peer;
  peer.expect(default_text.size()).send("K").expect(command_bytes("update t").size())
      .then([](const std::string&) { std::this_thread::sleep_for(std::chrono::milliseconds(450)); })
      .send("U" + be32(1) + "K");
  peer.start();
  ConnRecord* conn = nullptr;
  ASSERT_EQ(2, ZVC_OpenConnection(peer.conn_string(";RECV_TIMEOUT=300").c_str(), &conn));
  EXPECT_EQ(1, ZVC_ExecNoQuery(&conn, "update t"));
  ZVC_CloseConnection(&conn);
}

TEST(Login, FailedLogins) {
  std::string too_long = ";CURRENT_SCHEMA=" + std::string(32, 's');  // a login text of 512 characters
  for (const char* title : {"DB", "USER", "PWD", "CHAR_SET", "ISO_LEVEL"})
    too_long += std::string(";") + title + "=" + std::string(63, 'x');
  const std::string generic = "[EC012]Error in build-database-connect LOGIN database Failure";
  struct Case {
    std::string extra, reply, sent, text;
  };
  const Case cases[] = {
      {"", "E" + wire_str("password wrong"), default_text, generic},
      {"", "N1234X" + wire_str("refused"), default_text, generic},
      {"", "", default_text, generic},  // closes before replying
      // The client's own refusals keep their reason: nothing was wrong with the password.
      {";USER=O'Brien", "", "", "[EC0194]Error in build-database-connect quote (') not allowed in user"},
      {too_long, "", "", "[EC0193]Error in build-database-connect LOGIN text longer than 511 characters"},
  };
  for (const Case& c : cases) {
    Opened opened(c.extra, c.sent.empty() ? 1 : c.sent.size(), c.reply);
    EXPECT_EQ(opened.rc, ZV_LOGIN_FAILED) << c.extra;
    EXPECT_EQ(std::string(opened.conn->error_text), c.text) << c.extra;
    EXPECT_EQ(opened.conn->socket, 0);
    EXPECT_EQ(opened.sent, c.sent) << c.extra;
  }
}

// CONNECT_TIMEOUT is one deadline for the connect and the whole login, on both links: a server
// that says nothing, or drips its answer a byte at a time, is given up at the deadline; the bound
// checked is a sanity bound well above it. RECV_TIMEOUT still replaces the statements' time-out.
TEST(Login, ConnectTimeoutIsOneDeadline) {
  const std::string refusal = "E" + wire_str(std::string(100, 'r'));
  struct Case {
    const char* name;
    std::string extra;
    std::function<void(ScriptedPeer&)> script;
  };
  const Case cases[] = {
      {"plain, dripping", "", [&](ScriptedPeer& p) { p.expect(default_text.size()).drip(refusal, 100); }},
      {"enciphered, silent", ";USE_SSL=on", [](ScriptedPeer& p) { p.expect(5).hold(); }},
  };
  for (const Case& c : cases) {
    ScriptedPeer peer;
    c.script(peer);
    peer.start();
    ConnRecord* conn = nullptr;
    auto start = std::chrono::steady_clock::now();
    std::string text = peer.conn_string(c.extra + ";CONNECT_TIMEOUT=1000;RECV_TIMEOUT=2500");
    EXPECT_EQ(ZV_LOGIN_FAILED, ZVC_OpenConnection(text.c_str(), &conn)) << c.name;
    double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    EXPECT_LT(seconds, 2.5) << c.name;
    EXPECT_STREQ(conn->error_text, "[EC012]Error in build-database-connect LOGIN database Failure") << c.name;
    EXPECT_EQ(conn->socket, 0) << c.name;
    EXPECT_EQ(conn->ltimeout, 2500);
    EXPECT_EQ(conn->link_deadline, 0) << c.name;
    ZVC_CloseConnection(&conn);
  }
}
