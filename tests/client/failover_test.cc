// Fail-over among the servers of an "IPS=" list, all on 127.0.0.0/8 and one shared port: the
// peer listens on 127.0.0.1 only, so the same port on 127.0.0.2 and 127.0.0.3 is down.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "connection/client_text.h"
#include "connection/conn_string.h"
#include "peer.h"
#include "zvc.h"

namespace {

const std::string login_text =
    "login database = SYSTEM user='U' password='P' lock_timeout = 300 auto_commit = 'on' "
    "return_cursor_id  = 'on' version = '301'";

std::string ips_string(const std::string& ips, uint16_t port) {
  return "IPS=" + ips + ";PORT=" + std::to_string(port) + ";DB=SYSTEM;USER=U;PWD=P";
}

// A working list in the given order, as a caller would hold it from an earlier call.
ServerList* working_list(const char* ips) {
  ServerList* list = static_cast<ServerList*>(client_alloc(sizeof(ServerList)));
  parse_ips_list(list, 20, ips);
  return list;
}

void expect_tried(const ServerList* list, std::vector<std::string> struck) {
  ASSERT_EQ(list->count - list->remaining, static_cast<int32_t>(struck.size()));
  for (size_t i = 0; i < struck.size(); ++i) EXPECT_EQ(list->tried[i], struck[i]);
  EXPECT_EQ(list->tried[struck.size()], nullptr);
}

}  // namespace

TEST(Failover, StrikesUnreachableServersInOrder) {
  ScriptedPeer peer;
  peer.expect(login_text.size()).send("K");
  peer.start();
  ServerList* list = working_list("IPS=127.0.0.2,127.0.0.1,127.0.0.3");
  ConnRecord* conn = nullptr;
  // 3 % 3 = 0 is .2, down; then .3 moved to 0 and 6 % 2 = 0, down; then .1 moved to 0, 9 % 1 = 0.
  std::string text = ips_string("127.0.0.1,127.0.0.2,127.0.0.3", peer.port());
  EXPECT_EQ(ZVC_OpenConnectionIPS(text.c_str(), 3, &list, &conn), ZV_OK);
  EXPECT_STREQ(conn->server_ip, "127.0.0.1");
  EXPECT_EQ(conn->error_text, nullptr);
  expect_tried(list, {"127.0.0.2", "127.0.0.3"});  // three attempts: two strikes and the one that answered
  EXPECT_EQ(list->addrs[0], std::string("127.0.0.1"));
  EXPECT_EQ(peer.received(), login_text);
  ZVC_CloseConnection(&conn);
  free_server_list(list);
}

TEST(Failover, RandomStartReachesTheLiveServer) {
  ScriptedPeer peer;
  peer.expect(login_text.size()).send("K");
  peer.start();
  ServerList* list = nullptr;
  ConnRecord* conn = nullptr;
  std::string text = ips_string("127.0.0.2,127.0.0.3,127.0.0.1", peer.port());
  ASSERT_EQ(ZVC_OpenConnectionIPS(text.c_str(), 0, &list, &conn), ZV_OK);
  EXPECT_STREQ(conn->server_ip, "127.0.0.1");
  // Each possible first pick: .1 at once; .3, then 3 % 2 = 1 is .1; .2, then 3 % 2 = 1 is .3, then .1.
  if (list->tried[0] == nullptr) expect_tried(list, {});
  else if (list->tried[0] == std::string("127.0.0.3")) expect_tried(list, {"127.0.0.3"});
  else expect_tried(list, {"127.0.0.2", "127.0.0.3"});
  ZVC_CloseConnection(&conn);
  free_server_list(list);
}

TEST(Failover, LoginRefusalEndsTheSearch) {
  ScriptedPeer peer;
  peer.expect(login_text.size()).send("E" + wire_str("no")).close();
  peer.start();
  ServerList* list = working_list("IPS=127.0.0.1,127.0.0.2,127.0.0.3");
  ConnRecord* conn = nullptr;
  std::string text = ips_string("127.0.0.1,127.0.0.2,127.0.0.3", peer.port());
  EXPECT_EQ(ZVC_OpenConnectionIPS(text.c_str(), 6, &list, &conn), ZV_LOGIN_FAILED);
  EXPECT_STREQ(conn->error_text, "[EC014]IPS LOGIN database Failure,IP is 127.0.0.1  \n");
  EXPECT_EQ(list->remaining, 3);
  expect_tried(list, {});
  ZVC_CloseConnection(&conn);
  free_server_list(list);
}

TEST(Failover, AllServersDown) {
  DeadPort dead;
  ServerList* list = working_list("IPS=9.9.9.9");
  ConnRecord* conn = nullptr;
  std::string text = ips_string("127.0.0.1,127.0.0.2,127.0.0.3", dead.port);
  // -1 frees the caller's list and builds a fresh one: n attempts, n - 1 strikes.
  EXPECT_EQ(ZVC_OpenConnectionIPS(text.c_str(), -1, &list, &conn), ZV_SOCKET_FAILED);
  EXPECT_STREQ(conn->error_text, "[EC013]Error IPS Connect database Failed,sock build failure!\n");
  EXPECT_EQ(list->count, 3);
  EXPECT_EQ(list->remaining, 1);
  EXPECT_NE(list->tried[1], nullptr);
  EXPECT_EQ(conn->semaphore, nullptr);
  EXPECT_EQ(ZVC_CloseConnection(&conn), 0);
  EXPECT_EQ(ZVC_OpenConnectionIPS(ips_string("127.0.0.2", dead.port).c_str(), 0, &list, &conn), ZV_SOCKET_FAILED);
  expect_tried(list, {});  // a single address: one attempt, no strike
  ZVC_CloseConnection(&conn);
  free_server_list(list);
}

TEST(Failover, RefusedCalls) {
  ServerList* list = nullptr;
  ConnRecord* conn = nullptr;
  EXPECT_EQ(ZVC_OpenConnectionIPS(nullptr, 0, &list, &conn), ZV_BAD_HANDLE);
  EXPECT_EQ(conn, nullptr);
  EXPECT_EQ(ZVC_OpenConnectionIPS("IP=127.0.0.1;PORT=1", 0, &list, &conn), ZV_NO_SERVER_LIST);
  EXPECT_STREQ(conn->error_text, "[EC015]IPS Connect needs an IPS= server list");
  EXPECT_EQ(list, nullptr);
  ZVC_CloseConnection(&conn);
}
