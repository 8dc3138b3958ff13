// Fail-over among reference servers: an "IPS=" list shares one PORT, so the servers listen on
// 127.0.0.1, .2 and .3 at the same port. Servers are stopped mid-test, and a server whose
// password differs refuses the login.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "held_server_list.h"
#include "server_process.h"

namespace {
const char* const kThree = "IPS=127.0.0.1,127.0.0.2,127.0.0.3";
const char* const kLogin = "USER=SYSDBA;PWD=SYSDBA";
}  // namespace

// Each open makes one attempt more than it strikes servers: 1, then 2, then 2 again.
TEST(FailoverServers, StoppedServersAreStruckAndTheNextLiveOneAnswers) {
  ServerProcess first;
  ASSERT_NE(0, first.port());
  HeldServerList open;
  open.hold(kThree);
  ServerProcess second("127.0.0.2", first.port()), third("127.0.0.3", first.port());
  ASSERT_EQ(first.port(), second.port());
  ASSERT_EQ(first.port(), third.port());

  // 3 % 3 = 0: 127.0.0.1 answers at once.
  ASSERT_EQ(ZV_OK, open.run(kThree, first.port(), 3, kLogin));
  EXPECT_STREQ("127.0.0.1", open.conn->server_ip);
  EXPECT_EQ(0, ZVC_ExecNoQuery(&open.conn, "create table here (n integer)"));
  EXPECT_EQ(3, open.list->remaining);

  // Stopped: 3 % 3 = 0 is .1, struck, .3 moves to 0; 6 % 2 = 0 is .3, which answers.
  first.stop();
  ASSERT_EQ(ZV_OK, open.run(kThree, first.port(), 3, kLogin));
  EXPECT_STREQ("127.0.0.3", open.conn->server_ip);
  EXPECT_EQ(std::vector<std::string>{"127.0.0.1"}, open.struck());
  // Its own database: the table made on the first server is not there.
  EXPECT_EQ(-1, ZVC_ExecNoQuery(&open.conn, "insert into here values (1)"));

  // The struck server stays struck; with .3 stopped too, 6 % 2 = 0 is .3, struck, and .2 answers.
  third.stop();
  ASSERT_EQ(ZV_OK, open.run(kThree, first.port(), 6, kLogin));
  EXPECT_STREQ("127.0.0.2", open.conn->server_ip);
  EXPECT_EQ((std::vector<std::string>{"127.0.0.1", "127.0.0.3"}), open.struck());
  EXPECT_EQ(0, ZVC_ExecNoQuery(&open.conn, "create table here (n integer)"));

  // With the last one stopped: one attempt, no strike, and the list keeps it.
  second.stop();
  EXPECT_EQ(ZV_SOCKET_FAILED, open.run(kThree, first.port(), 2, kLogin));
  EXPECT_STREQ("[EC013]Error IPS Connect database Failed,sock build failure!\n", open.conn->error_text);
  EXPECT_EQ(1, open.list->remaining);
}

// 127.0.0.4 refuses SYSDBA's password: the search ends there, although .2 would answer.
TEST(FailoverServers, ALoginRefusalOnTheFirstServerEndsTheSearch) {
  ServerProcess live("127.0.0.2");
  ASSERT_NE(0, live.port());
  ServerProcess refusing("127.0.0.4", live.port(), "other");
  ASSERT_EQ(live.port(), refusing.port());
  HeldServerList open;
  open.hold("IPS=127.0.0.4,127.0.0.2");
  EXPECT_EQ(ZV_LOGIN_FAILED, open.run("IPS=127.0.0.4,127.0.0.2", live.port(), 2, kLogin));
  EXPECT_STREQ("[EC014]IPS LOGIN database Failure,IP is 127.0.0.4  \n", open.conn->error_text);
  EXPECT_EQ(2, open.list->remaining);
  EXPECT_TRUE(open.struck().empty());
  // From the other end of the list the live server answers.
  EXPECT_EQ(ZV_OK, open.run("IPS=127.0.0.4,127.0.0.2", live.port(), 3, kLogin));
  EXPECT_STREQ("127.0.0.2", open.conn->server_ip);
}
