#include <sqlite3.h>

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

  std::string version = std::string("Zanvo reference server 1.0 (SQLite ") + sqlite3_libversion() + ")";
  c->command("show version");
  expected =
      "A" + be32(1) + field("version", 30, 64) + "R" + be32(static_cast<int32_t>(version.size())) + version + "K";
  EXPECT_EQ(c->bytes(expected.size()), expected);

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

TEST_F(ServerTest, CursorsServeTheirRowsInBlocks) {
  auto c = connect();
  Reply r = c->run(
      "create table r(n INTEGER); insert into r values(1), (2), (3), (4), (5);"
      "DECLARE STC0_SMARTCUR CURSOR FOR select n, n * 2 as twice from r order by n; OPEN STC0_SMARTCUR ;"
      "FETCH 2 FROM STC0_SMARTCUR ;");
  ASSERT_EQ(r.letters, "IA");
  EXPECT_EQ(r.records[1].fields[1].name, "twice");
  EXPECT_EQ(r.records[1].rows, std::vector<Row>({{be32(1), be32(2)}, {be32(2), be32(4)}}));
  EXPECT_EQ(c->value("select 42"), be32(42));
  EXPECT_EQ(c->run("FETCH  20000  FROM  stc0_smartcur ").records.at(0).rows,
            std::vector<Row>({{be32(3), be32(6)}, {be32(4), be32(8)}, {be32(5), be32(10)}}));
  r = c->run("FETCH 20000 FROM STC0_SMARTCUR ; CLOSE STC0_SMARTCUR ");
  ASSERT_EQ(r.letters, "A");
  EXPECT_EQ(std::pair(r.records[0].fields.size(), r.records[0].rows.size()), std::pair(size_t{2}, size_t{0}));
  for (auto [text, error] :
       {std::pair{"CLOSE STC0_SMARTCUR", "[E10005]no cursor named STC0_SMARTCUR"},
        {"DECLARE C1 CURSOR FOR select * from missing", "[E10001]no such table: missing"},
        {"DECLARE C2 CURSOR FOR create table q(a INTEGER)", "[E10004]a cursor needs a query that returns rows"}}) {
    r = c->run(text);
    ASSERT_EQ(r.letters, "E") << text;
    EXPECT_EQ(r.records[0].text, error);
  }
}

}  // namespace
}  // namespace zvtest
