// Direct execution end to end against the reference server: DDL, DML with row ids and
// counts, a chain of results with column descriptions, server errors, and replies that
// the server's fault statements break on purpose.
#include <gtest/gtest.h>
#include <semaphore.h>

#include <cstring>
#include <string>

#include "results/result_record.h"
#include "server_process.h"
#include "zvc.h"

namespace {
class StmtServer : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_NE(0, server.port());
    ASSERT_EQ(2, ZVC_OpenConnection(server.conn_string().c_str(), &conn));
    ASSERT_EQ(0,
              ZVC_ExecNoQuery(&conn, "create table t (id integer primary key, name varchar(20), price decimal(10,2))"));
  }
  void TearDown() override { ZVC_CloseConnection(&conn); }

  std::string scalar_text(const char* sql, int32_t* type) {
    char value[64] = {};
    EXPECT_EQ(0, ZVC_ExecScalar(&conn, sql, value, type)) << sql;
    return value;
  }
  int semaphore_count() {
    int value = -1;
    sem_getvalue(conn->semaphore, &value);
    return value;
  }
  int32_t attr(void** handle, int32_t number) {
    int32_t value = 0, type = 0, length = 0;
    EXPECT_EQ(0, ZVC_GetAttr(handle, number, &value, 4, &type, &length));
    return value;
  }

  ServerProcess server;
  ConnRecord* conn = nullptr;
};
}  // namespace

TEST_F(StmtServer, RowIdsCountsAndErrors) {
  EXPECT_EQ(1, ZVC_ExecNoQuery(&conn, "insert into t (id, name) values (1, 'one')"));
  EXPECT_STREQ("1", conn->last_rowid);
  char row_id[40] = {};
  int32_t type = -1, count = -1;
  EXPECT_EQ(1, ZVC_ExecScalar(&conn, "insert into t (id, name) values (7, 'seven')", row_id, &type));
  EXPECT_STREQ("7", row_id);
  EXPECT_EQ(2, ZVC_ExecNoQuery(&conn, "insert into t values (2, 'two', 1.5); insert into t values (3, 'three', 2)"));
  EXPECT_STREQ("3", conn->last_rowid);
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

  EXPECT_EQ(-1, ZVC_ExecNoQuery(&conn, "insert into missing values (1)"));
  ASSERT_NE(nullptr, strstr(conn->error_text, "no such table"));
  std::string text = conn->error_text;
  testing::internal::CaptureStdout();
  EXPECT_EQ(-1, ZVC_ExecScalar(&conn, "insert into missing values (1)", row_id, &type));
  EXPECT_EQ("Server Error " + text + " \n", testing::internal::GetCapturedStdout());
  EXPECT_EQ(1, ZVC_ExecNoQuery(&conn, "insert into t (id) values (5)"));  // the link goes on
  EXPECT_EQ(1, semaphore_count());
}

TEST_F(StmtServer, ChainOfResultsWithDescriptions) {
  ASSERT_EQ(2, ZVC_ExecNoQuery(&conn, "insert into t values (1, 'one', 1.5); insert into t values (2, 'two', 2)"));
  void* result = nullptr;
  int32_t fields = 0, rows = 0;
  EXPECT_GE(ZVC_Execute(&conn,
                        "select id, name as Label, price from t order by id; update t set name = 'z' where id = 1; "
                        "delete from t where id = 2; insert into t (id) values (9)",
                        &result, &fields, &rows, nullptr),
            0);
  ASSERT_NE(nullptr, result);
  EXPECT_EQ(3, fields);
  EXPECT_EQ(2, rows);
  char name[128] = {}, table[128], column[128], alias[128];
  int32_t ctype = 0, size = 0, detail = 0;
  EXPECT_EQ(0, ZVC_GetColumnName(&result, 2, name));
  EXPECT_STREQ("Label", name);
  EXPECT_EQ(0, ZVC_GetColumnInfo(&result, 2, table, column, alias, &ctype, &size, &detail));
  EXPECT_EQ("t|name|Label", std::string(table) + "|" + column + "|" + alias);
  EXPECT_EQ(2, ctype);
  EXPECT_EQ(20, size);
  EXPECT_EQ(2, ZVC_GetColumnIndex(&result, "LABEL"));
  EXPECT_EQ(0, ZVC_GetColumnIndex(&result, "name"));
  EXPECT_EQ(1, ZVC_GetColumnIndex(&result, "ID"));
  EXPECT_EQ(0, ZVC_GetColumnType(&result, 3, &ctype));
  EXPECT_EQ(9, ctype);
  int32_t id = 0;
  char text[32] = {};
  ASSERT_EQ(0, ZVC_NextRow(&result));
  EXPECT_EQ(0, ZVC_GetData(&result, 2, 2, text, sizeof text, nullptr));
  EXPECT_STREQ("one", text);
  ASSERT_EQ(0, ZVC_NextRow(&result));
  EXPECT_EQ(0, ZVC_GetData(&result, 1, 5, &id, 4, nullptr));
  EXPECT_EQ(2, id);
  EXPECT_EQ(100, ZVC_NextRow(&result));

  ASSERT_EQ(0, ZVC_NextResult(&result));
  EXPECT_EQ(2, attr(&result, 65));
  EXPECT_EQ(1, attr(&result, 63));
  ASSERT_EQ(0, ZVC_NextResult(&result));
  EXPECT_EQ(3, attr(&result, 65));
  EXPECT_EQ(1, attr(&result, 63));
  ASSERT_EQ(0, ZVC_NextResult(&result));
  EXPECT_EQ(1, attr(&result, 65));
  EXPECT_STREQ("9", static_cast<ResultRecord*>(result)->row_id);
  EXPECT_EQ(100, ZVC_NextResult(&result));
  EXPECT_EQ(0, ZVC_CloseResult(&result));
  // A chain closed at its head frees every record.
  EXPECT_GE(ZVC_Execute(&conn, "select id from t; update t set id = id; select name from t", &result, nullptr, nullptr,
                        nullptr),
            0);
  EXPECT_EQ(0, ZVC_CloseResult(&result));
}

