// The connection string parser: keywords, aliases, separators, blanks, limits and server lists.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "connection/client_text.h"
#include "connection/conn_string.h"
#include "peer.h"
#include "zvc.h"

namespace {

using Record = std::shared_ptr<ConnRecord>;

Record fresh() {
  return Record(static_cast<ConnRecord*>(client_alloc(sizeof(ConnRecord))),
                [](ConnRecord* c) { ZVC_CloseConnection(&c); });
}

Record parsed(const std::string& text, bool* ok = nullptr) {
  Record conn = fresh();
  bool result = parse_conn_string(text.c_str(), conn.get());
  if (ok) *ok = result;
  return conn;
}

bool same_bytes(const Record& a, const Record& b) { return memcmp(a.get(), b.get(), sizeof(ConnRecord)) == 0; }

std::string addresses(int n) {
  std::string list;
  for (int i = 1; i <= n; ++i) list += (i > 1 ? ",10.0.0." : "10.0.0.") + std::to_string(i);
  return list;
}

}  // namespace

TEST(ConnString, KeywordsAndAliasesSetExactlyTheirField) {
  const std::pair<size_t, std::vector<const char*>> texts[] = {
      {offsetof(ConnRecord, database), {"DB", "DataBase", "database"}},
      {offsetof(ConnRecord, user), {"USER", "uid", "User Id", "USERID"}},
      {offsetof(ConnRecord, password), {"pwd", "PASSWORD"}},
      {offsetof(ConnRecord, server_ip), {"SERVER", "ip"}},
      {offsetof(ConnRecord, char_set), {"CHAR_SET", "character_set", "CharSet", "CHARACTER SET"}},
      {offsetof(ConnRecord, current_schema), {"current_schema"}},
      {offsetof(ConnRecord, compatible_mode), {"COMPATIBLE_MODE"}},
      {offsetof(ConnRecord, keyword_filter), {"KEYWORD_FILTER"}},
      {offsetof(ConnRecord, iso_level), {"ISO_LEVEL", "iso level", "ISOLEVEL"}},
  };
  for (const auto& [offset, titles] : texts) {
    Record expected = fresh();
    strcpy(reinterpret_cast<char*>(expected.get()) + offset, "1.2.3.4");
    for (const char* title : titles)
      EXPECT_TRUE(same_bytes(parsed(std::string(title) + "=1.2.3.4;"), expected)) << title;
  }

  struct Number {
    int32_t ConnRecord::*field;
    int32_t want;
    std::vector<const char*> items;
  };
  const Number numbers[] = {
      {&ConnRecord::lock_timeout, -5, {"LOCKTIMEOUT=-5", "LOCK TIMEOUT=-5", "lock_timeout=-5"}},
      {&ConnRecord::verbose_mode, 6, {"verbose_mode=6"}},
      {&ConnRecord::auto_commit_off, 1, {"AUTO_COMMIT=off", "auto commit=FALSE", "AutoCommit=off"}},
      {&ConnRecord::auto_commit_off, 0, {"AUTO_COMMIT=0", "AUTO_COMMIT=on"}},
      {&ConnRecord::use_ssl, 1, {"use_ssl=on", "ssl=Yes", "USESSL=TRUE", "USE SSL=yes"}},
      {&ConnRecord::use_ssl, 0, {"use_ssl=no", "SSL=off"}},
      {&ConnRecord::return_rowid, 1, {"RETURN_ROWID=on", "RETURN ROWID=True", "return row_id=on", "RETURN_ROW_ID=on"}},
      {&ConnRecord::return_rowid, 0, {"RETURN_ROWID=yes"}},
      {&ConnRecord::lob_ret, 1, {"LOB_RET=off", "LOB RET=", "lobret=x"}},
      {&ConnRecord::return_cursor_id_off, 1, {"RETURN_CURSOR_ID=off", "RETURN CURSOR_ID=false", "return_cursorid=off"}},
      {&ConnRecord::use_srvcursor_off, 1, {"use_srvcursor=off"}},
  };
  for (const Number& n : numbers) {
    Record expected = fresh();
    expected.get()->*n.field = n.want;
    for (const char* item : n.items) EXPECT_TRUE(same_bytes(parsed(std::string(item) + ";"), expected)) << item;
  }
  EXPECT_EQ(parsed("PORT=5138;")->port, 5138);
  EXPECT_EQ(parsed("port=70000;")->port, 70000 - 65536);
  EXPECT_EQ(parsed("AUTO_COMMIT=off;AUTO_COMMIT=on")->auto_commit_off, 0);  // the later one wins
}

