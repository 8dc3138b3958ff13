// A reference server for a test and two links to it: conn, and described, which asked for large
// objects by descriptor.
#pragma once
#include <gtest/gtest.h>

#include <string>

#include "server_process.h"
#include "zvc.h"

class ServerLinks : public ::testing::Test {
 protected:
  // Opens both links with extra behind the server's connection string.
  void open_links(const std::string& extra) {
    ASSERT_NE(0, server.port());
    ASSERT_EQ(2, ZVC_OpenConnection(server.conn_string(extra).c_str(), &conn));
    ASSERT_EQ(2, ZVC_OpenConnection(server.conn_string(extra + ";LOB_RET=on").c_str(), &described));
  }
  void TearDown() override {
    ZVC_CloseConnection(&conn);
    ZVC_CloseConnection(&described);
  }

  ServerProcess server;
  ConnRecord* conn = nullptr;
  ConnRecord* described = nullptr;
};
