#include <sys/stat.h>

#include <cstdio>
#include <fstream>
#include <sstream>

#include "test_client.h"

namespace zvtest {
namespace {

const std::string kRefused =
    "[E10001]not authorized: this server refuses ATTACH, DETACH, VACUUM and pragmas that reach files or other "
    "connections";

std::string file_text(const std::string& path) {
  std::ifstream in(path);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

bool exists(const std::string& path) {
  struct stat st;
  return ::stat(path.c_str(), &st) == 0;
}

TEST_F(ServerTest, StatementsThatReachFilesOrSharedSettingsAreRefused) {
  const std::string dir = ::testing::TempDir();
  const std::string copy = dir + "zv-sandbox-copy-" + std::to_string(::getpid());
  const std::string victim = dir + "zv-sandbox-victim-" + std::to_string(::getpid());
  std::ofstream(victim) << "not a database";
  auto c = connect();
  for (const std::string& text :
       {"VACUUM INTO '" + copy + "'", std::string("VACUUM"), "ATTACH '" + victim + "' AS v",
        "ATTACH '" + victim + "' AS v; CREATE TABLE v.t(a INTEGER)", std::string("DETACH main"),
        std::string("PRAGMA temp_store_directory = '/tmp'"), std::string("PRAGMA writable_schema = 1"),
        std::string("PRAGMA journal_mode = DELETE"), std::string("PRAGMA soft_heap_limit = 1")}) {
    Reply r = c->run(text);
    ASSERT_EQ(r.letters, "E") << text;
    EXPECT_EQ(r.records[0].text, kRefused) << text;
  }
  EXPECT_EQ(c->run("select load_extension('libm')").records.at(0).text,
            "[E10001]not authorized to use function: load_extension");
  EXPECT_FALSE(exists(copy));
  EXPECT_EQ(file_text(victim), "not a database");
  std::remove(victim.c_str());
  // Pragmas of the connection alone, and ones that only describe the database, still work.
  Reply r = c->run("PRAGMA user_version = 7; PRAGMA user_version; PRAGMA foreign_keys = ON; PRAGMA foreign_keys");
  ASSERT_EQ(r.letters, "AA");
  EXPECT_EQ(std::pair(r.records[0].rows, r.records[1].rows),
            std::pair(std::vector<Row>{{be32(7)}}, std::vector<Row>{{be32(1)}}));
  EXPECT_EQ(c->value("select count(*) from pragma_table_info('dual')"), be32(1));
  EXPECT_EQ(connect()->value("select dummy from dual"), "X");
}

}  // namespace
}  // namespace zvtest
