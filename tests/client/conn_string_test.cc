// The connection string parser: keywords, aliases, separators, blanks, limits and server lists.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>

#include "connection/client_text.h"
#include "connection/conn_string.h"
#include "zvc.h"

namespace {

struct RecordCloser {
  void operator()(ConnRecord* conn) { ZVC_CloseConnection(&conn); }
};
using Record = std::unique_ptr<ConnRecord, RecordCloser>;

Record fresh() { return Record(static_cast<ConnRecord*>(client_alloc(sizeof(ConnRecord)))); }

Record parsed(const std::string& text, bool* ok = nullptr) {
  Record conn = fresh();
  bool result = parse_conn_string(text.c_str(), conn.get());
  if (ok) *ok = result;
  return conn;
}

bool same_bytes(const ConnRecord* a, const ConnRecord* b) { return memcmp(a, b, sizeof(ConnRecord)) == 0; }

std::string addresses(int n) {
  std::string list;
  for (int i = 1; i <= n; ++i) list += (i > 1 ? "," : "") + std::string("10.0.0.") + std::to_string(i);
  return list;
}

}  // namespace

TEST(ConnString, ScriptLayerFormFillsExactlyItsSixFields) {
  bool ok = false;
  Record conn = parsed("IP=127.0.0.1;Port=5138;Database=SYSTEM;USER=U;PWD=P;CHAR_SET=GBK", &ok);
  EXPECT_TRUE(ok);
  Record expected = fresh();
  strcpy(expected->server_ip, "127.0.0.1");
  expected->port = 5138;
  strcpy(expected->database, "SYSTEM");
  strcpy(expected->user, "U");
  strcpy(expected->password, "P");
  strcpy(expected->char_set, "GBK");
  EXPECT_TRUE(same_bytes(conn.get(), expected.get()));
}

TEST(ConnString, EveryTextKeywordAndAliasInAnyCase) {
  struct Case {
    const char* title;
    size_t offset;
  };
  const Case cases[] = {
      {"DB", offsetof(ConnRecord, database)},
      {"DataBase", offsetof(ConnRecord, database)},
      {"USER", offsetof(ConnRecord, user)},
      {"UID", offsetof(ConnRecord, user)},
      {"USER ID", offsetof(ConnRecord, user)},
      {"USERID", offsetof(ConnRecord, user)},
      {"PWD", offsetof(ConnRecord, password)},
      {"PASSWORD", offsetof(ConnRecord, password)},
      {"SERVER", offsetof(ConnRecord, server_ip)},
      {"IP", offsetof(ConnRecord, server_ip)},
      {"CHAR_SET", offsetof(ConnRecord, char_set)},
      {"CHARACTER_SET", offsetof(ConnRecord, char_set)},
      {"CHARSET", offsetof(ConnRecord, char_set)},
      {"CHARACTER SET", offsetof(ConnRecord, char_set)},
      {"CURRENT_SCHEMA", offsetof(ConnRecord, current_schema)},
      {"COMPATIBLE_MODE", offsetof(ConnRecord, compatible_mode)},
      {"KEYWORD_FILTER", offsetof(ConnRecord, keyword_filter)},
      {"ISO_LEVEL", offsetof(ConnRecord, iso_level)},
      {"ISO LEVEL", offsetof(ConnRecord, iso_level)},
      {"ISOLEVEL", offsetof(ConnRecord, iso_level)},
  };
  for (const Case& c : cases) {
    std::string upper = c.title, lower = c.title;
    for (char& ch : upper) ch = static_cast<char>(toupper(ch));
    for (char& ch : lower) ch = static_cast<char>(tolower(ch));
    for (const std::string& title : {std::string(c.title), upper, lower}) {
      Record conn = parsed(title + "=1.2.3.4;");
      Record expected = fresh();
      strcpy(reinterpret_cast<char*>(expected.get()) + c.offset, "1.2.3.4");
      EXPECT_TRUE(same_bytes(conn.get(), expected.get())) << title;
    }
  }
}

