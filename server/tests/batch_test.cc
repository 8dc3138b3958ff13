#include "test_client.h"

namespace zvtest {
namespace {

constexpr char kInt = 5, kChar = 30, kBool = 2;

int32_t batch_word(int32_t rows, int32_t count) { return (rows << 16) | count; }

// Rows 1 .. rows-1 of (n, 'v<n>'), `per_block` rows in each block.
std::string later_rows(int rows, int per_block, bool typed) {
  std::string out, values;
  for (int n = 1; n < rows; ++n) {
    values += packed_value(kInt, be32(n), typed) + packed_value(kChar, "v" + std::to_string(n), typed);
    if (n % per_block == 0 || n == rows - 1) out += block(std::exchange(values, ""));
  }
  return out;
}

class ServerBatchTest : public ServerTest {
 protected:
  std::unique_ptr<TestClient> with_table(const std::string& clauses = "") {
    auto c = connect(clauses);
    EXPECT_EQ(c->run("create table b(n INTEGER PRIMARY KEY, v VARCHAR(8))").letters, "");
    return c;
  }
  void expect_rows(TestClient& c, const std::string& count, const std::string& sum) {
    EXPECT_EQ(c.run("select count(*), sum(n) from b").records.at(0).rows.at(0), Row({count, sum}));
  }
};

TEST_F(ServerBatchTest, RowsInSeveralBlocksWithOrWithoutTypeBytesAreCountedInOneRecord) {
  struct Case {
    int32_t reply_version;
    bool typed;
  };
  for (Case k : {Case{301, true}, Case{201, false}}) {
    SCOPED_TRACE(k.reply_version);
    zv::ServerOptions options;
    options.reply_version = k.reply_version;
    start(options);
    auto c = std::make_unique<TestClient>(port());
    c->login(login_text("SYSDBA", "SYSDBA"));
    ASSERT_EQ(c->run("create table b(n INTEGER PRIMARY KEY, v VARCHAR(8))").letters, "");
    c->command("insert into b values(?, ?)", batch_word(10, 2),
               parameter_record(kInt, be32(0)) + parameter_record(kChar, "v0") + later_rows(10, 4, k.typed));
    Reply r = c->reply();
    ASSERT_EQ(r.letters, "U") << r.records.at(0).text;
    EXPECT_EQ(r.records[0].count, 10);
    EXPECT_EQ(c->run("select count(*), sum(n), group_concat(v, '') from b").records.at(0).rows.at(0),
              Row({be32(10), be32(45), "v0v1v2v3v4v5v6v7v8v9"}));
  }
}

TEST_F(ServerBatchTest, NamedParametersNullsAndDeletesAndABatchOfOneRow) {
  auto c = with_table();
  // Records by name in the other order; later rows keep that order. Row 2 has two nulls,
  // length 0 and a negative length, and its null key takes the next row id.
  c->command("insert into b values(:n, :v)", batch_word(3, 2),
             parameter_record(kChar, "x", "v") + parameter_record(kInt, be32(7), "n") +
                 block(packed_value(kChar, "y") + packed_value(kInt, be32(8)) + packed_value(kChar, "") + kInt +
                       be32(-1)));
  Reply r = c->reply();
  ASSERT_EQ(r.letters, "U") << r.records.at(0).text;
  EXPECT_EQ(r.records[0].count, 3);
  EXPECT_EQ(c->run("select n, v from b order by n").records.at(0).rows,
            std::vector<Row>({{be32(7), "x"}, {be32(8), "y"}, {be32(9), std::nullopt}}));

  c->command("delete from b where n = ?", batch_word(3, 1),
             parameter_record(kInt, be32(7)) + block(packed_value(kInt, be32(8)) + packed_value(kInt, be32(99))));
  r = c->reply();
  ASSERT_EQ(r.letters, "D");
  EXPECT_EQ(r.records[0].count, 2);

  c->command("update b set v = ?", batch_word(1, 1), parameter_record(kChar, "one"));
  r = c->reply();
  ASSERT_EQ(r.letters, "U");
  EXPECT_EQ(r.records[0].count, 1);
  EXPECT_EQ(c->value("select v from b"), "one");
}

struct Failure {
  std::string sql;
  std::string parameters;
  int32_t word;
  std::string error;
};

TEST_F(ServerBatchTest, AFailingRowIsNamedAndNoRowOfItsBatchStays) {
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
      auto c = with_table(manual ? " auto_commit = 'off'" : "");
      ASSERT_EQ(c->run("insert into b values(100, 'kept')").letters, "I");
      c->command(k.sql, k.word, k.parameters);
      Reply r = c->reply();
      ASSERT_TRUE(r.complete);
      ASSERT_EQ(r.letters, "E");
      EXPECT_EQ(r.records[0].text, k.error);
      // In manual mode the statement before the batch is still in its open transaction.
      ASSERT_EQ(c->run("COMMIT").letters, "");
      expect_rows(*c, be32(1), be32(100));
      ASSERT_EQ(c->run("drop table b; COMMIT").letters, "");
    }
  }
}

}  // namespace
}  // namespace zvtest
