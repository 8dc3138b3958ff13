// Fail-over among the servers of an "IPS=" list, all on one shared port: peers listen on
// 127.0.0.1 alone, so the same port on 127.0.0.2 and 127.0.0.3 is down.
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <set>
#include <string>
#include <vector>

#include "held_server_list.h"
#include "peer.h"
#include "zvc.h"

namespace {

const std::string login_text = "login database = SYSTEM user='U' password='P' lock_timeout = 300 auto_commit = 'on' "
                               "return_cursor_id  = 'on' version = '301'";
const char* const three = "IPS=127.0.0.2,127.0.0.1,127.0.0.3";

}  // namespace

// A server that takes the link but never answers the login costs one CONNECT_TIMEOUT, and is
// then struck like one that cannot be reached.
TEST(Failover, SilentServerIsPassedOverAtTheDeadline) {
  ScriptedPeer peer;
  peer.expect(login_text.size()).send("K");
  peer.start();
  // Listening on the same port of 127.0.0.2, but never accepting: the connect goes through and
  // the login gets no answer.
  int silent = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in addr{};
  addr.sin_family = AF_INET;
  addr.sin_addr.s_addr = inet_addr("127.0.0.2");
  addr.sin_port = htons(peer.port());
  ASSERT_EQ(0, bind(silent, reinterpret_cast<sockaddr*>(&addr), sizeof addr));
  ASSERT_EQ(0, listen(silent, 4));
  const char* two = "IPS=127.0.0.2,127.0.0.1";
  HeldServerList open;
  open.hold(two);
  EXPECT_EQ(open.run(two, peer.port(), 2, "USER=U;PWD=P;CONNECT_TIMEOUT=500"), ZV_OK);
  EXPECT_STREQ(open.conn->server_ip, "127.0.0.1");
  EXPECT_EQ(open.struck(), std::vector<std::string>{"127.0.0.2"});
  EXPECT_EQ(peer.received(), login_text);
  close(silent);
}

// A server that refuses the login ends the search: the next one of the list is not tried.
TEST(Failover, ALoginRefusalEndsTheSearch) {
  ScriptedPeer peer;
  peer.expect(login_text.size()).send("E" + wire_str("password wrong")).close();
  peer.start();
  HeldServerList open;
  open.hold("IPS=127.0.0.1,127.0.0.2");
  EXPECT_EQ(open.run("IPS=127.0.0.1,127.0.0.2", peer.port(), 2), ZV_LOGIN_FAILED);
  EXPECT_TRUE(open.struck().empty());
}

// Position 1 starts a new list, as 0 does: the held list, here without the live server, is
// dropped for the servers of the string.
TEST(Failover, PositionOneStartsANewList) {
  ScriptedPeer peer;
  peer.expect(login_text.size()).send("K");
  peer.start();
  HeldServerList open;
  open.hold("IPS=127.0.0.2,127.0.0.3");
  EXPECT_EQ(open.run(three, peer.port(), 1), ZV_OK);
  EXPECT_STREQ(open.conn->server_ip, "127.0.0.1");
}

TEST(Failover, AllDown) {
  DeadPort dead;
  HeldServerList open;
  open.hold("IPS=9.9.9.9");
  EXPECT_EQ(open.run(three, dead.port, -1), ZV_SOCKET_FAILED);  // the held list freed, a fresh one built
  EXPECT_STREQ(open.conn->error_text, "[EC013]Error IPS Connect database Failed,sock build failure!\n");
  EXPECT_EQ(open.struck().size(), 2u);  // three attempts
}

// Lists built one after another within the same second still start at different servers: the
// seed adds the count of lists built. The first server struck is the random start.
TEST(Failover, ListsBuiltInOneSecondStartApart) {
  DeadPort dead;
  std::set<std::string> starts;
  for (int i = 0; i < 24; i++) {
    HeldServerList open;
    ASSERT_EQ(ZV_SOCKET_FAILED, open.run(three, dead.port, 0));
    starts.insert(open.struck().at(0));
  }
  EXPECT_GT(starts.size(), 1u);
}
