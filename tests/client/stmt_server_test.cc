// Statements and large objects end to end against the reference server, and replies that the
// server's fault statements break on purpose.
#include <gtest/gtest.h>
#include <semaphore.h>

#include <cstring>
#include <string>
#include <utility>

#include "results/lob.h"
#include "results/result_record.h"
#include "server_lob.h"
#include "server_links.h"
#include "zvc.h"

namespace {
class StmtServer : public ServerLinks {
 protected:
  void SetUp() override {
    ASSERT_NO_FATAL_FAILURE(open_links(""));
    ASSERT_EQ(0, ZVC_ExecNoQuery(&conn, "create table t (id integer primary key, name varchar(20))"));
  }

  static int semaphore_count(ConnRecord* c) {
    int value = -1;
    sem_getvalue(c->semaphore, &value);
    return value;
  }
};
}  // namespace

TEST_F(StmtServer, RowIdsCountsAndErrors) {
  EXPECT_EQ(1, ZVC_ExecNoQuery(&conn, "insert into t values (1, 'one')"));
  EXPECT_STREQ("1", conn->last_rowid);
  char row_id[40] = {};
  int32_t count = -1;
  EXPECT_EQ(1, ZVC_ExecScalar(&conn, "insert into t values (7, 'seven')", row_id, sizeof row_id, nullptr));
  EXPECT_STREQ("7", row_id);
  EXPECT_EQ(2, ZVC_ExecNoQuery(&conn, "insert into t values (2, 'two'); insert into t values (3, 'three')"));
  EXPECT_STREQ("3", conn->last_rowid);
  EXPECT_EQ(2, ZVC_ExecScalar(&conn, "update t set name = 'x' where id >= 2", &count, sizeof count, nullptr));
  EXPECT_EQ(3, count);
  EXPECT_EQ(3, ZVC_ExecScalar(&conn, "delete from t where id = 7", &count, sizeof count, nullptr));
  EXPECT_EQ(1, count);
  char value[64] = {};
  EXPECT_EQ(0, ZVC_ExecScalar(&conn, "select count(*) from t", value, sizeof value, nullptr));
  EXPECT_STREQ("3", value);
  EXPECT_EQ(-1, ZVC_ExecNoQuery(&conn, "insert into missing values (1)"));
  EXPECT_NE(nullptr, strstr(conn->error_text, "no such table"));
  // A later statement of the text that fails behind a result's rows fails the whole text.
  EXPECT_EQ(-1, ZVC_ExecNoQuery(&conn, "select id from t; select json('x')"));
  EXPECT_STREQ("[E10001]malformed JSON", conn->error_text);
}

TEST_F(StmtServer, ChainOfResultsWithDescriptions) {
  ASSERT_EQ(2, ZVC_ExecNoQuery(&conn, "insert into t values (1, 'one'); insert into t values (2, 'two')"));
  void* result = nullptr;
  int32_t fields = 0, rows = 0, ctype = 0, size = 0;
  EXPECT_GE(ZVC_Execute(&conn,
                        "select id, name as Label from t; update t set name = 'z' where id = 1; "
                        "delete from t where id = 2; insert into t (id) values (9)",
                        &result, &fields, &rows, nullptr),
            0);
  ASSERT_NE(nullptr, result);
  EXPECT_EQ(2, fields);
  EXPECT_EQ(2, rows);
  char table[128], column[128], alias[128];
  EXPECT_EQ(0, ZVC_GetColumnInfo(&result, 2, table, column, alias, &ctype, &size, nullptr));
  EXPECT_EQ("t|name|Label|2|20", std::string(table) + "|" + column + "|" + alias + "|" + std::to_string(ctype) +
                                     "|" + std::to_string(size));
  EXPECT_EQ(2, ZVC_GetColumnIndex(&result, "LABEL"));
  EXPECT_EQ(0, ZVC_GetColumnIndex(&result, "name"));
  // Kind and count of each further record: update, delete, insert.
  for (int32_t kind : {2, 3, 1}) {
    ASSERT_EQ(0, ZVC_NextResult(&result));
    EXPECT_EQ(kind, static_cast<ResultRecord*>(result)->result_kind);
    EXPECT_EQ(kind == 1 ? 0 : 1, static_cast<ResultRecord*>(result)->effect_count);
  }
  EXPECT_STREQ("9", static_cast<ResultRecord*>(result)->row_id);
  EXPECT_EQ(100, ZVC_NextResult(&result));
  EXPECT_EQ(0, ZVC_CloseResult(&result));
}

// n random bytes in b and the first n characters of their hex text in c, read back inline and
// by descriptor and compared with the server's hex text of b; 4 MiB and a few bytes, ending inside
// a chunk, once per route.
TEST_F(StmtServer, LargeObjects) {
  ASSERT_EQ(0, ZVC_ExecNoQuery(&conn, "create table lobs (id integer, c clob, b blob)"));
  for (int n : {0, int{LOB_CHUNK_SIZE}, LOB_CHUNK_SIZE + 1, 4 * LOB_CHUNK_SIZE + 3}) {
    std::string id = std::to_string(n), where = " from lobs where id = " + id;
    ASSERT_EQ(1, ZVC_ExecNoQuery(&conn, ("insert into lobs select " + id + ", substr(hex(x), 1, " + id +
                                         "), x from (select substr(randomblob(" + id + "), 1, " + id + ") as x)")
                                            .c_str()));
    int32_t inline_rc = n == 0 ? -11 : 0;  // an empty value travels inline as no bytes: a null
    std::string hex = read_lob(&conn, "select hex(b)" + where, 41, inline_rc), blob(n, '\0');
    ASSERT_EQ(static_cast<size_t>(2 * n), hex.size());
    auto nibble = [&](size_t i) { return hex[i] <= '9' ? hex[i] - '0' : hex[i] - 'A' + 10; };
    for (size_t i = 0; i < blob.size(); i++) blob[i] = static_cast<char>(nibble(2 * i) << 4 | nibble(2 * i + 1));
    EXPECT_TRUE(read_lob(&described, "select b" + where, 42, 0) == blob) << n;
    EXPECT_TRUE(read_lob(&conn, "select c" + where, 41, inline_rc) == hex.substr(0, n)) << n;
    if (n == 4 * LOB_CHUNK_SIZE + 3) break;
    EXPECT_TRUE(read_lob(&described, "select c" + where, 43, 0) == hex.substr(0, n)) << n;
    EXPECT_TRUE(read_lob(&conn, "select b" + where, 42, inline_rc) == blob) << n;
  }
  EXPECT_EQ(1, semaphore_count(described));
  // A descriptor the server does not know: an empty object, and the link stays up and in step.
  EXPECT_EQ("", read_lob(&described, "select 'C000000999999:5'", 41, 0));
  EXPECT_EQ(1, ZVC_ExecNoQuery(&described, "insert into t values (5, 'five')"));
}

