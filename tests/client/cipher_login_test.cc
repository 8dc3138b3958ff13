// Enciphered links against a scripted server that deciphers the login image with its private
// exponent and then talks through the keystream: the bytes of the dialogue and the failures. The
// link's reads and writes through the keystream, past its refills, run end to end in the script
// tests.
#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <functional>
#include <string>
#include <thread>

#include "cipher_peer.h"
#include "connection/link_cipher.h"
#include "connection/login.h"
#include "connection/wire.h"
#include "reply_script.h"
#include "zvc.h"

namespace {

std::string login_text(const std::string& db, const std::string& user, const std::string& pwd,
                       const std::string& char_set, const std::string& schema = "") {
  return "login database = " + db + " user='" + user + "' password='" + pwd + "' char_set = '" + char_set +
         "' iso_level = ''" + (schema.empty() ? "" : " current_schema = '" + schema + "'") +
         " lock_timeout = 300 auto_commit = 'on' return_cursor_id  = 'on' version = '301'";
}

// The text as the image carries it: 07 07 behind every full 30 characters, the NUL, zeros up to
// the last block.
std::string stuffed(const std::string& text, size_t blocks) {
  std::string out;
  for (size_t at = 0; at < text.size(); at += 30) {
    out += text.substr(at, 30);
    if (text.size() - at >= 30) out += "\x07\x07";
  }
  out += std::string(1, '\0');
  return out + std::string(32 * blocks - out.size(), '\0');
}

const std::string default_text = login_text("SYSTEM", "U", "P", "");
const size_t default_blocks = 6;  // 151 characters: 161 with 07 07 five times, 162 with the NUL

// An enciphered open against a CipherPeer whose script the caller has written.
struct CipherOpen {
  int32_t rc = 0;
  ConnRecord* conn = nullptr;
  explicit CipherOpen(CipherPeer& server, const std::string& extra = "") {
    server.peer.start();
    rc = ZVC_OpenConnection(server.peer.conn_string(";USE_SSL=on" + extra).c_str(), &conn);
  }
  ~CipherOpen() { ZVC_CloseConnection(&conn); }
};

}  // namespace

// Login texts whose length falls before, on and after a run of 30, with passwords shorter than,
// as long as and longer than the key: the image has exactly the key's block and the text's blocks,
// the text arrives whole, and the link works through the keystream afterwards.
TEST(CipherLogin, ImageByteForByte) {
  const std::string p32(32, 'k'), p40(40, 'm'), u63(63, 'u'), p63(63, 'p'), c63(63, 'c'), s63(63, 's');
  const struct {
    std::string user, password, char_set, schema;
    size_t length, blocks;
  } cases[] = {
      {"U", "abc", "", "", 149, 5}, {"U", p32, "", "", 180, 7},    {"U", p40, "", "", 211, 8},
      {"U", "P", "", "", 181, 7},   {u63, p63, c63, s63, 449, 15},  // the longest text that fits
  };
  for (const auto& c : cases) {
    std::string db(c.length - login_text("", c.user, c.password, c.char_set, c.schema).size(), 'd');
    std::string text = login_text(db, c.user, c.password, c.char_set, c.schema);
    ASSERT_EQ(c.length, text.size());
    CipherPeer server;
    server.login(c.blocks).expect(4);
    CipherOpen open(server, ";DB=" + db + ";USER=" + c.user + ";PWD=" + c.password + ";CHAR_SET=" + c.char_set +
                                (c.schema.empty() ? "" : ";CURRENT_SCHEMA=" + c.schema));
    ASSERT_EQ(2, open.rc) << c.length;
    send_bytes(open.conn, "ping", 4);
    EXPECT_EQ(0, send_flush(open.conn));
    EXPECT_EQ("~ssl~" + server.image + "ping", server.peer.received()) << c.length;
    EXPECT_EQ(32 * (c.blocks + 1), server.image.size()) << c.length;
    EXPECT_EQ(stuffed(text, c.blocks), server.text) << c.length;
    ASSERT_EQ(32u, server.key.size());
    EXPECT_LT(static_cast<uint8_t>(server.key[31]), 0x80);
    EXPECT_STREQ("301", open.conn->version);
  }
}

// A server that goes quiet or refuses at any point of the exchange: -9 with the open's text and the
// link closed.
TEST(CipherLogin, FailedExchanges) {
  const struct {
    const char* what;
    std::function<void(CipherPeer&)> script;
    size_t image_blocks;  // of what the server got, after "~ssl~"; 0 for none
  } cases[] = {
      {"closes before the exponent", [](CipherPeer& s) { s.peer.expect(5).close(); }, 0},
      {"closes before the reply",
       [](CipherPeer& s) { s.login(default_blocks, "").close(); },
       default_blocks},
      {"refuses", [](CipherPeer& s) { s.login(default_blocks, "E" + wire_str("wrong password")).close(); },
       default_blocks},
  };
  for (const auto& c : cases) {
    CipherPeer server;
    c.script(server);
    CipherOpen open(server);
    EXPECT_EQ(ZV_LOGIN_FAILED, open.rc) << c.what;
    EXPECT_STREQ("[EC012]Error in build-database-connect LOGIN database Failure", open.conn->error_text);
    EXPECT_EQ(0, open.conn->socket) << c.what;
    std::string got = server.peer.received();
    EXPECT_EQ("~ssl~", got.substr(0, 5)) << c.what;
    EXPECT_EQ(c.image_blocks ? 5 + 32 * (c.image_blocks + 1) : 5, got.size()) << c.what;
  }
}

// A login text too long for the image goes nowhere.
TEST(CipherLogin, DialogueTexts) {
  StreamPeer too_long("");
  too_long.conn->use_ssl = 1;
  memset(too_long.conn->database, 'd', 115);
  memset(too_long.conn->user, 'u', 63);
  memset(too_long.conn->password, 'p', 63);
  memset(too_long.conn->char_set, 'c', 63);
  strcpy(too_long.conn->iso_level, "i");  // 450 characters
  EXPECT_EQ(LOGIN_REFUSED_HERE, login_dialogue(too_long.conn));
  EXPECT_STREQ("[EC0193]Error in build-database-connect LOGIN text longer than 449 characters",
               too_long.conn->error_text);
  EXPECT_EQ(0, too_long.conn->socket);
  EXPECT_EQ("", too_long.sent());
}

// An enciphered link gives up at the first read that times out, where a plain link tries three
// times: a reply later than RECV_TIMEOUT fails the statement.
TEST(CipherLogin, AReadThatTimesOutIsNotTriedAgain) {
  CipherPeer server;
  server.login(default_blocks)
      .expect(command_bytes("update t").size())
      .then([](const std::string&) { std::this_thread::sleep_for(std::chrono::milliseconds(450)); })
      .send("U" + be32(1) + "K");
  CipherOpen open(server, ";RECV_TIMEOUT=300");
  ASSERT_EQ(2, open.rc);
  testing::internal::CaptureStdout();
  EXPECT_EQ(ZV_NET_ERROR, ZVC_ExecNoQuery(&open.conn, "update t"));
  testing::internal::GetCapturedStdout();
}
