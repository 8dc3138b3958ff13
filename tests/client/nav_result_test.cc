// Stepping through results received from scripted replies: rows, column descriptions,
// attributes, row ids and error texts.
#include <gtest/gtest.h>

#include <cstring>

#include "peer.h"
#include "reply_script.h"
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
  EXPECT_EQ(0, ZVC_GetColumnCount(&result, &count));
  EXPECT_EQ(2, count);
  for (int32_t rc : {0, 0, 0, 100, 100}) EXPECT_EQ(rc, ZVC_NextRow(&result));
  char name[128] = {}, table[128], column[128], alias[128];
  EXPECT_EQ(0, ZVC_GetColumnName(&result, 1, name));
  EXPECT_STREQ("Key", name);
  EXPECT_EQ(1, ZVC_GetColumnIndex(&result, "KEY"));
  EXPECT_EQ(0, ZVC_GetColumnIndex(&result, "ID"));
  EXPECT_EQ(0, ZVC_GetColumnInfo(&result, 1, table, column, alias, &ctype, &size, &detail));
  EXPECT_EQ("T|ID|Key|5|4|9", std::string(table) + "|" + column + "|" + alias + "|" + std::to_string(ctype) + "|" +
                                  std::to_string(size) + "|" + std::to_string(detail));
  // Parts a column lacks come back empty; a name is cut to the 128-byte buffer.
  memset(alias, 'x', sizeof alias);
  EXPECT_EQ(0, ZVC_GetColumnInfo(&result, 2, table, column, alias, nullptr, nullptr, nullptr));
  EXPECT_EQ("|" + std::string(127, 'n') + "|", std::string(table) + "|" + column + "|" + alias);
  EXPECT_EQ(0, ZVC_CloseResult(&result));
}

TEST(NavResult, ChainsAndAttributes) {
  std::string reply = result_head({field_desc("N", TC_INTEGER, 4)}) + "I" + wire_str("r1") + "D" + be32(4) + "K";
  StreamPeer peer(reply);
  peer.conn->use_srvcursor_off = 1;  // a plain select's reply
  void* result = nullptr;
  ASSERT_GE(ZVC_Execute(&peer.conn, "select", &result, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(100, ZVC_NextRow(&result));
  // 62 is an int64, too wide for 4 bytes; 67 is no attribute.
  const int32_t expected[][2] = {{61, 1}, {62, -12}, {63, 1}, {64, 4}, {65, 4}, {66, 1}, {67, -3}};
  for (const auto& e : expected) EXPECT_EQ(e[1], attr(&result, e[0])) << e[0];
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
