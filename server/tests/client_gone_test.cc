#include "test_client.h"

namespace zvtest {
namespace {

TEST_F(ServerTest, AQueryWhoseClientHasGoneStops) {
  const char* endless = "WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c) SELECT count(*) FROM c";
  {
    auto c = connect();
    c->command(endless);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));  // the query is running
    EXPECT_EQ(server_->links(), 1u);
  }
  EXPECT_TRUE(within_ms(3000, [&] { return server_->links() == 0; }));
  // A client that is still there keeps its link while a long query runs for it.
  auto c = connect();
  EXPECT_EQ(c->value("WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c WHERE x < 2000000) "
                     "SELECT count(*) FROM c"),
            be32(2000000));
}

}  // namespace
}  // namespace zvtest
