#include <gtest/gtest.h>

#include <chrono>

#include "server_fixture.h"

namespace zvtest {
namespace {

void arm(TestClient& c, const std::string& fault) {
  Reply r = c.run(fault);
  EXPECT_TRUE(r.complete) << fault;
  EXPECT_TRUE(r.records.empty()) << fault;
}

TEST_F(ServerTest, FaultCloseAfterSendsThatManyBytesThenCloses) {
  auto c = connect();
  arm(*c, "ZANVO FAULT CLOSE AFTER 3");
  c->send_command("select 1");
  EXPECT_EQ(c->bytes(3), "A" + std::string(2, '\0'));
  EXPECT_TRUE(c->closed_by_server());

  auto zero = connect();
  arm(*zero, "ZANVO FAULT CLOSE AFTER 0;");
  zero->send_command("select 1");
  EXPECT_TRUE(zero->closed_by_server());
}

TEST_F(ServerTest, FaultStallDelaysTheNextReplyOnly) {
  auto c = connect();
  arm(*c, "ZANVO FAULT STALL 200");
  auto started = std::chrono::steady_clock::now();
  Reply r = c->run("select 5");
  EXPECT_GE(std::chrono::steady_clock::now() - started, std::chrono::milliseconds(200));
  ASSERT_EQ(r.records.size(), 1u);
  EXPECT_EQ(r.records[0].rows[0][0], be32(5));
}

TEST_F(ServerTest, FaultLetterReplacesTheReplyByOneByte) {
  auto c = connect();
  arm(*c, "ZANVO FAULT LETTER x");
  c->send_command("select 1");
  EXPECT_EQ(c->letter(), 'x');
  // Nothing else came: the next reply is read from its first byte.
  Reply r = c->run("select 6");
  ASSERT_EQ(r.records.size(), 1u);
  EXPECT_EQ(r.records[0].rows[0][0], be32(6));
}

TEST_F(ServerTest, FaultLengthSendsEAndTheBareLength) {
  auto c = connect();
  for (int32_t n : {-7, 2147483647, 5}) {
    arm(*c, "ZANVO FAULT LENGTH " + std::to_string(n));
    c->send_command("select 1");
    EXPECT_EQ(c->bytes(5), "E" + be32(n));
  }
  Reply r = c->run("select 2");
  ASSERT_EQ(r.records.size(), 1u);
  EXPECT_EQ(r.records[0].rows[0][0], be32(2));
}

TEST_F(ServerTest, FaultColumnsSendsThatManyCharColumnsAndK) {
  auto c = connect();
  arm(*c, "ZANVO FAULT COLUMNS 3");
  c->send_command("select 1");
  std::string expected = "A" + be32(3);
  for (const char* name : {"c1", "c2", "c3"}) expected += be32(2) + name + be32(30) + be32(0) + be32(0);
  EXPECT_EQ(c->bytes(expected.size() + 1), expected + "K");

  arm(*c, "ZANVO FAULT COLUMNS 4001");
  Reply r = c->run("select 1");
  ASSERT_TRUE(r.complete);
  ASSERT_EQ(r.records.size(), 1u);
  EXPECT_EQ(r.records[0].fields.size(), 4001u);
  EXPECT_EQ(r.records[0].fields[4000].name, "c4001");
  EXPECT_TRUE(r.records[0].rows.empty());
}

TEST_F(ServerTest, MalformedFaultStatementsAreOrdinarySqlErrors) {
  auto c = connect();
  for (const char* text : {"ZANVO FAULT STALL soon", "ZANVO FAULT LETTER xy", "ZANVO FAULT COLUMNS"}) {
    Reply r = c->run(text);
    ASSERT_EQ(r.records.size(), 1u) << text;
    EXPECT_EQ(r.records[0].letter, 'E') << text;
  }
  EXPECT_EQ(c->run("select 9").records.at(0).rows.at(0).at(0), be32(9));
}

}  // namespace
}  // namespace zvtest
