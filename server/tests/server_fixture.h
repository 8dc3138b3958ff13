// Starts a server in this process on an ephemeral port for each test.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "server.h"
#include "test_client.h"

namespace zvtest {

class ServerTest : public ::testing::Test {
 protected:
  void SetUp() override { start(zv::ServerOptions{}); }

  void start(zv::ServerOptions options) {
    options.port = 0;
    server_ = std::make_unique<zv::Server>(options);
    std::string error;
    ASSERT_TRUE(server_->start(error)) << error;
  }

  int port() const { return server_->port(); }

  // A client logged in as SYSDBA with the given extra login clauses.
  std::unique_ptr<TestClient> connect(const std::string& clauses = "") {
    auto client = std::make_unique<TestClient>(port());
    EXPECT_EQ(client->login(login_text("SYSDBA", "SYSDBA", clauses)), std::string("N") + be32(301) + "K");
    return client;
  }

  std::unique_ptr<zv::Server> server_;
};

}  // namespace zvtest
