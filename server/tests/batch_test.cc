#include "test_client.h"

namespace zvtest {
namespace {

constexpr char kInt = 5, kChar = 30, kBool = 2;

int32_t batch_word(int32_t rows, int32_t count) { return (rows << 16) | count; }

// Rows 1 .. rows-1 of (n, 'v<n>'), `per_block` rows in each block, without type bytes.
std::string later_rows(int rows, int per_block) {
  std::string out, values;
  for (int n = 1; n < rows; ++n) {
    values += packed_value(kInt, be32(n), false) + packed_value(kChar, "v" + std::to_string(n), false);
    if (n % per_block == 0 || n == rows - 1) out += block(std::exchange(values, ""));
  }
  return out;
}

// A server answering as version 201 takes the later rows of a batch without their type bytes.
TEST_F(ServerTest, RowsInSeveralBlocksWithoutTypeBytesAreCountedInOneRecord) {
  start([](zv::ServerOptions& o) { o.reply_version = 201; });
  TestClient c(port());
  ASSERT_EQ(c.login(login_text("SYSDBA", "SYSDBA")), "K");
  ASSERT_EQ(c.run("create table b(n INTEGER PRIMARY KEY, v VARCHAR(8))").letters, "");
  c.command("insert into b values(?, ?)", batch_word(10, 2),
            parameter_record(kInt, be32(0)) + parameter_record(kChar, "v0") + later_rows(10, 4));
  Reply r = c.reply();
  ASSERT_EQ(r.letters, "U") << r.records.at(0).text;
  EXPECT_EQ(r.records[0].count, 10);
  EXPECT_EQ(c.run("select count(*), sum(n), group_concat(v, '') from b").records.at(0).rows.at(0),
            Row({be32(10), be32(45), "v0v1v2v3v4v5v6v7v8v9"}));
}

struct Failure {
  std::string sql;
  std::string parameters;
  int32_t word;
  std::string error;
};

TEST_F(ServerTest, AFailingRowIsNamedAndNoRowOfItsBatchStays) {
  const Failure cases[] = {
      {"insert into b values(?, ?)",
       parameter_record(kInt, be32(1)) + parameter_record(kChar, "a") +
           block(packed_value(kInt, be32(2)) + packed_value(kChar, "b") + packed_value(kInt, be32(1)) +
                 packed_value(kChar, "c")),
       batch_word(3, 2), "[E10001]row 3 of the batch: UNIQUE constraint failed: b.n"},
      {"insert into b values(?, ?)",
       parameter_record(kInt, be32(1)) + parameter_record(kChar, "a") +
           block(packed_value(kBool, "?") + packed_value(kChar, "b")),
       batch_word(2, 2), "[E10003]row 2 of the batch: parameter 1: a BOOLEAN value is the byte 0, 1, 'F' or 'T'"},
      {"select ?", parameter_record(kInt, be32(1)) + block(packed_value(kInt, be32(2))), batch_word(2, 1),
       "[E10003]an array batch runs a statement that changes rows and returns none"},
      {"DECLARE c CURSOR FOR select ?", parameter_record(kInt, be32(1)), batch_word(1, 1),
       "[E10003]an array batch runs neither a cursor nor a routine call"},
  };
  for (const Failure& k : cases) {
    SCOPED_TRACE(k.error);
    for (bool manual : {false, true}) {
      auto c = connect(manual ? " auto_commit = 'off'" : "");
      ASSERT_EQ(c->run("create table b(n INTEGER PRIMARY KEY, v VARCHAR(8)); insert into b values(100, 'kept')").letters,
                "I");
      c->command(k.sql, k.word, k.parameters);
      Reply r = c->reply();
      ASSERT_TRUE(r.complete);
      ASSERT_EQ(r.letters, "E");
      EXPECT_EQ(r.records[0].text, k.error);
      // In manual mode the statement before the batch is still in its open transaction.
      ASSERT_EQ(c->run("COMMIT").letters, "");
      EXPECT_EQ(c->run("select count(*), sum(n) from b").records.at(0).rows.at(0), Row({be32(1), be32(100)}));
      ASSERT_EQ(c->run("drop table b; COMMIT").letters, "");
    }
  }
}

}  // namespace
}  // namespace zvtest
