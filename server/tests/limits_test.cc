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

}  // namespace
}  // namespace zvtest
