#include "test_client.h"

namespace zvtest {
namespace {

TEST_F(ServerTest, AutoCommitFollowsTheLoginAndSetAndTurningItOnCommits) {
  auto a = connect();
  a->command("SHOW AUTO_COMMIT;");
  std::string expected = "A" + be32(1) + field("auto_commit", 30, 1) + "R" + be32(1) + "TK";
  EXPECT_EQ(a->bytes(expected.size()), expected);
  EXPECT_EQ(connect(" auto_commit = 'off'")->value("SHOW AUTO_COMMIT;"), "F");
  Reply r = a->run("create table v(x INTEGER); SET AUTO_COMMIT OFF; insert into v values(1); SHOW AUTO_COMMIT;"
                   "SET AUTO_COMMIT ON; SHOW AUTO_COMMIT; ROLLBACK");
  ASSERT_EQ(r.letters, "IAA");
  EXPECT_EQ(std::pair(r.records[1].rows[0][0], r.records[2].rows[0][0]), std::pair(Value("F"), Value("T")));
  EXPECT_EQ(connect()->value("select count(*) from v"), be32(1));
}

// Every spelling of a transaction's end, in any case and spacing, is the server's own; a
// statement of SQLite's that starts with a word of the same letters is SQLite's.
TEST_F(ServerTest, TheEndsOfATransactionAreToldApartByTheirWords) {
  auto a = connect(" auto_commit = 'off'");
  auto b = connect();
  ASSERT_TRUE(a->run("create table v(x INTEGER); commit").complete);
  Reply r = a->run(
      "insert into v values(1); commit\twork; insert into v values(2); Rollback  Transaction;"
      "insert into v values(3);END;insert into v values(4); end transaction; insert into v values(5);"
      "ROLLBACK;select count(*), sum(x) from v");
  ASSERT_EQ(r.letters, "IIIIIA");
  EXPECT_EQ(r.records[5].rows, std::vector<Row>({{be32(3), be32(8)}}));
  EXPECT_EQ(b->run("select x from v order by x").records.at(0).rows, std::vector<Row>({{be32(1)}, {be32(3)}, {be32(4)}}));
  EXPECT_EQ(a->run("commitx").records.at(0).text, "[E10001]near \"commitx\": syntax error");
}

TEST_F(ServerTest, ALockHeldByAnotherConnectionEndsInAnErrorAfterTheBusyTimeout) {
  start([](zv::ServerOptions& o) { o.busy_timeout_ms = 500; });
  auto a = connect(" auto_commit = 'off'");
  auto b = connect();
  ASSERT_EQ(b->run("create table l(x INTEGER)").letters, "");
  ASSERT_EQ(a->run("insert into l values(1)").letters, "I");
  EXPECT_EQ(b->run("insert into l values(2)").records.at(0).text, "[E10001]database is locked");

  a.reset();  // a link that drops rolls back its open transaction
  EXPECT_EQ(b->run("insert into l values(2)").letters, "I");
  EXPECT_EQ(b->value("select count(*) from l"), be32(1));
}

}  // namespace
}  // namespace zvtest
