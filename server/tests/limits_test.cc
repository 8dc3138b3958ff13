#include "test_client.h"

namespace zvtest {
namespace {

TEST_F(ServerTest, ErrorTextsQuoteAtMost200BytesOfTheStatement) {
  auto c = connect();
  const std::string head = "[E10001]unrecognized token: \"'";  // 30 bytes
  const struct {
    std::string statement;
    std::string error;
  } cases[] = {
      {"select '" + std::string(169, 'x'), head + std::string(169, 'x') + "\""},
      {"select '" + std::string(1 << 20, 'x'), head + std::string(170, 'x') + "..."},
      // "é" would straddle byte 200: it is left out whole.
      {"select '" + std::string(169, 'x') + "\xC3\xA9" + "yy", head + std::string(169, 'x') + "..."},
  };
  for (const auto& k : cases) {
    Reply r = c->run(k.statement);
    ASSERT_EQ(r.letters, "E") << k.error;
    EXPECT_EQ(r.records[0].text, k.error);
  }
}

TEST_F(ServerTest, ACommandOverTheTextOrParameterLimitIsAnsweredAndEndsTheLink) {
  start([](zv::ServerOptions& o) {
    o.command_max = 1000;
    o.parameter_max = 100;
  });
  auto head = [](int32_t data_len) { return be16(0) + be16(1) + be16(30) + be32(data_len); };  // 10 bytes
  auto parameter = [&](int32_t data_len) { return parameter_record(30, std::string(static_cast<size_t>(data_len), 'p')); };
  auto c = connect();
  EXPECT_EQ(c->value("select 1" + std::string(992, ' ')), be32(1));
  c->command("select length(?)", 1, parameter(90));
  EXPECT_EQ(c->reply().records.at(0).rows, std::vector<Row>{{be32(90)}});
  EXPECT_EQ(c->value("select 3"), be32(3));

  const struct {
    std::string bytes;  // as much of the command as is sent
    std::string error;
  } cases[] = {
      {"?" + be32(1001) + "select 1", "[E10007]command text longer than 1000 bytes"},
      {"?" + be32(1 << 30) + std::string(200000, ' '), "[E10007]command text longer than 1000 bytes"},
      {"?" + be32(8) + "select 1" + '\0' + be32(1) + parameter(91), "[E10003]parameters longer than 100 bytes"},
      {"?" + be32(8) + "select 1" + '\0' + be32(1) + head(1 << 30),
       "[E10003]parameters longer than 100 bytes"},
  };
  for (const auto& k : cases) {
    auto over = connect();
    over->send(k.bytes);
    EXPECT_EQ(over->bytes(1), "E");
    EXPECT_EQ(over->string(), k.error);
    EXPECT_EQ(over->bytes(1), "K");
    EXPECT_TRUE(over->closed_by_server());
  }
}

TEST_F(ServerTest, AValueOverTheLimitIsAnErrorInsteadOfBeingBuilt) {
  start([](zv::ServerOptions& o) { o.value_max = 1000; });
  auto c = connect();
  EXPECT_EQ(c->value("select length(randomblob(1000))"), be32(1000));
  for (const char* text : {"select randomblob(1001)", "select length(zeroblob(999) || 'ab')",
                           "select length(group_concat('0123456789')) from (select 1 from "
                           "(WITH RECURSIVE n(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM n WHERE x < 200) "
                           "SELECT x FROM n))"}) {
    Reply r = c->run(text);
    ASSERT_EQ(r.letters, "E") << text;
    EXPECT_EQ(r.records[0].text, "[E10001]string or blob too big") << text;
  }
}

// A link that keeps talking stays; one that goes quiet, even half-way through a command, goes.
TEST_F(ServerTest, ALinkIdleForLongerThanTheTimeOutIsClosed) {
  start([](zv::ServerOptions& o) { o.idle_timeout_ms = 300; });
  auto busy = connect();
  auto stalled = connect();
  stalled->send("?" + be32(100) + "select");
  for (int i = 0; i < 5; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(150));
    EXPECT_EQ(busy->value("select " + std::to_string(i)), be32(i));
  }
  EXPECT_TRUE(stalled->closed_by_server());
}

TEST_F(ServerTest, LinksOverTheLimitAndLongLoginTextsAreRefused) {
  start([](zv::ServerOptions& o) {
    o.max_links = 2;
    o.login_max = 100;
  });
  auto first = connect();
  auto second = connect();
  for (int i = 0; i < 3; ++i) {
    TestClient third(port());
    EXPECT_EQ(third.login(login_text("SYSDBA", "SYSDBA")), "E");
    EXPECT_EQ(third.string(), "[E10002]too many links: this server serves at most 2 at once");
    EXPECT_TRUE(third.closed_by_server());
  }
  first.reset();
  ASSERT_TRUE(within_ms(2000, [&] { return server_->links() == 1; }));
  auto again = connect();
  EXPECT_EQ(again->value("select 8"), be32(8));

  second.reset();
  ASSERT_TRUE(within_ms(2000, [&] { return server_->links() == 1; }));
  TestClient wordy(port());
  std::string text = login_text("SYSDBA", "SYSDBA", " keyword_filter='" + std::string(40, 'k') + "'");
  ASSERT_GT(text.size(), 100u);
  EXPECT_EQ(wordy.login(text), "E");
  EXPECT_EQ(wordy.string(), "[E10002]login text too long");
}

// All the reads of a login share one deadline: a client that sends its login text a few bytes
// at a time, each piece well within the deadline of the last, is cut all the same.
TEST_F(ServerTest, ALoginMustBeCompleteByItsDeadline) {
  start([](zv::ServerOptions& o) { o.login_timeout_ms = 500; });
  const std::string text = login_text("SYSDBA", "SYSDBA");
  TestClient drip(port());
  for (size_t at = 0; at < text.size(); at += 8) {
    drip.send(text.substr(at, 8));
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  EXPECT_EQ(drip.login_answer(), "");
}

// Names of cursors and prepared statements have at most --name-max characters, and what a
// link keeps of them, names and texts, at most --kept-max bytes. A statement or cursor that
// replaces one of its name counts in its place; CLOSE and DEALLOCATE give their bytes back.
TEST_F(ServerTest, NamesAndWhatALinkKeepsAreCapped) {
  start([](zv::ServerOptions& o) {
    o.name_max = 4;
    o.kept_max = 100;
  });
  const std::string query = " select '" + std::string(36, 'x') + "'";  // 46 bytes, 50 with a name of 4
  const std::string full = "[E10013]a link keeps at most 100 bytes of the names and texts of its cursors and prepared "
                           "statements";
  const struct {
    std::string text, letters, error;
  } cases[] = {
      {"PREPARE ABCDE AS select 1", "E", "[E10010]a statement name has at most 4 characters"},
      {"DECLARE ABCDE CURSOR FOR select 1", "E", "[E10006]a cursor name has at most 4 characters"},
      {"PREPARE ABCD AS" + query, "A$", ""},
      {"DECLARE WXYZ CURSOR FOR" + query, "", ""},
      {"PREPARE P AS select 1", "E", full},
      {"DECLARE C CURSOR FOR select 1", "E", full},
      {"PREPARE ABCD AS" + query, "A$", ""},
      {"DECLARE WXYZ CURSOR FOR" + query, "", ""},
      {"CLOSE WXYZ", "", ""},
      {"DECLARE C CURSOR FOR select 1", "", ""},
      {"PREPARE P AS" + query, "E", full},
      {"DEALLOCATE ABCD ", "", ""},
      {"PREPARE P AS" + query, "A$", ""},
  };
  auto c = connect();
  for (const auto& k : cases) {
    Reply r = c->run(k.text);
    ASSERT_EQ(r.letters, k.letters) << k.text;
    if (!k.error.empty()) {
      EXPECT_EQ(r.records[0].text, k.error) << k.text;
    }
  }
  EXPECT_EQ(c->value("select 7"), be32(7));
}

}  // namespace
}  // namespace zvtest
