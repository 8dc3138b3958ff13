#include <gtest/gtest.h>

#include "server_fixture.h"

namespace zvtest {
namespace {

TEST_F(ServerTest, CursorsServeTheirRowsInBlocks) {
  auto c = connect();
  ASSERT_TRUE(c->run("create table r(n INTEGER)").complete);
  ASSERT_EQ(c->run("insert into r values(1), (2), (3), (4), (5)").records.at(0).letter, 'I');

  Reply r = c->run("DECLARE STC0_SMARTCUR CURSOR FOR select n, n * 2 as twice from r order by n;");
  EXPECT_TRUE(r.complete && r.records.empty());
  r = c->run("OPEN STC0_SMARTCUR ;");
  EXPECT_TRUE(r.complete && r.records.empty());

  r = c->run("FETCH 2 FROM STC0_SMARTCUR ;");
  ASSERT_EQ(r.records.size(), 1u);
  EXPECT_EQ(r.records[0].fields.size(), 2u);
  EXPECT_EQ(r.records[0].fields[1].name, "twice");
  EXPECT_EQ(r.records[0].rows, std::vector<Row>({Row({be32(1), be32(2)}), Row({be32(2), be32(4)})}));

  // Other statements may run between two fetches.
  EXPECT_EQ(c->run("select 42").records.at(0).rows.at(0).at(0), be32(42));

  r = c->run("FETCH  20000  FROM  stc0_smartcur ");
  ASSERT_EQ(r.records.size(), 1u);
  ASSERT_EQ(r.records[0].rows.size(), 3u);
  EXPECT_EQ(r.records[0].rows[2][0], be32(5));

  r = c->run("FETCH 20000 FROM STC0_SMARTCUR ;");
  ASSERT_EQ(r.records.size(), 1u);
  EXPECT_EQ(r.records[0].fields.size(), 2u);
  EXPECT_TRUE(r.records[0].rows.empty());

  r = c->run("CLOSE STC0_SMARTCUR ");
  EXPECT_TRUE(r.complete && r.records.empty());
  r = c->run("CLOSE STC0_SMARTCUR ");
  ASSERT_EQ(r.records.size(), 1u);
  EXPECT_EQ(r.records[0].text, "[E10005]no cursor named STC0_SMARTCUR");
}

TEST_F(ServerTest, CursorErrorsAreReportedAtTheRightStatement) {
  auto c = connect();
  Reply r = c->run("DECLARE STC1_SMARTCUR CURSOR FOR select * from missing;");
  ASSERT_EQ(r.records.size(), 1u);
  EXPECT_EQ(r.records[0].text, "[E10001]no such table: missing");
  r = c->run("OPEN STC1_SMARTCUR ;");
  ASSERT_EQ(r.records.size(), 1u);
  EXPECT_EQ(r.records[0].letter, 'E');
  r = c->run("FETCH 10 FROM STC1_SMARTCUR ;");
  ASSERT_EQ(r.records.size(), 1u);
  EXPECT_EQ(r.records[0].letter, 'E');
  r = c->run("DECLARE STC2 CURSOR FOR create table q(a INTEGER) ");
  ASSERT_EQ(r.records.size(), 1u);
  EXPECT_EQ(r.records[0].text.substr(0, 8), "[E10004]");
}

}  // namespace
}  // namespace zvtest
