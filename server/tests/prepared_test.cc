#include "test_client.h"

namespace zvtest {
namespace {

constexpr int16_t kInt = 5, kChar = 30;

// One placeholder as the "$" record describes it: name, position, type CHAR, size 0.
std::string placeholder(const std::string& name, int32_t position) {
  return wire_string(name) + be32(position) + be32(kChar) + be32(0);
}
std::string error_reply(const std::string& text) { return "E" + wire_string(text) + "K"; }

class ServerPreparedTest : public ServerTest {};

// Sends `text` and expects exactly `reply`; the next exchange shows that nothing more came.
void expect_reply(TestClient& c, const std::string& text, const std::string& reply) {
  c.command(text);
  EXPECT_EQ(c.bytes(reply.size()), reply) << text;
}

TEST_F(ServerPreparedTest, PrepareDescribesRowsAndPlaceholders) {
  const std::pair<std::string, std::string> cases[] = {
      {"PREPARE STC0 AS select n, s from p where n > ?",
       "A" + be32(2) + field("n", kInt, 0) + field("s", kChar, 10) + "$" + be32(1) + placeholder("", 1) + "K"},
      {"PREPARE STC1 AS insert into p values(:n, :s);", "$" + be32(2) + placeholder("n", 1) + placeholder("s", 2) + "K"},
      {"prepare stc2 as select ?2 + 1 as x, @a", "A" + be32(2) + field("x", kChar, 0) + field("@a", kChar, 0) + "$" +
                                                     be32(3) + placeholder("", 1) + placeholder("", 2) +
                                                     placeholder("a", 3) + "K"},
      {"PREPARE STC3 AS delete from p", "$" + be32(0) + "K"},
      {"PREPARE STC4 AS select * from nowhere", error_reply("[E10001]no such table: nowhere")},
      {"PREPARE STC5 AS select 1; select 2", error_reply("[E10010]PREPARE takes one statement")},
  };
  auto c = connect();
  ASSERT_EQ(c->run("create table p(n INTEGER, s VARCHAR(10)); insert into p values(1, 'one'), (2, 'two')").letters, "I");
  for (const auto& [text, reply] : cases) expect_reply(*c, text, reply);
  EXPECT_EQ(c->value("select count(*) from p"), be32(2));
}

TEST_F(ServerPreparedTest, CapCountsNamesAndAPrepareOfAKnownNameReplacesIt) {
  start([](zv::ServerOptions& o) { o.max_prepared = 2; });
  auto c = connect();
  EXPECT_EQ(c->run("PREPARE A AS select 1;").letters, "A$");
  EXPECT_EQ(c->run("PREPARE B AS select 2").letters, "A$");
  expect_reply(*c, "PREPARE C AS select 3", error_reply("[E10011]too many prepared statements: a link keeps at most 2"));
  c->run("PREPARE A AS select 'again'");
  c->run("PREPARE A AS select * from nowhere");  // fails and leaves A as it was
  EXPECT_EQ(c->value("? A "), "again");
  c->run("DEALLOCATE B ");
  EXPECT_EQ(c->run("PREPARE C AS select 3").letters, "A$");
}

}  // namespace
}  // namespace zvtest
