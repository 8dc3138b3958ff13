#include <gtest/gtest.h>

#include "lob_store.h"
#include "server_fixture.h"

namespace zvtest {
namespace {

constexpr const char* kLobClause = " lob_ret  =descriptor";

class ServerLobTest : public ServerTest {
 protected:
  void SetUp() override {
    zv::ServerOptions options;
    options.lob_inline_max = 8;
    start(options);
  }

  void fill(TestClient& c) {
    ASSERT_TRUE(c.run("create table docs(id INTEGER, body CLOB, data BLOB)").complete);
    ASSERT_TRUE(c.run("insert into docs values(1, 'short', x'0102'), (2, 'a longer text', zeroblob(3000000))")
                    .complete);
  }

  // Sends the fetch of a descriptor value and reads its reply up to the closing zero word.
  std::string fetch(TestClient& c, const std::string& value, int32_t expected_type) {
    std::string descriptor = value.substr(0, 13);
    std::string length = value.substr(14);
    c.send_command("get lob '" + descriptor + "' offset 0 limit " + length + " ");
    EXPECT_EQ(c.letter(), 'A');
    EXPECT_EQ(c.int32(), 1);
    EXPECT_EQ(c.string(), "lob");
    EXPECT_EQ(c.int32(), expected_type);
    c.int32();
    c.int32();
    EXPECT_EQ(c.letter(), 'R');
    std::string object;
    for (int32_t total = c.int32(); total != 0 && !c.failed(); total = c.int32()) {
      EXPECT_EQ(total, std::stoi(length));
      int32_t piece = c.int32();
      EXPECT_GT(piece, 0);
      EXPECT_LE(piece, 1048576);
      object += c.bytes(static_cast<size_t>(piece));
    }
    return object;
  }
};

TEST_F(ServerLobTest, WithoutTheLobClauseObjectsGoInline) {
  auto c = connect();
  fill(*c);
  Reply r = c->run("select body, data from docs where id = 1");
  ASSERT_EQ(r.records.size(), 1u);
  EXPECT_EQ(r.records[0].fields[0].type, 32);
  EXPECT_EQ(r.records[0].fields[1].type, 34);
  EXPECT_EQ(r.records[0].rows[0], Row({std::string("short"), std::string("\x01\x02")}));
  r = c->run("select body from docs where id = 2");
  EXPECT_EQ(r.records[0].rows[0][0], "a longer text");
}

TEST_F(ServerLobTest, WithTheLobClauseSmallObjectsAreMarkedAndLargeOnesDescribed) {
  auto c = connect(kLobClause);
  fill(*c);
  Reply r = c->run("select body, data from docs order by id");
  ASSERT_EQ(r.records.size(), 1u);
  const std::vector<Row>& rows = r.records[0].rows;
  ASSERT_EQ(rows.size(), 2u);
  EXPECT_EQ(rows[0], Row({std::string("cshort"), std::string("b\x01\x02")}));
  EXPECT_EQ(rows[1][0], "C000000000001:13");
  EXPECT_EQ(rows[1][1], "B000000000002:3000000");

  EXPECT_EQ(fetch(*c, *rows[1][0], 32), "a longer text");
  EXPECT_EQ(fetch(*c, *rows[1][1], 34), std::string(3000000, '\0'));
  // The same object can be fetched again, and the link is in step for the next command.
  EXPECT_EQ(fetch(*c, *rows[1][0], 32), "a longer text");
  EXPECT_EQ(c->run("select 1").records.at(0).rows.at(0).at(0), be32(1));
}

TEST_F(ServerLobTest, AnUnknownDescriptorIsAnsweredByK) {
  auto c = connect(kLobClause);
  c->send_command("get lob 'C000000000099' offset 0 limit 10 ");
  EXPECT_EQ(c->letter(), 'K');
  // Another connection's descriptors are not this one's.
  auto owner = connect(kLobClause);
  fill(*owner);
  std::string value = *owner->run("select body from docs where id = 2").records.at(0).rows.at(0).at(0);
  c->send_command("get lob '" + value.substr(0, 13) + "' offset 0 limit 13 ");
  EXPECT_EQ(c->letter(), 'K');
  EXPECT_EQ(c->run("select 1").records.at(0).rows.at(0).at(0), be32(1));
}

TEST(ServerLobStore, ReleasesTheOldestObjectsToStayInBounds) {
  zv::LobStore store(10);
  std::string first = store.keep('C', "abcd", 4);
  std::string second = store.keep('B', "efgh", 4);
  EXPECT_EQ(first, "C000000000001");
  EXPECT_EQ(second, "B000000000002");
  std::string third = store.keep('C', "ijkl", 4);
  EXPECT_EQ(store.find(first), nullptr);
  ASSERT_NE(store.find(second), nullptr);
  EXPECT_EQ(*store.find(second), "efgh");
  EXPECT_EQ(*store.find(third), "ijkl");
  EXPECT_EQ(store.bytes(), 8u);
  EXPECT_EQ(store.count(), 2u);
}

}  // namespace
}  // namespace zvtest
