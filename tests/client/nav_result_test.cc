// Stepping through results received from scripted replies: rows, column descriptions,
// attributes, row ids, error texts, and handles of other kinds.
#include <gtest/gtest.h>

#include <cstring>

#include "peer.h"
#include "reply_script.h"
#include "results/lob.h"
#include "results/result_record.h"
#include "zvc.h"

namespace {
int32_t attr(void** handle, int32_t number) {
  int32_t value = -99;
  int32_t rc = ZVC_GetAttr(handle, number, &value, 4, nullptr, nullptr);
  return rc < 0 ? rc : value;
}
}  // namespace

TEST(NavResult, RowsAndColumns) {
  StreamPeer peer(result_head({field_desc("T.ID%Key", TC_INTEGER, 4, 9), field_desc(std::string(300, 'n'), TC_NUMERIC)}) +
                  "R" + int_field(1) + null_field() + "R" + int_field(2) + null_field() + "R" + int_field(3) +
                  null_field() + "K");
  peer.conn->use_srvcursor_off = 1;  // a plain select's reply
  void* result = nullptr;
  ASSERT_GE(ZVC_Execute(&peer.conn, "select", &result, nullptr, nullptr, nullptr), 0);
  int32_t count = -1, ctype = 0, size = 0, detail = 0;
  EXPECT_EQ(0, ZVC_GetRowCount(&result, &count));
  EXPECT_EQ(3, count);
  EXPECT_EQ(0, ZVC_GetColumnCount(&result, &count));
  EXPECT_EQ(2, count);
  for (int32_t rc : {0, 0, 0, 100, 100}) EXPECT_EQ(rc, ZVC_NextRow(&result));
  char name[128] = {}, table[128], column[128], alias[128];
  EXPECT_EQ(0, ZVC_GetColumnName(&result, 1, name));
  EXPECT_STREQ("Key", name);
  EXPECT_EQ(-1, ZVC_GetColumnName(&result, 3, name));
  EXPECT_EQ(1, ZVC_GetColumnIndex(&result, "KEY"));
  EXPECT_EQ(0, ZVC_GetColumnIndex(&result, "ID"));
  EXPECT_EQ(-15, ZVC_GetColumnSize(&result, 0, &size));
  EXPECT_EQ(0, ZVC_GetColumnInfo(&result, 1, table, column, alias, &ctype, &size, &detail));
  EXPECT_EQ("T|ID|Key|5|4|9", std::string(table) + "|" + column + "|" + alias + "|" + std::to_string(ctype) + "|" +
                                  std::to_string(size) + "|" + std::to_string(detail));
  // Parts a column lacks come back empty; a name is cut to the 128-byte buffer.
  memset(alias, 'x', sizeof alias);
  EXPECT_EQ(0, ZVC_GetColumnInfo(&result, 2, table, column, alias, nullptr, nullptr, nullptr));
  EXPECT_EQ("|" + std::string(127, 'n') + "|", std::string(table) + "|" + column + "|" + alias);
  EXPECT_EQ(0, ZVC_CloseResult(&result));
  EXPECT_EQ(nullptr, result);
}

