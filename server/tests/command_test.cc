#include <chrono>
#include <cstdio>
#include <fstream>
#include <tuple>

#include "test_client.h"

namespace zvtest {
namespace {

TEST_F(ServerTest, EachStatementOfATextAnswersItsRecordAndOneKClosesThem) {
  auto c = connect();
  Reply r = c->run(
      "create table t(a INTEGER, b VARCHAR(8)); insert into t values(1, 'one');\n REPLACE into t values(2, 'two') ; "
      "update t set b = 'x'; delete from t where a = 1; select a from t;;");
  ASSERT_TRUE(r.complete);
  ASSERT_EQ(r.letters, "IIUDA");
  EXPECT_EQ(std::tuple(r.records[0].text, r.records[1].text, r.records[2].count, r.records[3].count),
            std::tuple("1", "2", 2, 1));
  EXPECT_EQ(r.records[4].rows, std::vector<Row>{{be32(2)}});

  c->command("select a, b as bee, a + 1 as next, dummy from t, dual");
  std::string expected = "A" + be32(4) + field("a", 5, 0) + field("t.b%bee", 30, 8) + field("next", 5, 0) +
                         field("dummy", 30, 1) + "R" + be32(4) + be32(2) + be32(1) + "x" + be32(4) + be32(3) + be32(1) +
                         "X" + "K";
  EXPECT_EQ(c->bytes(expected.size()), expected);

  r = c->run("insert into t values(3, 'c'); select * from nosuch; insert into t values(4, 'd')");
  ASSERT_EQ(r.letters, "IE");
  EXPECT_EQ(r.records[1].text, "[E10001]no such table: nosuch");
  EXPECT_EQ(c->value("select count(*) from t"), be32(2));

  // A text ends at its first NUL; "." bytes between commands are ignored.
  r = c->run(std::string("select 1\0select 2; select 3", 26));
  ASSERT_EQ(r.letters, "A");
  EXPECT_EQ(r.records[0].rows, std::vector<Row>{{be32(1)}});
  c->send("...");
  EXPECT_EQ(c->value("select 7"), be32(7));
}

TEST_F(ServerTest, GarbageClosesOnlyThatLink) {
  auto c = connect();
  for (const std::string& garbage :
       {std::string("X"), "?" + be32(-5), "?" + be32(8) + "select 1" + '\0' + be32(1) + be16(-3)}) {
    auto bad = connect();
    bad->send(garbage);
    EXPECT_TRUE(bad->closed_by_server());
  }
  EXPECT_EQ(c->value("select 4"), be32(4));
}

TEST_F(ServerTest, EachFaultSpoilsTheNextReplyOnly) {
  const struct {
    const char* fault;
    std::string reply;
    bool closes;
  } cases[] = {
      {"ZANVO FAULT CLOSE AFTER 3;", "A" + std::string(2, '\0'), true},
      {"ZANVO FAULT LETTER x", "x", false},
      {"ZANVO FAULT LENGTH -7", "E" + be32(-7), false},
      {"ZANVO FAULT COLUMNS 2", "A" + be32(2) + field("c1", 30, 0) + field("c2", 30, 0) + "K", false},
      {"ZANVO FAULT RESULTS 2", "A" + be32(1) + field("r", 5, 4) + "A" + be32(1) + field("r", 5, 4) + "K", false},
  };
  for (const auto& k : cases) {
    SCOPED_TRACE(k.fault);
    auto c = connect();
    Reply armed = c->run(k.fault);
    EXPECT_TRUE(armed.complete && armed.records.empty());
    c->command("select 1");
    EXPECT_EQ(c->bytes(k.reply.size()), k.reply);
    if (k.closes) {
      EXPECT_TRUE(c->closed_by_server());
    } else {
      EXPECT_EQ(c->value("select 6"), be32(6));
    }
  }
}

TEST_F(ServerTest, FaultStallDelaysTheNextReplyAndAMalformedFaultIsAnSqlError) {
  auto c = connect();
  EXPECT_EQ(c->run("ZANVO FAULT LETTER xy").records.at(0).text, "[E10001]near \"ZANVO\": syntax error");
  EXPECT_TRUE(c->run("ZANVO FAULT STALL 200").complete);
  auto started = std::chrono::steady_clock::now();
  EXPECT_EQ(c->value("select 5"), be32(5));
  EXPECT_GE(std::chrono::steady_clock::now() - started, std::chrono::milliseconds(200));
}

const std::string kRefused =
    "[E10001]not authorized: this server refuses ATTACH, DETACH, VACUUM and pragmas that reach files or other "
    "connections";

TEST_F(ServerTest, StatementsThatReachFilesOrSharedSettingsAreRefused) {
  const std::string dir = ::testing::TempDir();
  const std::string copy = dir + "zv-sandbox-copy-" + std::to_string(::getpid());
  const std::string victim = dir + "zv-sandbox-victim-" + std::to_string(::getpid());
  std::ofstream(victim) << "not a database";
  auto c = connect();
  for (const std::string& text :
       {"VACUUM INTO '" + copy + "'", std::string("VACUUM"), "ATTACH '" + victim + "' AS v",
        "ATTACH '" + victim + "' AS v; CREATE TABLE v.t(a INTEGER)", std::string("DETACH main"),
        std::string("PRAGMA temp_store_directory = '/tmp'"), std::string("PRAGMA writable_schema = 1"),
        std::string("PRAGMA journal_mode = DELETE"), std::string("PRAGMA soft_heap_limit = 1")}) {
    Reply r = c->run(text);
    ASSERT_EQ(r.letters, "E") << text;
    EXPECT_EQ(r.records[0].text, kRefused) << text;
  }
  EXPECT_EQ(c->run("select load_extension('libm')").records.at(0).text,
            "[E10001]not authorized to use function: load_extension");
  EXPECT_FALSE(std::ifstream(copy).good());
  std::string kept;
  std::getline(std::ifstream(victim), kept);
  EXPECT_EQ(kept, "not a database");
  std::remove(victim.c_str());
  // Pragmas of the connection alone, and ones that only describe the database, still work.
  Reply r = c->run("PRAGMA user_version = 7; PRAGMA user_version; PRAGMA foreign_keys = ON; PRAGMA foreign_keys");
  ASSERT_EQ(r.letters, "AA");
  EXPECT_EQ(std::pair(r.records[0].rows, r.records[1].rows),
            std::pair(std::vector<Row>{{be32(7)}}, std::vector<Row>{{be32(1)}}));
  EXPECT_EQ(c->value("select count(*) from pragma_table_info('dual')"), be32(1));
  EXPECT_EQ(connect()->value("select dummy from dual"), "X");
}

}  // namespace
}  // namespace zvtest
