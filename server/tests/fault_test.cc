#include <chrono>

#include "test_client.h"

namespace zvtest {
namespace {

TEST_F(ServerTest, EachFaultSpoilsTheNextReplyOnly) {
  const struct {
    const char* fault;
    std::string reply;
    bool closes;
  } cases[] = {
      {"ZANVO FAULT CLOSE AFTER 3;", "A" + std::string(2, '\0'), true},
      {"ZANVO FAULT LETTER x", "x", false},
      {"ZANVO FAULT LENGTH -7", "E" + be32(-7), false},
      {"ZANVO FAULT COLUMNS 2", "A" + be32(2) + field("c1", 30, 0) + field("c2", 30, 0) + "K", false},
      {"ZANVO FAULT RESULTS 2", "A" + be32(1) + field("r", 5, 4) + "A" + be32(1) + field("r", 5, 4) + "K", false},
  };
  for (const auto& k : cases) {
    SCOPED_TRACE(k.fault);
    auto c = connect();
    Reply armed = c->run(k.fault);
    EXPECT_TRUE(armed.complete && armed.records.empty());
    c->command("select 1");
    EXPECT_EQ(c->bytes(k.reply.size()), k.reply);
    if (k.closes) {
      EXPECT_TRUE(c->closed_by_server());
    } else {
      EXPECT_EQ(c->value("select 6"), be32(6));
    }
  }
}

TEST_F(ServerTest, FaultStallDelaysTheNextReplyAndAMalformedFaultIsAnSqlError) {
  auto c = connect();
  EXPECT_EQ(c->run("ZANVO FAULT LETTER xy").records.at(0).text, "[E10001]near \"ZANVO\": syntax error");
  EXPECT_TRUE(c->run("ZANVO FAULT STALL 200").complete);
  auto started = std::chrono::steady_clock::now();
  EXPECT_EQ(c->value("select 5"), be32(5));
  EXPECT_GE(std::chrono::steady_clock::now() - started, std::chrono::milliseconds(200));
}

}  // namespace
}  // namespace zvtest
