#include "test_client.h"

namespace zvtest {
namespace {

// A reply as its letters and, for its "A", its rows' first values as numbers: "A:1,2".
std::string outline(const Reply& reply) {
  std::string out = reply.letters;
  for (const Record& r : reply.records) {
    for (const Row& row : r.rows) {
      int32_t n = 0;
      for (char ch : row.at(0).value()) n = (n << 8) | static_cast<uint8_t>(ch);
      out += (&row == &r.rows[0] ? ":" : ",") + std::to_string(n);
    }
  }
  return out;
}

// Cursors of one text run the link's cached statement of that text when it is free and a
// statement of their own when it is not; one given back, when its cursor has given its last
// row or is closed, serves a later cursor and sees the table as it is then.
TEST_F(ServerTest, CursorsOfOneTextEachReadTheirOwnStatement) {
  auto c = connect();
  ASSERT_EQ(c->run("create table t(n INTEGER); insert into t values(1), (2), (3), (4), (5)").letters, "I");
  const std::string query = " CURSOR FOR select * from t order by n;";
  const std::pair<std::string, std::string> cases[] = {
      {"DECLARE A" + query, ""},       {"DECLARE B" + query, ""},      {"FETCH 2 FROM A", "A:1,2"},
      {"FETCH 1 FROM B", "A:1"},       {"FETCH 1 FROM A", "A:3"},      {"FETCH 9 FROM B", "A:2,3,4,5"},
      {"DECLARE C" + query, ""},       {"FETCH 1 FROM C", "A:1"},      {"FETCH 9 FROM B", "A"},
      {"CLOSE A", ""},                 {"CLOSE B", ""},                {"FETCH 9 FROM C", "A:2,3,4,5"},
  };
  for (const auto& [text, reply] : cases) EXPECT_EQ(outline(c->run(text)), reply) << text;
  EXPECT_EQ(c->run("alter table t add column m INTEGER; update t set m = n * 10").letters, "U");
  EXPECT_EQ(c->run("DECLARE D" + query).letters, "");
  EXPECT_EQ(c->run("FETCH 1 FROM D").records.at(0).rows, std::vector<Row>({{be32(1), be32(10)}}));
}

}  // namespace
}  // namespace zvtest
