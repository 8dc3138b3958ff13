// Cursors end to end against the reference server: queries of every size around the block read
// whole, two open cursors on one link, server cursors off, named cursors and a prepared
// statement's cursor.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "results/smart_cursor.h"
#include "server_links.h"
#include "zvc.h"

namespace {
class CursorServer : public ServerLinks {
 protected:
  void SetUp() override {
    ASSERT_NO_FATAL_FAILURE(open_links(""));
    ASSERT_EQ(0, ZVC_ExecNoQuery(&conn, "create table n (id integer primary key, s varchar(12))"));
    ASSERT_GE(ZVC_ExecNoQuery(&conn,
                              "insert into n with recursive c(x) as (select 1 union all select x + 1 from c "
                              "where x < 45000) select x, 'r' || x from c"),
              0);
  }
  // The rows of the handle from where it stands: their count, the sum of column 1, the text of
  // column 2 in the last row, and the step's last code.
  struct Read {
    int64_t rows = 0, sum = 0;
    std::string last;
    int32_t code = 0;
  };
  static Read read(void** handle, int64_t limit = INT64_MAX) {
    Read r;
    while (r.rows < limit && (r.code = ZVC_NextRow(handle)) == 0) {
      int32_t id = 0;
      char text[16] = {};
      EXPECT_EQ(0, ZVC_GetData(handle, 1, CT_INT32, &id, sizeof id, nullptr));
      ZVC_GetData(handle, 2, CT_TEXT, text, sizeof text, nullptr);
      r.rows++;
      r.sum += id;
      r.last = text;
    }
    return r;
  }
  static int64_t sum_to(int64_t n) { return n * (n + 1) / 2; }
  static SmartCursor* cursor(void* handle) { return static_cast<SmartCursor*>(handle); }
};
}  // namespace

TEST_F(CursorServer, QueriesOfEverySizeReadWhole) {
  for (int64_t size : {0, 1, 19999, 20000, 20001, 45000}) {
    SCOPED_TRACE(size);
    std::string sql = "select id, s from n where id <= " + std::to_string(size) + " order by id";
    void* handle = nullptr;
    int32_t fields = 0, rows = -1;
    ASSERT_GE(ZVC_Execute(&conn, sql.c_str(), &handle, &fields, &rows, nullptr), 0) << conn->error_text;
    EXPECT_EQ(HT_SMART_CURSOR, cursor(handle)->kind);
    EXPECT_EQ(size >= 20000, cursor(handle)->open == 1);
    EXPECT_EQ(2, fields);
    EXPECT_EQ(std::min<int64_t>(size, 20000), rows);
    Read r = read(&handle);
    EXPECT_EQ(size, r.rows);
    EXPECT_EQ(sum_to(size), r.sum);
    EXPECT_EQ(size ? "r" + std::to_string(size) : "", r.last);
    EXPECT_EQ(100, r.code);
    EXPECT_EQ(0, cursor(handle)->open);
    EXPECT_EQ(0, ZVC_CloseResult(&handle));
  }
}

// A query that ends on its ";", one that carries a bound parameter into its DECLARE, and a
// prepared statement's name, which the server declares from the statement's text.
TEST_F(CursorServer, SemicolonParametersAndPreparedNames) {
  void* handle = nullptr;
  ASSERT_GE(ZVC_Execute(&conn, "select id, s from n where id <= 3 order by id;", &handle, nullptr, nullptr, nullptr), 0)
      << conn->error_text;
  Read r = read(&handle);
  EXPECT_EQ("3 r3", std::to_string(r.rows) + " " + r.last);
  ZVC_CloseResult(&handle);
  int32_t above = 44000;
  ASSERT_EQ(0, ZVC_BindParamByPos(reinterpret_cast<void**>(&conn), 1, 1, CT_INT32, &above, 4, nullptr));
  ASSERT_GE(ZVC_Execute(&conn, "select id, s from n where id > ? order by id", &handle, nullptr, nullptr, nullptr), 0)
      << conn->error_text;
  EXPECT_EQ(nullptr, conn->params);
  r = read(&handle);
  EXPECT_EQ(sum_to(45000) - sum_to(44000), r.sum);
  ZVC_CloseResult(&handle);
  char name[ZV_STMT_NAME_SIZE];
  ASSERT_EQ(19665, ZVC_Prepare(&conn, "select id, s from n where id between 20 and 22", name));
  ASSERT_GE(ZVC_Execute(&conn, name, &handle, nullptr, nullptr, nullptr), 0) << conn->error_text;
  r = read(&handle);
  EXPECT_EQ("3 r22", std::to_string(r.rows) + " " + r.last);
  ZVC_CloseResult(&handle);
}