TEST_F(StmtServer, FaultsLeaveTheSemaphoreReleased) {
  ASSERT_EQ(1, ZVC_ExecNoQuery(&conn, "insert into t (id) values (1)"));
  // A reply left before its end (an unknown letter, an error text whose length no string can
  // have) drops the link: the next call fails cleanly instead of reading the rest as its own
  // reply, and a reconnect gives a working link.
  const std::pair<const char*, int32_t> faults[] = {
      {"ZANVO FAULT LETTER Z", 0}, {"ZANVO FAULT LENGTH -5", -4}, {"ZANVO FAULT LENGTH 2000000000", -4}};
  for (const auto& [fault, rc] : faults) {
    ASSERT_EQ(0, ZVC_ExecNoQuery(&conn, fault));
    testing::internal::CaptureStdout();
    EXPECT_EQ(rc, ZVC_ExecNoQuery(&conn, "update t set name = 'b'")) << fault;
    EXPECT_EQ(-4, ZVC_ExecNoQuery(&conn, "update t set name = 'c'")) << fault;
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(1, semaphore_count(conn));
    ASSERT_EQ(1, ZVC_Reconnect(&conn));
    EXPECT_EQ(1, ZVC_ExecNoQuery(&conn, "update t set name = 'c'")) << fault;
  }
  // Cut inside the first row of a result: the rows stop, and every later read fails.
  ASSERT_EQ(0, ZVC_ExecNoQuery(&conn, "ZANVO FAULT CLOSE AFTER 50"));
  void* result = nullptr;
  EXPECT_EQ(-4, ZVC_Execute(&conn, "select id, name from t", &result, nullptr, nullptr, nullptr));
  testing::internal::CaptureStdout();
  EXPECT_EQ(-4, ZVC_ExecNoQuery(&conn, "insert into t (id) values (2)"));
  EXPECT_EQ("Net Error recv_noQuery \n", testing::internal::GetCapturedStdout());
  EXPECT_EQ(1, semaphore_count(conn));
}

// A routine with an input, an output, an in-out value and a return value: the values go out as
// parameter records and come back into the caller's buffers, a date and a text as the caller
// bound them.
TEST_F(StmtServer, RoutineOutputValuesEndToEnd) {
  ASSERT_EQ(0, ZVC_ExecNoQuery(&conn, "CREATE ROUTINE twice(n IN INTEGER, doubled OUT BIGINT, note INOUT VARCHAR(20), "
                                      "day OUT DATE) RETURNS INTEGER AS 'select :n * 2, :note || ''!'', "
                                      "date(''1970-03-01''), :n + 1'"));
  void** h = reinterpret_cast<void**>(&conn);
  int32_t n = 21, n_len = 4, reserved = 0;
  int64_t doubled = 0;
  char note[8] = "hi";
  int32_t day[3] = {}, ret = 0, lens[4] = {0, 2, 0, 0};
  ASSERT_EQ(0, ZVC_BindParamByPos(h, 1, 1, CT_INT32, &n, 4, &n_len));
  ASSERT_EQ(0, ZVC_BindParamByPos(h, 2, 2, CT_INT64, &doubled, sizeof doubled, &lens[0]));
  ASSERT_EQ(0, ZVC_BindParamByName(h, "note", 3, CT_TEXT, note, sizeof note, &reserved, &lens[1]));
  ASSERT_EQ(0, ZVC_BindParamByPos(h, 4, 2, CT_DATE, day, sizeof day, &lens[2]));
  ASSERT_EQ(0, ZVC_BindParamByPos(h, 5, 6, CT_INT32, &ret, sizeof ret, &lens[3]));
  void* result = nullptr;
  ASSERT_EQ(0, ZVC_ExecuteOut(&conn, "EXEC twice(?, ?, ?, ?)", &result)) << conn->error_text;
  EXPECT_EQ(nullptr, result);
  EXPECT_EQ(42, doubled);
  EXPECT_EQ("hi!", std::string(note, lens[1]));
  EXPECT_EQ("1970 3 1", std::to_string(day[0]) + " " + std::to_string(day[1]) + " " + std::to_string(day[2]));
  EXPECT_EQ(22, ret);
  EXPECT_EQ("8 3 12 4", std::to_string(lens[0]) + " " + std::to_string(lens[1]) + " " + std::to_string(lens[2]) +
                            " " + std::to_string(lens[3]));
  // The set went with the call: the next statement carries none.
  EXPECT_EQ(nullptr, conn->params);
  EXPECT_EQ(0, ZVC_ExecNoQuery(&conn, "select 1"));
}
