// Enciphered links end to end against the reference server: statements, a 1,000-row select and
// long statement texts, all through the keystream.
#include <gtest/gtest.h>

#include <string>

#include "connection/conn_record.h"
#include "server_links.h"
#include "zvc.h"

namespace {

class CipherServer : public ServerLinks {
 protected:
  void SetUp() override {
    ASSERT_NO_FATAL_FAILURE(open_links(";USE_SSL=on"));
    ASSERT_NE(nullptr, conn->send_cipher);
  }
};

}  // namespace

TEST_F(CipherServer, StatementsAndAThousandRows) {
  ASSERT_EQ(0, ZVC_ExecNoQuery(&conn, "create table t (id integer primary key, name varchar(20))"));
  EXPECT_EQ(1, ZVC_ExecNoQuery(&conn, "insert into t values (0, 'zero')"));
  EXPECT_EQ(1, ZVC_ExecNoQuery(&conn,
                               "insert into t with recursive n(i) as (select 1 union all select i + 1 from n "
                               "where i < 999) select i, 'name ' || i from n"));
  char value[32] = {};
  EXPECT_EQ(0, ZVC_ExecScalar(&conn, "select count(*) from t", value, sizeof value, nullptr));
  EXPECT_STREQ("1000", value);
  EXPECT_EQ(-1, ZVC_ExecNoQuery(&conn, "insert into missing values (1)"));

  void* result = nullptr;
  ASSERT_GE(ZVC_Execute(&conn, "select id, name from t order by id", &result, nullptr, nullptr, nullptr), 0);
  int rows = 0;
  for (; ZVC_NextRow(&result) == 0; ++rows) {
    int32_t id = -1, len = 0;
    char name[32] = {};
    ASSERT_EQ(0, ZVC_GetData(&result, 1, CT_INT32, &id, sizeof id, &len));
    ASSERT_EQ(0, ZVC_GetData(&result, 2, CT_TEXT, name, sizeof name, &len));
    EXPECT_EQ(rows, id);
    EXPECT_EQ(rows == 0 ? std::string("zero") : "name " + std::to_string(rows), name);
  }
  EXPECT_EQ(1000, rows);
  ZVC_CloseResult(&result);

  // A statement text long enough to go past the send buffer comes back whole.
  std::string long_text(6000, 'q');
  EXPECT_EQ(0, ZVC_ExecScalar(&conn, ("select length('" + long_text + "')").c_str(), value, sizeof value, nullptr));
  EXPECT_STREQ("6000", value);
}
