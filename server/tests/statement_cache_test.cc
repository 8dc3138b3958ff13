#include "statement_cache.h"

#include <string>

#include "test_client.h"

namespace zvtest {
namespace {

std::vector<std::string> names(const Record& r) {
  std::vector<std::string> out;
  for (const Field& f : r.fields) out.push_back(f.name);
  return out;
}

// The same text, sent again after its table changed under it, answers from the table as it is now.
TEST_F(ServerTest, AStatementSentAgainSeesItsTableAsItIsNow) {
  auto c = connect();
  const std::string select = "select * from c";
  c->run("create table c(a VARCHAR(5)); insert into c values('one')");
  Reply r = c->run(select);
  EXPECT_EQ(names(r.records.at(0)), std::vector<std::string>{"a"});

  c->run("alter table c add column b VARCHAR(5); update c set b = 'two'");
  r = c->run(select);
  EXPECT_EQ(names(r.records.at(0)), (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(r.records.at(0).rows, (std::vector<Row>{{"one", "two"}}));

  c->run("drop table c; create table c(z VARCHAR(5)); insert into c values('new')");
  r = c->run(select);
  EXPECT_EQ(names(r.records.at(0)), std::vector<std::string>{"z"});
  EXPECT_EQ(r.records.at(0).rows, std::vector<Row>{{"new"}});

  c->run("drop table c");
  r = c->run(select);
  EXPECT_EQ(r.letters, "E");
  EXPECT_EQ(r.records.at(0).text, "[E10001]no such table: c");
}

class StatementCacheTest : public ::testing::Test {
 protected:
  StatementCacheTest() { sqlite3_open(":memory:", &db_); }
  ~StatementCacheTest() override { sqlite3_close_v2(db_); }
  zv::StmtPtr compile(const std::string& text) {
    sqlite3_stmt* stmt = nullptr;
    sqlite3_prepare_v2(db_, text.c_str(), -1, &stmt, nullptr);
    return zv::StmtPtr(stmt);
  }
  void give_back(const std::string& text) { cache_.give_back(text, compile(text), text.size()); }
  bool kept(const std::string& text) {
    zv::StmtPtr stmt;
    size_t used = 0;
    if (!cache_.take(text, stmt, used)) return false;
    EXPECT_EQ(used, text.size());
    cache_.give_back(text, std::move(stmt), used);
    return true;
  }

  sqlite3* db_ = nullptr;
  zv::StatementCache cache_{2};
};

TEST_F(StatementCacheTest, KeepsTheTextsUsedLatestUpToItsBound) {
  give_back("select 1");
  give_back("select 2");
  EXPECT_TRUE(kept("select 1"));  // now "select 2" was used longest ago
  give_back("select 3");
  EXPECT_FALSE(kept("select 2"));
  EXPECT_TRUE(kept("select 1"));
  EXPECT_TRUE(kept("select 3"));
  EXPECT_FALSE(kept("select 3 "));  // a text is kept exactly
}

TEST_F(StatementCacheTest, KeepsNoPragmaAndNoLongTextAndGivesBackResetAndUnbound) {
  give_back("  pragma user_version");
  const std::string long_text = "select '" + std::string(zv::StatementCache::kMaxText, 'x') + "'";
  give_back(long_text);
  EXPECT_FALSE(kept("  pragma user_version"));
  EXPECT_FALSE(kept(long_text));

  zv::StmtPtr stmt = compile("select ?");
  sqlite3_bind_int(stmt.get(), 1, 7);
  ASSERT_EQ(sqlite3_step(stmt.get()), SQLITE_ROW);
  cache_.give_back("select ?", std::move(stmt), 8);
  size_t used = 0;
  ASSERT_TRUE(cache_.take("select ?", stmt, used));
  EXPECT_EQ(sqlite3_stmt_busy(stmt.get()), 0);
  ASSERT_EQ(sqlite3_step(stmt.get()), SQLITE_ROW);
  EXPECT_EQ(sqlite3_column_type(stmt.get(), 0), SQLITE_NULL);
}

}  // namespace
}  // namespace zvtest