// Two cursors stand on one link under different names and are read in turns, with other
// statements between their refills; a half-read one is closed. Server cursors off: the rows come
// whole in a plain result.
TEST_F(CursorServer, TwoOpenCursorsAndServerCursorsOff) {
  void* low = nullptr;
  void* high = nullptr;
  ASSERT_GE(ZVC_Execute(&conn, "select id, s from n where id <= 30000 order by id", &low, nullptr, nullptr, nullptr), 0);
  ASSERT_GE(ZVC_Execute(&conn, "select id, s from n where id > 5000 order by id", &high, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ("STC0_SMARTCUR STC1_SMARTCUR", std::string(cursor(low)->name) + " " + cursor(high)->name);
  Read a = read(&low, 25000), b = read(&high, 25000);
  EXPECT_EQ(0, ZVC_ExecNoQuery(&conn, "create table other (x integer)"));
  Read a2 = read(&low), b2 = read(&high, 100);
  EXPECT_EQ(sum_to(30000), a.sum + a2.sum);
  EXPECT_EQ("r30000 r30100", a2.last + " " + b2.last);
  EXPECT_EQ(sum_to(30100) - sum_to(5000), b.sum + b2.sum);
  EXPECT_EQ(0, ZVC_CloseResult(&low));
  EXPECT_EQ(1, cursor(high)->open);
  EXPECT_EQ(0, ZVC_CloseResult(&high));
  // The half-read cursor is gone on the server: its name is free for a named cursor.
  EXPECT_EQ(0, ZVC_DeclareCursor(&conn, "select id, s from n", "STC1_SMARTCUR", nullptr, nullptr));
  EXPECT_EQ(0, ZVC_CloseCursor(&conn, "STC1_SMARTCUR"));

  int32_t off = 1;
  ASSERT_EQ(0, ZVC_SetAttr(reinterpret_cast<void**>(&conn), 12, &off, 4));
  void* plain = nullptr;
  int32_t rows = 0;
  ASSERT_GE(ZVC_Execute(&conn, "select id, s from n order by id", &plain, nullptr, &rows, nullptr), 0);
  EXPECT_EQ(HT_RESULT, *static_cast<int32_t*>(plain));
  EXPECT_EQ(45000, rows);
  EXPECT_EQ(sum_to(45000), read(&plain).sum);
  ZVC_CloseResult(&plain);
}

// Named cursors in each spelling, a prepared statement's cursor with its parameter, and cursors
// that belong to their own link.
TEST_F(CursorServer, NamedAndPreparedCursors) {
  void* rows = nullptr;
  ASSERT_EQ(0, ZVC_DeclareCursor(&conn, "select id, s from n where id <= 25000 order by id", "Reader", nullptr, nullptr));
  EXPECT_EQ(20000, ZVC_FetchCursor(&conn, "Reader", &rows));
  EXPECT_EQ(5000, ZVC_FetchCursor(&conn, "Reader", &rows));
  EXPECT_EQ(sum_to(25000) - sum_to(20000), read(&rows).sum);
  EXPECT_EQ(-1, ZVC_FetchCursor(&conn, "Reader", &rows));
  EXPECT_EQ(0, ZVC_CloseCursor(&conn, "Reader"));

  char name[ZV_STMT_NAME_SIZE], cursor_name[ZV_CURSOR_BUF_SIZE];
  ASSERT_EQ(19665, ZVC_Prepare(&conn, "select id, s from n where id > :lo order by id", name));
  int32_t lo = 44990, count = 4, fields = 0, got = 0;
  ASSERT_EQ(0, ZVC_BindParamByName(reinterpret_cast<void**>(&conn), "lo", 1, CT_INT32, &lo, 4, nullptr, nullptr));
  ASSERT_EQ(0, ZVC_Execute2(&conn, name, cursor_name, nullptr)) << conn->error_text;
  EXPECT_EQ(std::string(name) + "_CUR", cursor_name);
  void* some = nullptr;
  EXPECT_EQ(0, ZVC_FetchCount(&conn, cursor_name, &some, &fields, &got, &count));
  EXPECT_EQ(4, got);
  Read r = read(&some);
  EXPECT_EQ("4 r44994", std::to_string(r.rows) + " " + r.last);
  ZVC_CloseResult(&some);
  // The other link knows no cursor of this one.
  EXPECT_EQ(-1, ZVC_Refetch(&described, ("FETCH 1 FROM " + std::string(cursor_name)).c_str(), &some));
  EXPECT_EQ("[E10005]no cursor named " + std::string(cursor_name), described->error_text);
  EXPECT_EQ(6, ZVC_Refetch(&conn, ("FETCH 100  FROM " + std::string(cursor_name) + " ").c_str(), &some));
  EXPECT_EQ("6 r45000", [&] {
    Read rest = read(&some);
    return std::to_string(rest.rows) + " " + rest.last;
  }());
  ZVC_CloseResult(&some);
  EXPECT_EQ(0, ZVC_CloseCursor(&conn, cursor_name));
  EXPECT_EQ(-1, ZVC_CloseCursor(&conn, cursor_name));
  EXPECT_EQ("[EC027]Error :[E10005]no cursor named " + std::string(cursor_name) + " Close Cursor " + cursor_name +
                "  \n",
            conn->error_text);
  ZVC_CloseResult(&rows);
}
