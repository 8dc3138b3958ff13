#include <chrono>
#include <thread>

#include "test_client.h"

namespace zvtest {
namespace {

TEST_F(ServerTest, LoginsAcceptedInPiecesRefusedAndInTheOldReplyForm) {
  TestClient c(port());
  std::string full = login_text("sysdba", "SYSDBA",
                                " char_set = '' iso_level = 'serializable' current_schema = 'S' compatible_mode = 'M'"
                                " keyword_filter='K' lock_timeout = -1 auto_commit = 'off' return_cursor_id  = 'on'"
                                " lob_ret  =descriptor");
  c.send(full.substr(0, full.size() - 1));
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_EQ(c.login(full.substr(full.size() - 1)), kLoggedIn);
  EXPECT_EQ(c.value("SHOW AUTO_COMMIT;"), "F");

  // Refusals close the link; a login under the old reply form is answered with a bare "K".
  start([](zv::ServerOptions& o) {
    o.user = "ALICE";
    o.password = "my secret";
    o.reply_version = 201;
  });
  for (auto [text, error] :
       {std::pair{login_text("ALICE", "My secret"), "[E10002]login refused: wrong user name or password"},
        {"hello there version = '301'", "[E10002]not a login text"},
        {"login user='U' version = '301'", "[E10002]login text without a database clause"}}) {
    TestClient refused(port());
    EXPECT_EQ(refused.login(text), "E") << text;
    EXPECT_EQ(refused.string(), error);
    EXPECT_TRUE(refused.closed_by_server()) << text;
  }
  TestClient old(port());
  EXPECT_EQ(old.login(login_text("alice", "my secret")), "K");
  EXPECT_EQ(old.value("select 3"), be32(3));
}

}  // namespace
}  // namespace zvtest
