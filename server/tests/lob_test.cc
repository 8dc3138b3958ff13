#include "test_client.h"

namespace zvtest {
namespace {

std::string fetch_head(int32_t type) { return "A" + be32(1) + field("lob", type, 0) + "R"; }

TEST_F(ServerTest, LargeObjectsGoInlineOrByDescriptorAndAreFetchedInPieces) {
  start([](zv::ServerOptions& o) { o.lob_inline_max = 8; });  // "shortish" goes inline
  auto c = connect(" lob_ret  =descriptor");
  const int32_t big = 1048577;  // one byte more than a fetched piece holds
  Reply r = c->run(
      "create table docs(id INTEGER, body CLOB, data BLOB);"
      "insert into docs values(1, 'shortish', x'0102'), (2, 'a longer text', zeroblob(1048577));"
      "select body, data from docs order by id");
  ASSERT_EQ(r.letters, "IA");
  EXPECT_EQ(r.records[1].rows, std::vector<Row>({{"cshortish", "b\x01\x02"},
                                                 {"C000000000001:13", "B000000000002:" + std::to_string(big)}}));

  c->command("get lob 'C000000000001' offset 2 limit 5 ");
  std::string expected = fetch_head(32) + be32(13) + be32(5) + "longe" + be32(0);
  EXPECT_EQ(c->bytes(expected.size()), expected);
  c->command("get lob 'B000000000002' offset 0 limit " + std::to_string(big) + " ");
  expected = fetch_head(34) + be32(big) + be32(big - 1) + std::string(big - 1, '\0') + be32(big) + be32(1) +
             std::string(1, '\0') + be32(0);
  EXPECT_TRUE(c->bytes(expected.size()) == expected);
  // A negative offset or limit is no fetch: the text goes to SQLite as it is.
  for (const char* bad : {"get lob 'C000000000001' offset -1 limit 5 ", "get lob 'C000000000001' offset 0 limit -5 "}) {
    EXPECT_EQ(c->run(bad).records.at(0).text, "[E10001]near \"get\": syntax error") << bad;
  }
  // Descriptors belong to the connection that received them.
  auto other = connect();
  other->command("get lob 'C000000000001' offset 0 limit 13 ");
  EXPECT_EQ(other->bytes(1), "K");
}

}  // namespace
}  // namespace zvtest
