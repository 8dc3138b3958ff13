#include <gtest/gtest.h>

#include <chrono>

#include "server_fixture.h"

namespace zvtest {
namespace {

std::string auto_commit_of(TestClient& c) {
  Reply r = c.run("SHOW AUTO_COMMIT;");
  if (r.records.size() != 1 || r.records[0].rows.size() != 1) return "?";
  return r.records[0].rows[0][0].value_or("null");
}

int32_t count_of(TestClient& c, const std::string& table) {
  Reply r = c.run("select count(*) from " + table);
  if (r.records.size() != 1 || r.records[0].letter != 'A') return -1;
  return static_cast<int32_t>(static_cast<unsigned char>((*r.records[0].rows[0][0])[3]));
}

TEST_F(ServerTest, AutoCommitFollowsTheLoginAndTheSetStatements) {
  auto c = connect();
  EXPECT_EQ(auto_commit_of(*c), "T");
  EXPECT_TRUE(c->run("SET AUTO_COMMIT OFF;").records.empty());
  EXPECT_EQ(auto_commit_of(*c), "F");
  EXPECT_TRUE(c->run("SET AUTO_COMMIT ON;").records.empty());
  EXPECT_EQ(auto_commit_of(*c), "T");

  auto manual = connect(" auto_commit = 'off'");
  EXPECT_EQ(auto_commit_of(*manual), "F");
  // COMMIT and ROLLBACK with nothing open succeed quietly.
  Reply r = manual->run("COMMIT;");
  EXPECT_TRUE(r.complete && r.records.empty());
  r = c->run("ROLLBACK;");
  EXPECT_TRUE(r.complete && r.records.empty());
}

TEST_F(ServerTest, ConnectionsSeeCommittedDataAndNotUncommitted) {
  auto a = connect();
  auto b = connect();
  ASSERT_TRUE(a->run("create table v(x INTEGER)").complete);
  a->run("SET AUTO_COMMIT OFF;");
  a->run("insert into v values(1)");
  EXPECT_EQ(count_of(*a, "v"), 1);
  EXPECT_EQ(count_of(*b, "v"), 0);
  EXPECT_TRUE(a->run("COMMIT;").records.empty());
  EXPECT_EQ(count_of(*b, "v"), 1);

  // In manual mode the next statement opens the next transaction.
  a->run("insert into v values(2)");
  EXPECT_EQ(count_of(*a, "v"), 2);
  EXPECT_TRUE(a->run("ROLLBACK;").records.empty());
  EXPECT_EQ(count_of(*a, "v"), 1);
  EXPECT_EQ(count_of(*b, "v"), 1);

  // Switching auto commit back on commits what is open.
  a->run("insert into v values(3)");
  a->run("SET AUTO_COMMIT ON;");
  EXPECT_EQ(count_of(*b, "v"), 2);
}

TEST_F(ServerTest, ALockHeldByAnotherConnectionEndsInAnErrorAfterTheBusyTimeout) {
  zv::ServerOptions options;
  options.busy_timeout_ms = 300;
  start(options);
  auto a = connect(" auto_commit = 'off'");
  auto b = connect();
  ASSERT_TRUE(b->run("create table l(x INTEGER)").complete);
  ASSERT_EQ(a->run("insert into l values(1)").records.at(0).letter, 'I');

  auto started = std::chrono::steady_clock::now();
  Reply r = b->run("insert into l values(2)");
  auto waited = std::chrono::steady_clock::now() - started;
  ASSERT_TRUE(r.complete);
  ASSERT_EQ(r.records.size(), 1u);
  EXPECT_EQ(r.records[0].letter, 'E');
  EXPECT_EQ(r.records[0].text, "[E10001]database is locked");
  EXPECT_LT(waited, std::chrono::seconds(15));

  a->run("COMMIT;");
  EXPECT_EQ(b->run("insert into l values(2)").records.at(0).letter, 'I');
  EXPECT_EQ(count_of(*a, "l"), 2);
}

TEST_F(ServerTest, ADroppedLinkDiscardsItsTransaction) {
  auto b = connect();
  ASSERT_TRUE(b->run("create table d(x INTEGER)").complete);
  {
    auto a = connect(" auto_commit = 'off'");
    ASSERT_EQ(a->run("insert into d values(1)").records.at(0).letter, 'I');
  }
  // The insert waits (up to the busy timeout) for the dropped link's lock to go.
  EXPECT_EQ(b->run("insert into d values(2)").records.at(0).letter, 'I');
  EXPECT_EQ(count_of(*b, "d"), 1);
}

}  // namespace
}  // namespace zvtest