TEST(NavResult, ChainsAndAttributes) {
  std::string reply = result_head({field_desc("N", TC_INTEGER, 4)}) + "I" + wire_str("r1") + "D" + be32(4) + "K";
  StreamPeer peer(reply);
  peer.conn->use_srvcursor_off = 1;  // a plain select's reply
  void* result = nullptr;
  ASSERT_GE(ZVC_Execute(&peer.conn, "select", &result, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(100, ZVC_NextRow(&result));
  int64_t wide = -1;
  int32_t type = 0, length = 0;
  EXPECT_EQ(0, ZVC_GetAttr(&result, 62, &wide, 8, &type, &length));
  EXPECT_EQ("0 3 8", std::to_string(wide) + " " + std::to_string(type) + " " + std::to_string(length));
  // 62 is an int64, too wide for 4 bytes; 67 is no attribute.
  const int32_t expected[][2] = {{61, 1}, {62, -12}, {63, 1}, {64, 4}, {65, 4}, {66, 1}, {67, -3}};
  for (const auto& e : expected) EXPECT_EQ(e[1], attr(&result, e[0])) << e[0];
  const std::string text = "[EC0105]result attribute type get error,unknown attribute type\n";
  char buffer[1024] = {};
  EXPECT_EQ(0, ZVC_GetErrorText(&result, buffer, &length));
  EXPECT_EQ(text, buffer);
  EXPECT_EQ(static_cast<int32_t>(text.size()), length);
  EXPECT_EQ(length, ZVC_GetErrorLength(&result));
  char id[40] = "stale";
  EXPECT_EQ(0, ZVC_GetRowId(&result, id, sizeof id));  // rows have none
  EXPECT_STREQ("", id);
  EXPECT_EQ(0, ZVC_NextResult(&result));
  EXPECT_EQ(0, ZVC_GetRowId(&result, id, sizeof id));
  EXPECT_STREQ("r1", id);
  // An id cut to the buffer keeps its terminator and says so.
  EXPECT_EQ(-12, ZVC_GetRowId(&result, id, 2));
  EXPECT_STREQ("r", id);
  EXPECT_STREQ("[EC0109]Error the row id does not fit the buffer: it was cut\n",
               static_cast<ResultRecord*>(result)->message);
  EXPECT_EQ(0, ZVC_NextResult(&result));
  EXPECT_EQ(4, attr(&result, 63));
  EXPECT_EQ(0, attr(&result, 66));
  void* last = result;
  EXPECT_EQ(100, ZVC_NextResult(&result));
  EXPECT_EQ(last, result);
  EXPECT_EQ(0, ZVC_CloseResult(&result));

  void* conn = peer.conn;
  EXPECT_EQ(-3, attr(&conn, 10));
  EXPECT_EQ(0, ZVC_GetErrorText(&conn, buffer, &length));
  EXPECT_STREQ("[EC0103]connection attribute type get error,unknown attribute type\n", buffer);
  EXPECT_EQ(0, ZVC_FreeHandle(&conn));
  peer.conn = nullptr;
}

// An error text longer than the caller's 1024 bytes: its first 1023 and a NUL, -12, and the whole
// length, as ZVC_GetErrorLength gives it; one that fits gives 0.
TEST(NavResult, ErrorTextLongerThanTheBuffer) {
  StreamPeer peer("E" + wire_str(std::string(1500, 'x')) + "K" + "E" + wire_str(std::string(1023, 'y')) + "K");
  void* conn = peer.conn;
  for (size_t len : {1500, 1023}) {
    EXPECT_EQ(-1, ZVC_ExecNoQuery(&peer.conn, "update t"));
    char buffer[1025];
    memset(buffer, '#', sizeof buffer);
    int32_t length = 0;
    EXPECT_EQ(len > 1023 ? -12 : 0, ZVC_GetErrorText(&conn, buffer, &length)) << len;
    EXPECT_EQ(std::string(1023, len > 1023 ? 'x' : 'y'), buffer);
    EXPECT_EQ('#', buffer[1024]);
    EXPECT_EQ(static_cast<int32_t>(len), length);
    EXPECT_EQ(length, ZVC_GetErrorLength(&conn));
  }
}

TEST(NavResult, HandlesOfAnotherKindOrNone) {
  LobHandle* lob = nullptr;
  ASSERT_EQ(0, ZVC_CreateLob(&lob));
  int32_t unknown_record[4] = {9, 0, 0, 0};
  void* strange = unknown_record;
  void* none = nullptr;
  int32_t out = 0;
  char name[128];
  for (void** other : {reinterpret_cast<void**>(&lob), &strange, &none, static_cast<void**>(nullptr)}) {
    EXPECT_EQ(-3, ZVC_NextRow(other));
    EXPECT_EQ(-3, ZVC_GetColumnCount(other, &out));
    EXPECT_EQ(-3, ZVC_GetColumnInfo(other, 1, name, name, name, &out, &out, &out));
    ConnRecord** as_conn = reinterpret_cast<ConnRecord**>(other);
    void* result = nullptr;
    EXPECT_EQ(-3, ZVC_ExecNoQuery(as_conn, "select 1"));
    EXPECT_EQ(-3, ZVC_Execute(as_conn, "select 1", &result, nullptr, nullptr, nullptr));
    EXPECT_EQ(0, ZVC_GetErrorLength(other));
  }
  EXPECT_EQ(-3, ZVC_NextResult(&none));
  EXPECT_EQ(-3, ZVC_CloseResult(reinterpret_cast<void**>(&lob)));
  EXPECT_EQ(-3, ZVC_FreeHandle(&strange));
  EXPECT_EQ(-3, attr(&strange, 61));
  EXPECT_EQ(0, ZVC_FreeHandle(reinterpret_cast<void**>(&lob)));
  EXPECT_EQ(nullptr, lob);
}

// Every line the library prints goes to the connection's notice hook: the hook set, standard
// output by default, nothing at all on a silent connection; verbose_mode still picks the lines.
TEST(NavResult, NoticeHookTakesTheServerLines) {
  // Texts between the rows of a block go to the result's message; these come before the rows.
  const std::string reply = "W" + wire_str("careful") + "E" + wire_str("boom") +
                            result_head({field_desc("T.ID%ID", TC_INTEGER, 4)}) + "R" + int_field(1) + "K";
  const std::string both = "[WC032]Server Warning in recv result :careful \n[EC031]Error in recv result :boom \n";
  struct Case {
    bool hooked;
    int32_t silent, verbose_mode;
    std::string hook_lines, printed;
  };
  const Case cases[] = {
      {true, 0, 1, both, ""},
      {true, 0, 4, "[WC032]Server Warning in recv result :careful \n", ""},
      {false, 0, 1, "", both},
      {true, 1, 1, "", ""},
      {false, 1, 1, "", ""},
  };
  for (const Case& c : cases) {
    StreamPeer peer(reply);
    peer.conn->use_srvcursor_off = 1;
    peer.conn->silent = c.silent;
    peer.conn->verbose_mode = c.verbose_mode;
    std::string lines;
    auto keep = [](void* context, const char* line) { *static_cast<std::string*>(context) += line; };
    if (c.hooked) {
      ASSERT_EQ(ZV_OK, ZVC_SetNoticeHook(peer.conn, keep, &lines));
    }
    testing::internal::CaptureStdout();
    void* result = nullptr;
    ZVC_Execute(&peer.conn, "select", &result, nullptr, nullptr, nullptr);
    // The binding's own lines take the same way, from a result of the connection.
    ZVC_Notice(&result, "Lob read Getdata : write to arraybuffer  \n");
    std::string printed = testing::internal::GetCapturedStdout();
    const std::string lob_line = c.silent ? "" : "Lob read Getdata : write to arraybuffer  \n";
    EXPECT_EQ(lines, c.hook_lines + (c.hooked ? lob_line : "")) << c.verbose_mode << c.silent;
    EXPECT_EQ(printed, c.printed + (c.hooked ? "" : lob_line)) << c.verbose_mode << c.silent;
    ZVC_CloseResult(&result);
    ZVC_CloseConnection(&peer.conn);
  }
  EXPECT_EQ(ZV_BAD_HANDLE, ZVC_SetNoticeHook(nullptr, nullptr, nullptr));
}
