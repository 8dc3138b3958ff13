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

TEST_F(ServerTest, AQueryWhoseClientHasGoneStops) {
  const char* endless = "WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c) SELECT count(*) FROM c";
  {
    auto c = connect();
    c->command(endless);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));  // the query is running
    EXPECT_EQ(server_->links(), 1u);
  }
  EXPECT_TRUE(within_ms(3000, [&] { return server_->links() == 0; }));
}

const std::string kRefused =
    "[E10001]not authorized: this server refuses ATTACH, DETACH, VACUUM and pragmas that reach files or other "
    "connections";

TEST_F(ServerTest, StatementsThatReachFilesOrSharedSettingsAreRefused) {
  const std::string file = ::testing::TempDir() + "zv-sandbox-" + std::to_string(::getpid());
  auto c = connect();
  for (const std::string& text :
       {"VACUUM INTO '" + file + "'", std::string("VACUUM"), "ATTACH '" + file + "' AS v",
        "ATTACH '" + file + "' AS v; CREATE TABLE v.t(a INTEGER)", std::string("DETACH main"),
        std::string("PRAGMA temp_store_directory = '/tmp'"), std::string("PRAGMA writable_schema = 1"),
        std::string("PRAGMA journal_mode = DELETE"), std::string("PRAGMA soft_heap_limit = 1")}) {
    Reply r = c->run(text);
    ASSERT_EQ(r.letters, "E") << text;
    EXPECT_EQ(r.records[0].text, kRefused) << text;
  }
  EXPECT_EQ(c->run("select load_extension('libm')").records.at(0).text,
            "[E10001]not authorized to use function: load_extension");
  EXPECT_FALSE(std::ifstream(file).good());
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
