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

// The fetch reply of `bytes`, the part from `offset` on of an object of `total` bytes.
std::string fetch_reply(const std::string& bytes, int32_t total) {
  std::string out = fetch_head(34);
  for (size_t pos = 0; pos < bytes.size(); pos += 1048576) {
    std::string piece = bytes.substr(pos, 1048576);
    out += be32(total) + be32(static_cast<int32_t>(piece.size())) + piece;
  }
  return out + be32(0);
}

// A cursor's objects of 4 MiB and more are kept by reference to their row and read from it when
// fetched: still as the select read them after their row changed on any link or their table went.
// The select itself reads none of their bytes; other values of their column come in the row.
TEST_F(ServerTest, LargeObjectsKeptByReferenceGiveWhatTheSelectRead) {
  auto c = connect(" lob_ret  =descriptor");
  auto other = connect();
  const int32_t n = (4 << 20) + 10;  // two full pieces and 10 bytes from 2 MiB on
  std::string value(n, '\0');
  value[(2 << 20) + 5] = '\xaa';
  value.replace(n - 3, 3, "\x01\x02\x03");
  const std::string blob =
      "cast(zeroblob(2097157) || x'aa' || zeroblob(" + std::to_string(n - (2 << 20) - 9) + ") || x'010203' as blob)";
  ASSERT_EQ(c->run("create table big(id INTEGER, data BLOB); insert into big values(1, " + blob + "), (2, " + blob +
                   "), (3, " + blob + "), (4, null), (5, x'0102'), (6, 'text')").letters, "I");
  ASSERT_EQ(c->run("DECLARE A CURSOR FOR select data from big order by id").letters, "");
  const std::string length = ":" + std::to_string(n);
  EXPECT_EQ(c->run("FETCH 1 FROM A").records.at(0).rows, std::vector<Row>({{"B000000000001" + length}}));
  // The row after a block is kept as the select found it before the next command runs.
  EXPECT_EQ(c->run("delete from big where id = 2").letters, "D");
  EXPECT_EQ(c->run("FETCH 9 FROM A").records.at(0).rows,
            std::vector<Row>({{"B000000000002" + length}, {"B000000000003" + length}, {std::nullopt}, {"b\x01\x02"},
                              {"btext"}}));
  EXPECT_EQ(other->run("update big set data = x'00' where id = 3").letters, "U");
  auto fetch = [&](const std::string& descriptor, int32_t offset) {
    c->command("get lob '" + descriptor + "' offset " + std::to_string(offset) + " limit " + std::to_string(n) + " ");
    std::string expected = fetch_reply(value.substr(static_cast<size_t>(offset)), n);
    EXPECT_TRUE(c->bytes(expected.size()) == expected) << descriptor;
  };
  fetch("B000000000001", 2 << 20);
  fetch("B000000000002", 0);
  fetch("B000000000003", 0);
  // A link with a write under way keeps a copy, read from the row as its transaction sees it.
  auto w = connect(" lob_ret  =descriptor auto_commit = 'off'");
  ASSERT_EQ(w->run("insert into big values(7, x'00'); DECLARE B CURSOR FOR select data from big where id = 1").letters, "I");
  EXPECT_EQ(w->run("FETCH 1 FROM B; rollback").records.at(0).rows, std::vector<Row>({{"B000000000001" + length}}));
  w->command("get lob 'B000000000001' offset 0 limit " + std::to_string(n) + " ");
  EXPECT_TRUE(w->bytes(fetch_reply(value, n).size()) == fetch_reply(value, n));
  // A change of the schema copies what is still kept by reference first.
  ASSERT_EQ(other->run("drop table big; create table big(id INTEGER, data BLOB); insert into big values(1, x'00')").letters,
            "I");
  fetch("B000000000001", 0);
}

}  // namespace
}  // namespace zvtest
