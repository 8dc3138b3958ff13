// Prepared statements end to end against the reference server: an insert with named
// placeholders run three times, its rows read back, and the statements deallocated.
#include <gtest/gtest.h>

#include <string>

#include "connection/conn_record.h"
#include "server_process.h"
#include "zvc.h"

TEST(PrepareServer, InsertRunThreeTimesThenDeallocated) {
  ServerProcess server;
  ASSERT_NE(0, server.port());
  ConnRecord* conn = nullptr;
  ASSERT_EQ(2, ZVC_OpenConnection(server.conn_string().c_str(), &conn));
  void** h = reinterpret_cast<void**>(&conn);
  ASSERT_EQ(0, ZVC_ExecNoQuery(&conn, "create table t (id integer primary key, name varchar(20))"));
  char name[ZV_STMT_NAME_SIZE];
  ASSERT_EQ(0, ZVC_Prepare(&conn, "insert into t values (:id, :name)", name));
  const char* names[] = {"one", "two", "three"};
  for (int32_t id = 1; id <= 3; id++) {
    int32_t len = static_cast<int32_t>(std::string(names[id - 1]).size());
    ASSERT_EQ(0, ZVC_BindParamByName(h, "ID", 1, CT_INT32, &id, 4, nullptr, nullptr));
    ASSERT_EQ(0, ZVC_BindParamByName(h, "name", 1, CT_TEXT, const_cast<char*>(names[id - 1]), len, nullptr, &len));
    EXPECT_GE(ZVC_Execute2(&conn, name, nullptr, nullptr), 0) << (conn->error_text ? conn->error_text : "");
  }
  EXPECT_EQ(19665, ZVC_Prepare(&conn, "select id, name from t order by id", nullptr));
  void* result = nullptr;
  ASSERT_GE(ZVC_Execute2(&conn, nullptr, nullptr, &result), 0);
  std::string rows;
  while (ZVC_NextRow(&result) == 0) {
    int32_t id = 0, len = 0;
    char text[32] = {};
    ASSERT_EQ(0, ZVC_GetData(&result, 1, CT_INT32, &id, sizeof id, &len));
    ASSERT_EQ(0, ZVC_GetData(&result, 2, CT_TEXT, text, sizeof text, &len));
    rows += std::to_string(id) + text + " ";
  }
  EXPECT_EQ("1one 2two 3three ", rows);
  ZVC_CloseResult(&result);
  EXPECT_EQ(0, ZVC_UnPrepare(&conn, name));
  testing::internal::CaptureStdout();
  EXPECT_EQ(-1, ZVC_Execute2(&conn, name, nullptr, nullptr));
  testing::internal::GetCapturedStdout();
  EXPECT_STREQ("sql:? STC0  errinfo: [E10012]no prepared statement named STC0 \n", conn->error_text);
  EXPECT_EQ(0, ZVC_UnPrepare(&conn, nullptr));
  EXPECT_EQ(-1, ZVC_UnPrepare(&conn, nullptr));  // nothing left to deallocate
  ZVC_CloseConnection(&conn);
}
