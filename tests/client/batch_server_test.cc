// Array batches end to end against the reference server: 100,000 rows of four columns loaded by
// batches and read back exactly, and a batch whose row fails leaving none of its rows.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "batch_rows.h"
#include "server_process.h"
#include "statements/param_set.h"
#include "zvc.h"

namespace {
std::string scalar(ConnRecord** conn, const char* sql) {
  char value[64] = {};
  ZVC_ExecScalar(conn, sql, value, sizeof value, nullptr);
  return value;
}

class BatchServer : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_NE(0, server.port());
    ASSERT_EQ(2, ZVC_OpenConnection(server.conn_string().c_str(), &conn));
  }
  void TearDown() override { ZVC_CloseConnection(&conn); }

  ServerProcess server;
  ConnRecord* conn = nullptr;
};
}  // namespace

// 100,000 rows do not fit one command word: that call is refused and sends nothing; two batches
// of 65,535 and 34,465 rows load them, and every value comes back as it went.
TEST_F(BatchServer, HundredThousandRowsReadBackExactly) {
  ASSERT_EQ(0, ZVC_ExecNoQuery(&conn, "create table b (id integer primary key, big bigint, name varchar(40), "
                                      "score double)"));
  EXPECT_EQ(-57, load(&conn, 0, 100000));
  EXPECT_STREQ("[EC057]Error ExecuteBatch arraysize 100000 does not fit a batch of 1 to 65535 rows \n",
               conn->error_text);
  ZVC_ClearParams(reinterpret_cast<void**>(&conn));
  ASSERT_EQ(0, load(&conn, 0, 65535));
  ASSERT_EQ(0, load(&conn, 65535, 34465));
  EXPECT_EQ("100000", scalar(&conn, "select count(*) from b"));

  void* result = nullptr;
  ASSERT_GE(ZVC_Execute(&conn, "select id, big, name, score from b order by id", &result, nullptr, nullptr, nullptr),
            0);
  int32_t r = 0, mismatches = 0;
  for (; ZVC_NextRow(&result) == 0; r++) {
    int32_t id = -1, len = 0;
    int64_t big = 0;
    double score = 0;
    char name[64] = {};
    ASSERT_EQ(0, ZVC_GetData(&result, 1, CT_INT32, &id, sizeof id, &len));
    ASSERT_EQ(0, ZVC_GetData(&result, 2, CT_INT64, &big, sizeof big, &len));
    int32_t name_rc = ZVC_GetData(&result, 3, CT_TEXT, name, sizeof name, &len);
    ASSERT_EQ(0, ZVC_GetData(&result, 4, CT_DOUBLE, &score, sizeof score, &len));
    bool same = id == r && big == big_of(r) && score == score_of(r) &&
                (named(r) ? name_rc == 0 && name_of(r) == name : name_rc == ZV_NULL_VALUE);
    if (!same && ++mismatches <= 3) ADD_FAILURE() << "row " << r << ": " << id << " " << big << " " << name;
  }
  EXPECT_EQ(100000, r);
  EXPECT_EQ(0, mismatches);
  ZVC_CloseResult(&result);
}

// Row 3 breaks a unique key: the whole batch is rolled back and the server names the row.
TEST_F(BatchServer, AFailingRowLeavesNoRow) {
  ASSERT_EQ(0, ZVC_ExecNoQuery(&conn, "create table u (n integer unique)"));
  int32_t values[] = {1, 2, 1, 3, 4};
  std::vector<int32_t> lengths(5, 4);
  ASSERT_EQ(0, ZVC_BindParamArrayByName(reinterpret_cast<void**>(&conn), "n", 1, DIR_IN, CT_INT32, 5, values,
                                        sizeof values, lengths.data()));
  EXPECT_EQ(-1, ZVC_ExecuteBatch(&conn, "insert into u values (:n)", 5));
  EXPECT_STREQ("[E10001]row 3 of the batch: UNIQUE constraint failed: u.n", conn->error_text);
  EXPECT_EQ("0", scalar(&conn, "select count(*) from u"));
  values[2] = 5;
  ASSERT_EQ(0, ZVC_BindParamArrayByName(reinterpret_cast<void**>(&conn), "n", 1, DIR_IN, CT_INT32, 5, values,
                                        sizeof values, lengths.data()));
  EXPECT_EQ(0, ZVC_ExecuteBatch(&conn, "insert into u values (:n)", 5));
  EXPECT_EQ("15", scalar(&conn, "select sum(n) from u"));
}
