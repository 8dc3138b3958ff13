#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "login.h"
#include "server_fixture.h"

namespace zvtest {
namespace {

TEST(ServerLoginText, ReadsEveryClauseOfAPlainLogin) {
  zv::LoginRequest r;
  std::string error;
  ASSERT_TRUE(zv::parse_login(
      "login database = SYSTEM user='U' password='P w' char_set = 'GBK' iso_level = 'serializable'"
      " current_schema = 'S' compatible_mode = 'M' keyword_filter='K' lock_timeout = -1"
      " auto_commit = 'off' return_cursor_id  = 'on' lob_ret  =descriptor version = '301'",
      r, error))
      << error;
  EXPECT_EQ(r.database, "SYSTEM");
  EXPECT_EQ(r.user, "U");
  EXPECT_EQ(r.password, "P w");
  EXPECT_EQ(r.char_set, "GBK");
  EXPECT_EQ(r.iso_level, "serializable");
  EXPECT_EQ(r.current_schema, "S");
  EXPECT_EQ(r.compatible_mode, "M");
  EXPECT_EQ(r.keyword_filter, "K");
  EXPECT_EQ(r.lock_timeout, -1);
  EXPECT_FALSE(r.auto_commit);
  EXPECT_TRUE(r.return_cursor_id);
  EXPECT_TRUE(r.lob_descriptors);
  EXPECT_EQ(r.version, "301");
}

TEST(ServerLoginText, ReadsTheEncipheredFormsAndDefaults) {
  zv::LoginRequest r;
  std::string error;
  ASSERT_TRUE(zv::parse_login("login database = DB user='U' password='P' char_set = '' iso_level = ''"
                              " auto_commit = 'on' lob_ret=descriptor version = '201'",
                              r, error));
  EXPECT_EQ(r.char_set, "");
  EXPECT_TRUE(r.auto_commit);
  EXPECT_FALSE(r.return_cursor_id);
  EXPECT_TRUE(r.lob_descriptors);
  EXPECT_EQ(r.version, "201");

  zv::LoginRequest plain;
  ASSERT_TRUE(zv::parse_login("login database = DB user='U' password='P' version = '301'", plain, error));
  EXPECT_FALSE(plain.lob_descriptors);
  EXPECT_TRUE(plain.auto_commit);

  EXPECT_FALSE(zv::parse_login("hello database = DB version = '301'", r, error));
  EXPECT_FALSE(zv::parse_login("login user='U' version = '301'", r, error));
  EXPECT_FALSE(zv::parse_login("login database = DB user='U version = '301'", r, error));
}

TEST(ServerLoginText, IsCompleteOnlyAtTheClosingQuoteOfTheVersion) {
  EXPECT_FALSE(zv::login_text_complete("login database = X user='U'"));
  EXPECT_FALSE(zv::login_text_complete("login database = X version = '"));
  EXPECT_FALSE(zv::login_text_complete("login database = X version = '30"));
  EXPECT_TRUE(zv::login_text_complete("login database = X version = '301'"));
  EXPECT_TRUE(zv::login_text_complete("login database = X version = ''"));
}

TEST_F(ServerTest, LoginIsAnsweredByTheConfiguredReplyForm) {
  TestClient c301(port());
  EXPECT_EQ(c301.login(login_text("SYSDBA", "SYSDBA")), std::string("N") + be32(301) + "K");
  Reply r = c301.run("select 1");
  ASSERT_TRUE(r.complete);
  EXPECT_EQ(r.records.size(), 1u);

  zv::ServerOptions old_form;
  old_form.reply_version = 201;
  start(old_form);
  TestClient c201(port());
  EXPECT_EQ(c201.login(login_text("sysdba", "SYSDBA"), 201), "K");
  r = c201.run("select 1");
  ASSERT_TRUE(r.complete);
  ASSERT_EQ(r.records.size(), 1u);
  EXPECT_EQ(r.records[0].rows[0][0], be32(1));
}

TEST_F(ServerTest, LoginTextMayArriveInPieces) {
  TestClient c(port());
  std::string text = login_text("SYSDBA", "SYSDBA", " auto_commit = 'on'");
  c.send_raw(text.substr(0, 20));
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  c.send_raw(text.substr(20, text.size() - 21));
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_EQ(c.login(text.substr(text.size() - 1)), std::string("N") + be32(301) + "K");
}

TEST_F(ServerTest, LoginRefusalsAnswerEWithACodeAndClose) {
  zv::ServerOptions custom;
  custom.user = "ALICE";
  custom.password = "secret";
  start(custom);
  struct Case {
    std::string text;
    std::string code;
  };
  const Case cases[] = {
      {login_text("ALICE", "wrong"), "[E10002]"},
      {login_text("BOB", "secret"), "[E10002]"},
      {login_text("SYSDBA", "SYSDBA"), "[E10002]"},
      {"~ssl~", "[E10008]"},
      {"hello there version = '301'", "[E10002]"},
  };
  for (const Case& k : cases) {
    TestClient c(port());
    EXPECT_EQ(c.login(k.text), "E") << k.text;
    EXPECT_EQ(c.string().substr(0, 8), k.code) << k.text;
    EXPECT_TRUE(c.closed_by_server()) << k.text;
  }
  TestClient good(port());
  EXPECT_EQ(good.login(login_text("ALICE", "secret")), std::string("N") + be32(301) + "K");
}

}  // namespace
}  // namespace zvtest
