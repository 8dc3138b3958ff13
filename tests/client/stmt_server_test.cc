// Direct execution end to end against the reference server: DDL, DML with row ids and
// counts, a chain of results with column descriptions, server errors, and the replies
// that the server's fault statements break on purpose.
#include <gtest/gtest.h>
#include <semaphore.h>

#include <cstring>
#include <string>

#include "results/result_record.h"
#include "server_process.h"
#include "zvc.h"

namespace {
int semaphore_count(ConnRecord* conn) {
  int value = -1;
  sem_getvalue(conn->semaphore, &value);
  return value;
}

class StmtServer : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_NE(0, server.port());
    ASSERT_EQ(2, ZVC_OpenConnection(server.conn_string().c_str(), &conn));
    ASSERT_EQ(0,
              ZVC_ExecNoQuery(&conn, "create table t (id integer primary key, name varchar(20), price decimal(10,2))"));
  }
  void TearDown() override { ZVC_CloseConnection(&conn); }

  // The first value of a scalar reply as text (short form only).
  std::string scalar_text(const char* sql, int32_t* type) {
    char value[64] = {};
    EXPECT_EQ(0, ZVC_ExecScalar(&conn, sql, value, type)) << sql;
    return value;
  }

  ServerProcess server;
  ConnRecord* conn = nullptr;
};
}  // namespace

TEST_F(StmtServer, RowIdsAndCounts) {
  EXPECT_EQ(1, ZVC_ExecNoQuery(&conn, "insert into t (id, name) values (1, 'one')"));
  EXPECT_STREQ("1", conn->last_rowid);
  char row_id[40] = {};
  int32_t type = -1;
  EXPECT_EQ(1, ZVC_ExecScalar(&conn, "insert into t (id, name) values (7, 'seven')", row_id, &type));
  EXPECT_STREQ("7", row_id);
  EXPECT_EQ(2, ZVC_ExecNoQuery(&conn, "insert into t values (2, 'two', 1.5); insert into t values (3, 'three', 2.25)"));
  EXPECT_STREQ("3", conn->last_rowid);

  int32_t count = -1;
  EXPECT_EQ(2, ZVC_ExecScalar(&conn, "update t set name = 'x' where id >= 2", &count, &type));
  EXPECT_EQ(3, count);
  EXPECT_EQ(4, ZVC_ExecNoQuery(&conn, "update t set price = 0"));
  EXPECT_EQ(3, ZVC_ExecScalar(&conn, "delete from t where id = 7", &count, &type));
  EXPECT_EQ(1, count);
  EXPECT_EQ(0, ZVC_ExecNoQuery(&conn, "delete from t where id = 99"));

  EXPECT_EQ("3", scalar_text("select count(*) from t", &type));
  EXPECT_EQ(TC_INTEGER, type);
  EXPECT_EQ("one", scalar_text("select name from t where id = 1", &type));
  EXPECT_EQ(TC_CHAR, type);
  EXPECT_EQ("", scalar_text("select name from t where id = 99", &type));
  EXPECT_EQ(0, type);
  EXPECT_EQ(1, semaphore_count(conn));
}

TEST_F(StmtServer, ServerErrors) {
  EXPECT_EQ(-1, ZVC_ExecNoQuery(&conn, "insert into missing values (1)"));
  ASSERT_NE(nullptr, conn->error_text);
  EXPECT_NE(nullptr, strstr(conn->error_text, "no such table"));
  std::string text = conn->error_text;

  char value[64] = {};
  int32_t type = 0;
  testing::internal::CaptureStdout();
  EXPECT_EQ(-1, ZVC_ExecScalar(&conn, "insert into missing values (1)", value, &type));
  EXPECT_EQ("Server Error " + text + " \n", testing::internal::GetCapturedStdout());

  char buffer[1024] = {};
  int32_t length = 0;
  void* handle = conn;
  EXPECT_EQ(0, ZVC_GetErrorText(&handle, buffer, &length));
  EXPECT_EQ(text, std::string(buffer));
  EXPECT_EQ(static_cast<int32_t>(text.size()), length);
  EXPECT_EQ(length, ZVC_GetErrorLength(&handle));

  // The connection goes on after an error.
  EXPECT_EQ(1, ZVC_ExecNoQuery(&conn, "insert into t (id) values (5)"));
}