TEST(ConnString, NumbersAndFlags) {
  EXPECT_EQ(parsed("PORT=5138;")->port, 5138);
  EXPECT_EQ(parsed("port=70000;")->port, 70000 - 65536);  // cut to 16 bits
  EXPECT_EQ(parsed("PORT=abc;")->port, 0);
  EXPECT_EQ(parsed("PORT=12ab;")->port, 12);
  EXPECT_EQ(parsed("verbose_mode=6;")->verbose_mode, 6);
  EXPECT_EQ(parsed("VERBOSE_MODE=-1;")->verbose_mode, -1);
  for (const char* title : {"LOCKTIMEOUT", "LOCK TIMEOUT", "LOCK_TIMEOUT", "lock_timeout"})
    EXPECT_EQ(parsed(std::string(title) + "=-5;")->lock_timeout, -5) << title;

  for (const char* title : {"AUTO_COMMIT", "auto commit", "autocommit", "AutoCommit"}) {
    EXPECT_EQ(parsed(std::string(title) + "=off;")->auto_commit_off, 1) << title;
    EXPECT_EQ(parsed(std::string(title) + "=FALSE;")->auto_commit_off, 1) << title;
    EXPECT_EQ(parsed(std::string(title) + "=0;")->auto_commit_off, 0) << title;
    EXPECT_EQ(parsed(std::string(title) + "=on;")->auto_commit_off, 0) << title;
  }
  for (const char* title : {"use_ssl", "ssl", "USESSL", "USE SSL"}) {
    EXPECT_EQ(parsed(std::string(title) + "=on;")->use_ssl, 1) << title;
    EXPECT_EQ(parsed(std::string(title) + "=Yes;")->use_ssl, 1) << title;
    EXPECT_EQ(parsed(std::string(title) + "=TRUE;")->use_ssl, 1) << title;
    EXPECT_EQ(parsed(std::string(title) + "=no;")->use_ssl, 0) << title;
    EXPECT_EQ(parsed(std::string(title) + "=off;")->use_ssl, 0) << title;
  }
  for (const char* title : {"RETURN_ROWID", "RETURN ROWID", "RETURN ROW_ID", "RETURN_ROW_ID"}) {
    EXPECT_EQ(parsed(std::string(title) + "=on;")->return_rowid, 1) << title;
    EXPECT_EQ(parsed(std::string(title) + "=True;")->return_rowid, 1) << title;
    EXPECT_EQ(parsed(std::string(title) + "=yes;")->return_rowid, 0) << title;
  }
  for (const char* title : {"LOB_RET", "LOB RET", "LOBRET"}) {
    EXPECT_EQ(parsed(std::string(title) + "=off;")->lob_ret, 1) << title;
    EXPECT_EQ(parsed(std::string(title) + "=;")->lob_ret, 1) << title;
  }
  for (const char* title : {"RETURN_CURSOR_ID", "RETURN CURSOR_ID", "RETURN_CURSORID"}) {
    EXPECT_EQ(parsed(std::string(title) + "=off;")->return_cursor_id_off, 1) << title;
    EXPECT_EQ(parsed(std::string(title) + "=false;")->return_cursor_id_off, 1) << title;
    EXPECT_EQ(parsed(std::string(title) + "=on;")->return_cursor_id_off, 0) << title;
  }
  EXPECT_EQ(parsed("USE_SRVCURSOR=off;")->use_srvcursor_off, 1);
  EXPECT_EQ(parsed("use_srvcursor=FALSE;")->use_srvcursor_off, 1);
  EXPECT_EQ(parsed("USE_SRVCURSOR=on;")->use_srvcursor_off, 0);

  // A flag given twice: the later one wins, also back to 0.
  EXPECT_EQ(parsed("AUTO_COMMIT=off;AUTO_COMMIT=on")->auto_commit_off, 0);
  EXPECT_STREQ(parsed("USER=a;UID=b")->user, "b");
}

TEST(ConnString, DroppedAndUnknownKeywordsChangeNothing) {
  Record empty = fresh();
  for (const char* text : {"TIME_ZONE=GMT+8;", "time zone=x;", "TimeZone=y;", "FOO=1;BAR=2", "=5;=6;", "IPS;X;Y",
                           "Ips=1.1.1.1;x"}) {
    bool ok = false;
    Record conn = parsed(text, &ok);
    EXPECT_TRUE(ok) << text;
    EXPECT_TRUE(same_bytes(conn.get(), empty.get())) << text;
  }
  Record conn = parsed("FOO=1;PORT=5138");
  EXPECT_EQ(conn->port, 5138);
}

