// Cursors as the client spells them, cursors that belong to their link, and a link that ends
// with a cursor open letting go of its snapshot.
#include "test_client.h"

namespace zvtest {
namespace {

// A reply as its letters and, for each "A", its rows' first values as numbers: "A:1,2"; for an
// "E", its text.
std::string outline(const Reply& reply) {
  std::string out = reply.letters;
  for (const Record& r : reply.records) {
    if (r.letter == 'E') out += ":" + r.text;
    if (r.rows.empty()) continue;
    out += ":";
    for (const Row& row : r.rows) {
      const std::string& v = row.at(0).value();
      int32_t n = 0;
      for (char ch : v) n = (n << 8) | static_cast<uint8_t>(ch);
      out += (out.back() == ':' ? "" : ",") + std::to_string(n);
    }
  }
  return out;
}

class ServerCursorTest : public ServerTest {
 protected:
  std::unique_ptr<TestClient> with_table() {
    auto c = connect();
    EXPECT_EQ(c->run("create table t(n INTEGER); insert into t values(1), (2), (3), (4), (5)").letters, "I");
    return c;
  }
};

TEST_F(ServerCursorTest, EverySpellingOfTheClientIsAnswered) {
  const std::pair<std::string, std::string> cases[] = {
      {"DECLARE STC0_SMARTCUR CURSOR FOR select n from t order by n;", ""},
      {"OPEN STC0_SMARTCUR ;", ""},
      {"FETCH 2 FROM STC0_SMARTCUR ;", "A:1,2"},
      {"FETCH  1  FROM  stc0_smartcur ", "A:3"},
      {"FETCH 1  FROM STC0_SMARTCUR ", "A:4"},
      {"FETCH 20000 FROM STC0_SMARTCUR ;", "A:5"},
      {"FETCH 20000 FROM STC0_SMARTCUR ;", "A"},
      {"CLOSE STC0_SMARTCUR ", ""},
      {"FETCH 1 FROM STC0_SMARTCUR ;", "E:[E10005]no cursor named STC0_SMARTCUR"},
      {"DECLARE C1 CURSOR FOR select * from missing", "E:[E10001]no such table: missing"},
      {"DECLARE C2 CURSOR FOR create table q(a INTEGER)", "E:[E10004]a cursor needs a query that returns rows"},
      {"DECLARE C1 CURSOR FOR select n from t where n > 3 ", ""},
      {"OPEN C1 ;", ""},
      {"FETCH  20000  FROM  C1 ", "A:4,5"},
      {"CLOSE C1 ", ""},
      {"PREPARE STC1 AS select n from t where n < 3", "A$"},
      {"DECLARE  STC1_CUR CURSOR FOR STC1 ", ""},
      {"OPEN STC1_CUR ;", ""},
      {"CLOSE STC1_CUR ", ""},
      {"CLOSE STC1_CUR ", "E:[E10005]no cursor named STC1_CUR"},
  };
  auto c = with_table();
  for (const auto& [text, reply] : cases) EXPECT_EQ(outline(c->run(text)), reply) << text;
  // The prepared statement's cursor takes the command's parameter; the statement stays free.
  EXPECT_EQ(outline(c->run("PREPARE STC2 AS select n from t where n < ?")), "A$");
  c->command("DECLARE  STC2_CUR CURSOR FOR STC2 ", 1, parameter_record(5, be32(3)));
  EXPECT_EQ(c->reply().letters, "");
  EXPECT_EQ(outline(c->run("OPEN STC2_CUR ;")), "");
  c->command("? STC2 ", 1, parameter_record(5, be32(2)));
  EXPECT_EQ(outline(c->reply()), "A:1");
  EXPECT_EQ(outline(c->run("FETCH 5 FROM STC2_CUR ;")), "A:1,2");
}

// Cursors of one text run the link's cached statement of that text when it is free and a
// statement of their own when it is not; one given back, when its cursor has given its last
// row or is closed, serves a later cursor and sees the table as it is then.
TEST_F(ServerCursorTest, CursorsOfOneTextEachReadTheirOwnStatement) {
  auto c = with_table();
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
  Reply declared = c->run("FETCH 1 FROM D");
  ASSERT_EQ(declared.letters, "A");
  EXPECT_EQ(declared.records[0].fields.size(), 2u);
  EXPECT_EQ(declared.records[0].rows, std::vector<Row>({{be32(1), be32(10)}}));
}

// A cursor belongs to its link, which reads its snapshot while another link writes; a link that
// ends takes its cursors along.
TEST_F(ServerCursorTest, CursorsBelongToTheirLinkAndEndWithIt) {
  auto writer = with_table();
  {
    auto reader = connect();
    EXPECT_EQ(outline(reader->run("DECLARE R CURSOR FOR select n from t order by n; OPEN R")), "");
    EXPECT_EQ(outline(reader->run("FETCH 1 FROM R")), "A:1");
    EXPECT_EQ(writer->run("FETCH 1 FROM R").records.at(0).text, "[E10005]no cursor named R");
    EXPECT_EQ(writer->run("insert into t values(6)").letters, "I");
    EXPECT_EQ(outline(reader->run("FETCH 10 FROM R")), "A:2,3,4,5");
  }
  EXPECT_TRUE(within_ms(3000, [&] { return server_->links() == 1; }));
  // The session went with its cursor: under the sanitizers, a statement left unfinalized would
  // keep its database from closing and show as a leak.
  EXPECT_EQ(outline(writer->run("select n from t order by n")), "A:1,2,3,4,5,6");
}

}  // namespace
}  // namespace zvtest