TEST_F(StmtServer, DroppedLinks) {
  ASSERT_EQ(1, ZVC_ExecNoQuery(&conn, "insert into t values (1, 'one', 1)"));
  // Cut inside the first row of a result: the rows stop and the next letter read fails.
  ASSERT_EQ(0, ZVC_ExecNoQuery(&conn, "ZANVO FAULT CLOSE AFTER 50"));
  void* result = nullptr;
  EXPECT_EQ(-4, ZVC_Execute(&conn, "select id, name from t", &result, nullptr, nullptr, nullptr));
  EXPECT_EQ(1, semaphore_count());
  testing::internal::CaptureStdout();
  EXPECT_EQ(-4, ZVC_ExecNoQuery(&conn, "insert into t (id) values (2)"));
  char value[64] = {};
  EXPECT_EQ(-4, ZVC_ExecScalar(&conn, "select 1", value, nullptr));
  EXPECT_EQ("Net Error recv_noQuery \n", testing::internal::GetCapturedStdout());
  EXPECT_EQ(1, semaphore_count());
}

TEST_F(StmtServer, UnknownLetterMalformedLengthAndColumnCounts) {
  ASSERT_EQ(1, ZVC_ExecNoQuery(&conn, "insert into t (id) values (1)"));
  // A reply of one unknown letter ends the reader; nothing else came, so the link stays in step.
  ASSERT_EQ(0, ZVC_ExecNoQuery(&conn, "ZANVO FAULT LETTER Z"));
  EXPECT_EQ(0, ZVC_ExecNoQuery(&conn, "update t set name = 'a'"));
  ASSERT_EQ(0, ZVC_ExecNoQuery(&conn, "ZANVO FAULT LETTER Z"));
  void* result = nullptr;
  EXPECT_EQ(0, ZVC_Execute(&conn, "select id from t", &result, nullptr, nullptr, nullptr));
  EXPECT_EQ(nullptr, result);
  int32_t type = 0;
  EXPECT_EQ("1", scalar_text("select count(*) from t", &type));
  // An error text with a length that no string can have is a failed read.
  for (const char* fault : {"ZANVO FAULT LENGTH -5", "ZANVO FAULT LENGTH 2000000000"}) {
    ASSERT_EQ(0, ZVC_ExecNoQuery(&conn, fault));
    EXPECT_EQ(-4, ZVC_ExecNoQuery(&conn, "update t set name = 'b'")) << fault;
    EXPECT_EQ("1", scalar_text("select count(*) from t", &type)) << fault;
  }
  ASSERT_EQ(0, ZVC_ExecNoQuery(&conn, "ZANVO FAULT LENGTH -1"));
  EXPECT_EQ(-4, ZVC_Execute(&conn, "select 1", &result, nullptr, nullptr, nullptr));
  ASSERT_EQ(0, ZVC_ExecNoQuery(&conn, "ZANVO FAULT STALL 100"));
  EXPECT_EQ("1", scalar_text("select count(*) from t", &type));

  ASSERT_EQ(0, ZVC_ExecNoQuery(&conn, "ZANVO FAULT COLUMNS 3"));
  int32_t fields = 0;
  EXPECT_EQ(0, ZVC_Execute(&conn, "select 1", &result, &fields, nullptr, nullptr));
  EXPECT_EQ(3, fields);
  char name[128] = {};
  EXPECT_EQ(0, ZVC_GetColumnName(&result, 3, name));
  EXPECT_STREQ("c3", name);
  ZVC_CloseResult(&result);
  // More columns than a result may have: refused, the semaphore released, nothing kept.
  ASSERT_EQ(0, ZVC_ExecNoQuery(&conn, "ZANVO FAULT COLUMNS 4001"));
  EXPECT_EQ(-4, ZVC_Execute(&conn, "select 1", &result, nullptr, nullptr, nullptr));
  EXPECT_EQ(nullptr, result);
  EXPECT_EQ(1, semaphore_count());
}