TEST(ConnString, SeparatorsAndItems) {
  bool ok = false;
  Record comma = parsed("IP=1.2.3.4,PORT=5138", &ok);
  EXPECT_TRUE(ok);
  EXPECT_STREQ(comma->server_ip, "1.2.3.4");
  EXPECT_EQ(comma->port, 5138);

  // ";" wins over "," when both appear: the comma then belongs to a value.
  Record both = parsed("PWD=a,b;USER=c", &ok);
  EXPECT_STREQ(both->password, "a,b");
  EXPECT_STREQ(both->user, "c");

  Record single = parsed("IP=1.2.3.4", &ok);
  EXPECT_FALSE(ok);
  EXPECT_TRUE(same_bytes(single.get(), fresh().get()));

  Record shorter = parsed("DB=;", &ok);  // under 5 characters
  EXPECT_FALSE(ok);
  EXPECT_FALSE(parse_conn_string(nullptr, fresh().get()));

  Record no_eq = parsed("IP=1;2", &ok);
  EXPECT_TRUE(ok);
  EXPECT_STREQ(no_eq->server_ip, "1");

  Record empties = parsed(";;DB=X;;;USER=Y;", &ok);
  EXPECT_TRUE(ok);
  EXPECT_STREQ(empties->database, "X");
  EXPECT_STREQ(empties->user, "Y");
}

TEST(ConnString, BlanksEqualsAndEmptyValues) {
  EXPECT_STREQ(parsed(" USER = a b ;")->user, "a b");
  EXPECT_STREQ(parsed("PWD=a=b;")->password, "a=b");
  EXPECT_STREQ(parsed("PWD= =x= ;")->password, "=x=");
  EXPECT_STREQ(parsed("USER=\ta\t;")->user, "\ta\t");  // only the space is a blank
  EXPECT_STREQ(parsed("PWD='q';")->password, "'q'");    // quotes have no meaning

  // Blanks alone give an empty text, which replaces what was there.
  Record conn = fresh();
  parse_conn_string("USER=abc;DB=d", conn.get());
  parse_conn_string("USER=   ;DB=", conn.get());
  EXPECT_STREQ(conn->user, "");
  EXPECT_STREQ(conn->database, "");

  char title[64], value[64];
  EXPECT_TRUE(split_conn_item("  X   =   ", title, value));
  EXPECT_STREQ(title, "X");
  EXPECT_STREQ(value, "");
  EXPECT_TRUE(split_conn_item("   =a", title, value));
  EXPECT_STREQ(title, "");
  EXPECT_STREQ(value, "a");
  strcpy(title, "keep");
  EXPECT_FALSE(split_conn_item("no equals here", title, value));
  EXPECT_STREQ(title, "keep");
}

TEST(ConnString, OverLongTitlesValuesAndItemsAreRefusedWhole) {
  char title[64], value[64];
  std::string v63(63, 'v'), v64(64, 'v');
  EXPECT_TRUE(split_conn_item(("PWD=" + v63).c_str(), title, value));
  EXPECT_EQ(std::string(value), v63);
  strcpy(title, "keep");
  strcpy(value, "keep");
  EXPECT_FALSE(split_conn_item(("PWD=" + v64).c_str(), title, value));
  EXPECT_FALSE(split_conn_item((std::string(64, 't') + "=1").c_str(), title, value));
  EXPECT_STREQ(title, "keep");
  EXPECT_STREQ(value, "keep");

  // A value of 64 characters leaves the field as it was instead of cutting it.
  EXPECT_EQ(std::string(parsed("PWD=" + v63 + ";")->password), v63);
  EXPECT_STREQ(parsed("PWD=old;PWD=" + v64 + ";")->password, "old");
  EXPECT_STREQ(parsed("DB=" + v64 + ";USER=u")->database, "");

  // server_ip holds 31 characters.
  std::string ip31(31, '1'), ip32(32, '1');
  EXPECT_EQ(std::string(parsed("IP=" + ip31 + ";")->server_ip), ip31);
  EXPECT_STREQ(parsed("IP=1.2.3.4;SERVER=" + ip32 + ";")->server_ip, "1.2.3.4");

  // Items of 128 characters or more are skipped, even when title and value would fit,
  // and never take the previous item's value.
  std::string item127 = "PWD" + std::string(63, ' ') + "=" + std::string(60, 'p');
  std::string item128 = "PWD" + std::string(64, ' ') + "=" + std::string(60, 'p');
  ASSERT_EQ(item127.size(), 127u);
  ASSERT_EQ(item128.size(), 128u);
  EXPECT_EQ(std::string(parsed("USER=u;" + item127)->password), std::string(60, 'p'));
  Record conn = parsed("PWD=prev;" + item128 + ";USER=u");
  EXPECT_STREQ(conn->password, "prev");
  EXPECT_STREQ(conn->user, "u");
  EXPECT_STREQ(parsed("USER=x;" + std::string(200, 'U'))->user, "x");
}