TEST_F(StmtServer, ChainOfResultsWithDescriptions) {
  ASSERT_EQ(2, ZVC_ExecNoQuery(&conn, "insert into t values (1, 'one', 1.5); insert into t values (2, 'two', 2)"));
  void* result = nullptr;
  int32_t fields = 0, rows = 0, effect = -1;
  EXPECT_GE(ZVC_Execute(&conn,
                        "select id, name as Label, price from t order by id; update t set name = 'z' where id = 1; "
                        "delete from t where id = 2; insert into t (id) values (9)",
                        &result, &fields, &rows, &effect),
            0);
  ASSERT_NE(nullptr, result);
  EXPECT_EQ(3, fields);
  EXPECT_EQ(2, rows);

  char name[128] = {};
  EXPECT_EQ(0, ZVC_GetColumnName(&result, 1, name));
  EXPECT_STREQ("id", name);
  memset(name, 0, sizeof name);
  EXPECT_EQ(0, ZVC_GetColumnName(&result, 2, name));
  EXPECT_STREQ("Label", name);
  char table[128], column[128], alias[128];
  int32_t ctype = 0, size = 0, detail = 0;
  EXPECT_EQ(0, ZVC_GetColumnInfo(&result, 2, table, column, alias, &ctype, &size, &detail));
  EXPECT_STREQ("t", table);
  EXPECT_STREQ("name", column);
  EXPECT_STREQ("Label", alias);
  EXPECT_EQ(2, ctype);
  EXPECT_EQ(20, size);
  EXPECT_EQ(2, ZVC_GetColumnIndex(&result, "LABEL"));
  EXPECT_EQ(0, ZVC_GetColumnIndex(&result, "name"));
  EXPECT_EQ(1, ZVC_GetColumnIndex(&result, "ID"));
  EXPECT_EQ(0, ZVC_GetColumnType(&result, 1, &ctype));
  EXPECT_EQ(5, ctype);
  EXPECT_EQ(0, ZVC_GetColumnType(&result, 3, &ctype));
  EXPECT_EQ(9, ctype);

  int32_t id = 0;
  char text[32] = {};
  ASSERT_EQ(0, ZVC_NextRow(&result));
  EXPECT_EQ(0, ZVC_GetData(&result, 1, 5, &id, 4, nullptr));
  EXPECT_EQ(1, id);
  EXPECT_EQ(0, ZVC_GetData(&result, 2, 2, text, sizeof text, nullptr));
  EXPECT_STREQ("one", text);
  ASSERT_EQ(0, ZVC_NextRow(&result));
  EXPECT_EQ(0, ZVC_GetData(&result, 1, 5, &id, 4, nullptr));
  EXPECT_EQ(2, id);
  EXPECT_EQ(100, ZVC_NextRow(&result));

  int32_t value = 0, value_type = 0, length = 0;
  ASSERT_EQ(0, ZVC_NextResult(&result));
  EXPECT_EQ(0, ZVC_GetAttr(&result, 65, &value, 4, &value_type, &length));
  EXPECT_EQ(2, value);
  EXPECT_EQ(0, ZVC_GetAttr(&result, 63, &value, 4, &value_type, &length));
  EXPECT_EQ(1, value);
  ASSERT_EQ(0, ZVC_NextResult(&result));
  EXPECT_EQ(0, ZVC_GetAttr(&result, 65, &value, 4, &value_type, &length));
  EXPECT_EQ(3, value);
  EXPECT_EQ(0, ZVC_GetAttr(&result, 63, &value, 4, &value_type, &length));
  EXPECT_EQ(1, value);
  ASSERT_EQ(0, ZVC_NextResult(&result));
  EXPECT_EQ(0, ZVC_GetAttr(&result, 65, &value, 4, &value_type, &length));
  EXPECT_EQ(1, value);
  EXPECT_STREQ("9", static_cast<ResultRecord*>(result)->row_id);
  EXPECT_EQ(100, ZVC_NextResult(&result));
  EXPECT_EQ(0, ZVC_CloseResult(&result));

  // The same chain closed at its head frees every record.
  EXPECT_GE(ZVC_Execute(&conn, "select id from t; update t set id = id; select name from t", &result, nullptr, nullptr,
                        nullptr),
            0);
  EXPECT_EQ(0, ZVC_CloseResult(&result));
  EXPECT_EQ(nullptr, result);
}

TEST_F(StmtServer, DroppedLinkReleasesTheSemaphore) {
  ASSERT_EQ(0, ZVC_ExecNoQuery(&conn, "ZANVO FAULT CLOSE AFTER 3"));
  testing::internal::CaptureStdout();
  EXPECT_EQ(-4, ZVC_ExecNoQuery(&conn, "insert into t (id) values (1)"));
  EXPECT_EQ(1, semaphore_count(conn));
  EXPECT_EQ(-4, ZVC_ExecNoQuery(&conn, "insert into t (id) values (2)"));
  char value[64] = {};
  EXPECT_EQ(-4, ZVC_ExecScalar(&conn, "select 1", value, nullptr));
  void* result = nullptr;
  EXPECT_EQ(-4, ZVC_Execute(&conn, "select 1", &result, nullptr, nullptr, nullptr));
  EXPECT_EQ(nullptr, result);
  EXPECT_EQ(1, semaphore_count(conn));
  testing::internal::GetCapturedStdout();
}