TEST(ConnString, SeparatorsBlanksAndUnknownKeywords) {
  bool ok = false;
  Record comma = parsed("IP=1.2.3.4,PORT=5138", &ok);
  EXPECT_TRUE(ok);
  EXPECT_STREQ(comma->server_ip, "1.2.3.4");
  EXPECT_EQ(comma->port, 5138);
  Record both = parsed("PWD=a,b;USER=c");  // ";" wins: the comma belongs to a value
  EXPECT_STREQ(both->password, "a,b");
  EXPECT_STREQ(both->user, "c");
  EXPECT_TRUE(same_bytes(parsed("IP=1.2.3.4", &ok), fresh()));
  EXPECT_FALSE(ok);

  for (const char* text : {"TIME_ZONE=GMT+8;", "FOO=1;BAR=2", "=5;=6;", "IPS;X;Y"}) {
    EXPECT_TRUE(same_bytes(parsed(text, &ok), fresh())) << text;
    EXPECT_TRUE(ok) << text;
  }

  EXPECT_STREQ(parsed(" USER = a b ;")->user, "a b");
  EXPECT_STREQ(parsed("USER=\ta\t;")->user, "\ta\t");  // only the space is a blank
  Record blank = parsed("USER=abc;DB=d;USER=   ;DB=");
  EXPECT_STREQ(blank->user, "");
  EXPECT_STREQ(blank->database, "");
}

// Nothing that does not fit is cut or skipped: the string is refused with its first fault, and
// an open fails with it before anything is sent.
TEST(ConnString, OverLongTitlesValuesAndItemsRefuseTheString) {
  std::string v63(63, 'v');
  EXPECT_EQ(parsed("PWD=" + v63 + ";")->password, v63);
  EXPECT_EQ(parsed("IP=" + std::string(31, '1') + ";")->server_ip, std::string(31, '1'));
  EXPECT_EQ(parsed("USER=u;PWD" + std::string(63, ' ') + "=" + std::string(60, 'p'))->conn_string_fault,
            std::string());

  const std::string head = "[EC016]Connection string refused: ";
  const std::pair<std::string, std::string> faults[] = {
      {"IP=1.2.3.4;SERVER=" + std::string(32, '1') + ";", "the value of SERVER may have 31 bytes at most"},
      {std::string(64, 't') + "=1;USER=u", "a keyword may have 63 bytes at most"},
      {"PWD=prev;PWD" + std::string(64, ' ') + "=" + std::string(60, 'p') + ";USER=u",
       "an item may have 127 bytes at most"},
  };
  DeadPort dead;  // an open that got as far as the socket would fail there with -8
  const std::string where = ";IP=127.0.0.1;PORT=" + std::to_string(dead.port);
  for (const auto& [text, reason] : faults) {
    char refusal[128] = "x";
    EXPECT_EQ(ZVC_CheckConnString(text.c_str(), refusal, sizeof refusal), ZV_BAD_CONN_STRING);
    EXPECT_EQ(refusal, head + reason);

    ConnRecord* conn = nullptr;
    EXPECT_EQ(ZVC_OpenConnection((text + where).c_str(), &conn), ZV_BAD_CONN_STRING) << text;
    EXPECT_EQ(std::string(conn->error_text), head + reason);
    ZVC_CloseConnection(&conn);
  }
  char refusal[128] = "x";
  EXPECT_EQ(ZVC_CheckConnString("IP=1.2.3.4;PWD=p", refusal, sizeof refusal), ZV_OK);
  EXPECT_STREQ(refusal, "");
}

TEST(ConnString, ServerLists) {
  Record two = parsed("ips=1.1.1.1,2.2.2.2;DB=X");
  EXPECT_EQ(two->ips_given, 1);
  EXPECT_STREQ(two->database, "X");
  ASSERT_EQ(two->server_list->count, 2);
  EXPECT_STREQ(two->server_list->addrs[0], "1.1.1.1");
  EXPECT_STREQ(two->server_list->addrs[1], "2.2.2.2");

  EXPECT_EQ(parsed("IPS=" + addresses(100) + ";")->server_list->count, 100);

  testing::internal::CaptureStdout();
  Record over = parsed("IPS=" + addresses(101) + ";");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "set ips error \n");
  EXPECT_EQ(over->ips_given, 1);
  EXPECT_EQ(over->server_list->count, 99);
  EXPECT_STREQ(over->server_list->addrs[98], "10.0.0.99");
}