TEST(ConnString, ServerLists) {
  Record two = parsed("IPS=1.1.1.1,2.2.2.2;DB=X");
  EXPECT_EQ(two->ips_given, 1);
  EXPECT_STREQ(two->database, "X");
  ASSERT_NE(two->server_list, nullptr);
  ServerList* list = two->server_list;
  ASSERT_EQ(list->count, 2);
  EXPECT_STREQ(list->addrs[0], "1.1.1.1");
  EXPECT_STREQ(list->addrs[1], "2.2.2.2");
  EXPECT_EQ(list->remaining, 2);
  EXPECT_EQ(list->current, 0);
  ASSERT_NE(list->tried, nullptr);
  for (int i = 0; i <= list->count; ++i) EXPECT_EQ(list->tried[i], nullptr);

  // The lower-case prefix, a single address, and blanks kept as given.
  Record one = parsed("DB=Y;ips= 3.3.3.3 ");
  ASSERT_NE(one->server_list, nullptr);
  ASSERT_EQ(one->server_list->count, 1);
  EXPECT_STREQ(one->server_list->addrs[0], " 3.3.3.3 ");

  // A later list replaces the earlier one.
  Record again = parsed("IPS=1.1.1.1,2.2.2.2;IPS=4.4.4.4");
  ASSERT_EQ(again->server_list->count, 1);
  EXPECT_STREQ(again->server_list->addrs[0], "4.4.4.4");

  // An "IPS=" item may be longer than an ordinary item.
  Record grown = parsed("IPS=" + addresses(21) + ";PORT=1");
  ASSERT_EQ(grown->server_list->count, 21);
  EXPECT_STREQ(grown->server_list->addrs[19], "10.0.0.20");
  EXPECT_STREQ(grown->server_list->addrs[20], "10.0.0.21");
  EXPECT_EQ(grown->port, 1);

  Record full = parsed("IPS=" + addresses(100) + ";");
  ASSERT_EQ(full->server_list->count, 100);
  EXPECT_STREQ(full->server_list->addrs[99], "10.0.0.100");
  EXPECT_NE(full->server_list->tried, nullptr);

  testing::internal::CaptureStdout();
  Record over = parsed("IPS=" + addresses(101) + ";");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "set ips error \n");
  ASSERT_NE(over->server_list, nullptr);
  EXPECT_EQ(over->ips_given, 1);
  EXPECT_EQ(over->server_list->count, 99);
  EXPECT_STREQ(over->server_list->addrs[98], "10.0.0.99");
  EXPECT_EQ(over->server_list->tried, nullptr);
}

TEST(ConnString, ServerListCapacityIsTwentyBeforeGrowth) {
  ServerList list{};
  EXPECT_TRUE(parse_ips_list(&list, 20, ("IPS=" + addresses(20)).c_str()));
  EXPECT_EQ(list.count, 20);
  EXPECT_STREQ(list.addrs[19], "10.0.0.20");
  for (int i = 0; i < list.count; ++i) free(list.addrs[i]);
  free(list.addrs);
  free(list.tried);

  // A list that fails keeps what it stored; free_server_list releases it whole.
  ServerList* failed = static_cast<ServerList*>(client_alloc(sizeof(ServerList)));
  testing::internal::CaptureStdout();
  EXPECT_FALSE(parse_ips_list(failed, 20, ("IPS=" + addresses(150)).c_str()));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "set ips error \n");
  EXPECT_EQ(failed->count, 99);
  free_server_list(failed);
  free_server_list(nullptr);
}