TEST_F(StmtServer, DroppedLinkInsideAResult) {
  ASSERT_EQ(2, ZVC_ExecNoQuery(&conn, "insert into t values (1, 'one', 1); insert into t values (2, 'two', 2)"));
  ASSERT_EQ(0, ZVC_ExecNoQuery(&conn, "ZANVO FAULT CLOSE AFTER 50"));
  void* result = nullptr;
  EXPECT_EQ(-4, ZVC_Execute(&conn, "select id, name from t", &result, nullptr, nullptr, nullptr));
  EXPECT_EQ(1, semaphore_count(conn));
  ZVC_CloseResult(&result);
}

TEST_F(StmtServer, UnknownLetterAndMalformedLength) {
  ASSERT_EQ(1, ZVC_ExecNoQuery(&conn, "insert into t (id) values (1)"));
  // A reply of one unknown letter ends the reader; nothing else was sent, so the link stays in step.
  ASSERT_EQ(0, ZVC_ExecNoQuery(&conn, "ZANVO FAULT LETTER Z"));
  EXPECT_EQ(0, ZVC_ExecNoQuery(&conn, "update t set name = 'a'"));
  ASSERT_EQ(0, ZVC_ExecNoQuery(&conn, "ZANVO FAULT LETTER Z"));
  void* result = nullptr;
  EXPECT_EQ(0, ZVC_Execute(&conn, "select id from t", &result, nullptr, nullptr, nullptr));
  EXPECT_EQ(nullptr, result);
  int32_t type = 0;
  EXPECT_EQ("1", scalar_text("select count(*) from t", &type));

  // An error text whose length no string can have is a failed read.
  for (const char* fault : {"ZANVO FAULT LENGTH -5", "ZANVO FAULT LENGTH 2000000000"}) {
    ASSERT_EQ(0, ZVC_ExecNoQuery(&conn, fault));
    testing::internal::CaptureStdout();
    EXPECT_EQ(-4, ZVC_ExecNoQuery(&conn, "update t set name = 'b'")) << fault;
    EXPECT_EQ("", testing::internal::GetCapturedStdout());
    EXPECT_EQ(1, semaphore_count(conn));
    EXPECT_EQ("1", scalar_text("select count(*) from t", &type)) << fault;
  }
  ASSERT_EQ(0, ZVC_ExecNoQuery(&conn, "ZANVO FAULT LENGTH -1"));
  char value[64] = {};
  EXPECT_EQ(-4, ZVC_ExecScalar(&conn, "select 1", value, &type));
  ASSERT_EQ(0, ZVC_ExecNoQuery(&conn, "ZANVO FAULT LENGTH -1"));
  EXPECT_EQ(-4, ZVC_Execute(&conn, "select 1", &result, nullptr, nullptr, nullptr));
  EXPECT_EQ(1, semaphore_count(conn));
}

TEST_F(StmtServer, ColumnCounts) {
  ASSERT_EQ(0, ZVC_ExecNoQuery(&conn, "ZANVO FAULT COLUMNS 3"));
  void* result = nullptr;
  int32_t fields = 0, rows = -1;
  EXPECT_EQ(0, ZVC_Execute(&conn, "select 1", &result, &fields, &rows, nullptr));
  EXPECT_EQ(3, fields);
  EXPECT_EQ(0, rows);
  char name[128] = {};
  EXPECT_EQ(0, ZVC_GetColumnName(&result, 3, name));
  EXPECT_STREQ("c3", name);
  ZVC_CloseResult(&result);

  // More columns than a result may have: refused, the semaphore released, nothing kept.
  ASSERT_EQ(0, ZVC_ExecNoQuery(&conn, "ZANVO FAULT COLUMNS 4001"));
  EXPECT_EQ(-4, ZVC_Execute(&conn, "select 1", &result, nullptr, nullptr, nullptr));
  EXPECT_EQ(nullptr, result);
  EXPECT_EQ(1, semaphore_count(conn));
}

TEST_F(StmtServer, StalledReplyStillArrives) {
  ASSERT_EQ(1, ZVC_ExecNoQuery(&conn, "insert into t (id) values (4)"));
  ASSERT_EQ(0, ZVC_ExecNoQuery(&conn, "ZANVO FAULT STALL 100"));
  int32_t type = 0;
  EXPECT_EQ("1", scalar_text("select count(*) from t", &type));
}
