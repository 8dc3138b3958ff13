// Stepping through held results, their column descriptions, attributes and error texts,
// on results received from scripted replies.
#include <gtest/gtest.h>

#include <cstring>

#include "peer.h"
#include "reply_script.h"
#include "results/lob.h"
#include "results/result_record.h"
#include "zvc.h"

namespace {
// Receives a reply as ZVC_Execute does and hands back the head of its chain.
void* receive(StreamPeer& peer) {
  void* result = nullptr;
  EXPECT_GE(ZVC_Execute(&peer.conn, "select", &result, nullptr, nullptr, nullptr), 0);
  return result;
}

const std::string kThreeRows =
    result_head({field_desc("T.ID%Key", TC_INTEGER, 4, 9), field_desc("NAME", TC_CHAR, 20, 1),
                 field_desc("PRICE", TC_NUMERIC, 12, 2)}) +
    "R" + int_field(1) + bytes_field("a") + bytes_field("1.5") + "R" + int_field(2) + bytes_field("b") + null_field() +
    "R" + int_field(3) + null_field() + bytes_field("3") + "K";
}  // namespace

TEST(NavResult, RowsAreReadOnceForward) {
  StreamPeer peer(kThreeRows);
  void* result = receive(peer);
  ASSERT_NE(nullptr, result);
  int32_t count = -1;
  EXPECT_EQ(0, ZVC_GetRowCount(&result, &count));
  EXPECT_EQ(3, count);
  EXPECT_EQ(0, ZVC_GetColumnCount(&result, &count));
  EXPECT_EQ(3, count);
  int32_t ids[3] = {};
  for (int i = 0; i < 3; i++) {
    ASSERT_EQ(0, ZVC_NextRow(&result));
    EXPECT_EQ(0, ZVC_GetData(&result, 1, 5, &ids[i], 4, nullptr));
  }
  EXPECT_EQ(1, ids[0]);
  EXPECT_EQ(3, ids[2]);
  EXPECT_EQ(100, ZVC_NextRow(&result));
  EXPECT_EQ(100, ZVC_NextRow(&result));
  int32_t value = 0;
  EXPECT_EQ(-11, ZVC_GetData(&result, 1, 5, &value, 4, nullptr));
  EXPECT_EQ(0, ZVC_CloseResult(&result));
  EXPECT_EQ(nullptr, result);

  StreamPeer empty(result_head({field_desc("N", TC_INTEGER, 4)}) + "K");
  void* none = receive(empty);
  ASSERT_NE(nullptr, none);
  EXPECT_EQ(100, ZVC_NextRow(&none));
  EXPECT_EQ(100, ZVC_NextRow(&none));
  EXPECT_EQ(0, ZVC_FreeHandle(&none));
  EXPECT_EQ(nullptr, none);
}

TEST(NavResult, ColumnDescriptions) {
  StreamPeer peer(kThreeRows);
  void* result = receive(peer);
  ASSERT_NE(nullptr, result);
  char name[128];
  memset(name, 0, sizeof name);
  EXPECT_EQ(0, ZVC_GetColumnName(&result, 1, name));
  EXPECT_STREQ("Key", name);
  EXPECT_EQ(0, ZVC_GetColumnName(&result, 2, name));
  EXPECT_STREQ("NAME", name);
  EXPECT_EQ(-1, ZVC_GetColumnName(&result, 0, name));
  EXPECT_EQ(-1, ZVC_GetColumnName(&result, 4, name));

  EXPECT_EQ(1, ZVC_GetColumnIndex(&result, "KEY"));
  EXPECT_EQ(0, ZVC_GetColumnIndex(&result, "ID"));
  EXPECT_EQ(3, ZVC_GetColumnIndex(&result, "price"));
  EXPECT_EQ(0, ZVC_GetColumnIndex(&result, "nothing"));

  int32_t ctype = 0, size = 0, detail = 0;
  EXPECT_EQ(0, ZVC_GetColumnType(&result, 3, &ctype));
  EXPECT_EQ(9, ctype);
  EXPECT_EQ(0, ZVC_GetColumnType(&result, 2, &ctype));
  EXPECT_EQ(2, ctype);
  EXPECT_EQ(0, ZVC_GetColumnSize(&result, 2, &size));
  EXPECT_EQ(20, size);
  EXPECT_EQ(-15, ZVC_GetColumnType(&result, 4, &ctype));
  EXPECT_EQ(-15, ZVC_GetColumnSize(&result, -1, &size));

  char table[128], column[128], alias[128];
  memset(alias, 'x', sizeof alias);
  EXPECT_EQ(0, ZVC_GetColumnInfo(&result, 1, table, column, alias, &ctype, &size, &detail));
  EXPECT_STREQ("T", table);
  EXPECT_STREQ("ID", column);
  EXPECT_STREQ("Key", alias);
  EXPECT_EQ(5, ctype);
  EXPECT_EQ(4, size);
  EXPECT_EQ(9, detail);
  EXPECT_EQ(0, ZVC_GetColumnInfo(&result, 2, table, column, alias, &ctype, &size, &detail));
  EXPECT_STREQ("", table);
  EXPECT_STREQ("NAME", column);
  EXPECT_STREQ("", alias);
  EXPECT_EQ(1, detail);
  EXPECT_EQ(-1, ZVC_GetColumnInfo(&result, 9, table, column, alias, &ctype, &size, &detail));
  ZVC_CloseResult(&result);
}

TEST(NavResult, LongNamesAreCutToTheNameBuffer) {
  std::string long_name(300, 'n');
  StreamPeer peer(result_head({field_desc(long_name, TC_INTEGER, 4)}) + "K");
  void* result = receive(peer);
  ASSERT_NE(nullptr, result);
  char name[128];
  EXPECT_EQ(0, ZVC_GetColumnName(&result, 1, name));
  EXPECT_EQ(std::string(127, 'n'), std::string(name));
  ZVC_CloseResult(&result);
}

TEST(NavResult, ChainsOfResults) {
  std::string reply = result_head({field_desc("N", TC_INTEGER, 4)}) + int_rows(2, 10) + "I" + wire_str("r1") + "I" +
                      wire_str("r2") + "D" + be32(4) + "K";
  StreamPeer peer(reply);
  void* result = receive(peer);
  ASSERT_NE(nullptr, result);
  int32_t value = 0, type = 0, length = 0;
  EXPECT_EQ(0, ZVC_GetAttr(&result, 66, &value, 4, &type, &length));
  EXPECT_EQ(1, value);
  EXPECT_EQ(0, ZVC_GetAttr(&result, 65, &value, 4, &type, &length));
  EXPECT_EQ(4, value);

  EXPECT_EQ(0, ZVC_NextResult(&result));
  EXPECT_EQ(0, ZVC_GetAttr(&result, 65, &value, 4, &type, &length));
  EXPECT_EQ(1, value);
  EXPECT_STREQ("r1", static_cast<ResultRecord*>(result)->row_id);
  int32_t rows = -1;
  EXPECT_EQ(0, ZVC_GetRowCount(&result, &rows));
  EXPECT_EQ(0, rows);

  EXPECT_EQ(0, ZVC_NextResult(&result));
  EXPECT_EQ(0, ZVC_NextResult(&result));
  EXPECT_EQ(0, ZVC_GetAttr(&result, 63, &value, 4, &type, &length));
  EXPECT_EQ(4, value);
  EXPECT_EQ(0, ZVC_GetAttr(&result, 66, &value, 4, &type, &length));
  EXPECT_EQ(0, value);
  void* last = result;
  EXPECT_EQ(100, ZVC_NextResult(&result));
  EXPECT_EQ(last, result);
  EXPECT_EQ(3, static_cast<ResultRecord*>(result)->result_kind);
  ZVC_CloseResult(&result);

  // Closing the head closes the whole chain (the leak checker watches this one).
  StreamPeer again(reply);
  void* head = receive(again);
  ASSERT_NE(nullptr, head);
  EXPECT_EQ(0, ZVC_CloseResult(&head));
  EXPECT_EQ(nullptr, head);
  EXPECT_EQ(0, ZVC_CloseResult(&head));
}

TEST(NavResult, Attributes) {
  StreamPeer peer(kThreeRows);
  void* result = receive(peer);
  ASSERT_NE(nullptr, result);
  int32_t value = 0, type = 0, length = 0;
  int64_t wide = 0;
  EXPECT_EQ(0, ZVC_GetAttr(&result, 61, &value, 4, &type, &length));
  EXPECT_EQ(3, value);
  EXPECT_EQ(2, type);
  EXPECT_EQ(4, length);
  EXPECT_EQ(0, ZVC_GetAttr(&result, 62, &wide, 8, &type, &length));
  EXPECT_EQ(3, wide);
  EXPECT_EQ(3, type);
  EXPECT_EQ(8, length);
  EXPECT_EQ(0, ZVC_GetAttr(&result, 63, &value, 4, &type, &length));
  EXPECT_EQ(0, value);
  EXPECT_EQ(0, ZVC_GetAttr(&result, 64, &value, 4, &type, &length));
  EXPECT_EQ(4, value);
  EXPECT_EQ(0, ZVC_GetAttr(&result, 66, &value, 4, &type, &length));
  EXPECT_EQ(0, value);
  // A buffer too small for the value is refused and left alone.
  value = 77;
  EXPECT_EQ(-3, ZVC_GetAttr(&result, 62, &value, 4, &type, &length));
  EXPECT_EQ(77, value);

  EXPECT_EQ(0, ZVC_GetErrorLength(&result));
  EXPECT_EQ(-3, ZVC_GetAttr(&result, 67, &value, 4, &type, &length));
  const char* text = "[EC0105]result attribute type get error,unknown attribute type\n";
  char buffer[1024] = {};
  int32_t text_len = 0;
  EXPECT_EQ(0, ZVC_GetErrorText(&result, buffer, &text_len));
  EXPECT_STREQ(text, buffer);
  EXPECT_EQ(static_cast<int32_t>(strlen(text)), text_len);
  EXPECT_EQ(text_len, ZVC_GetErrorLength(&result));
  ZVC_CloseResult(&result);

  void* conn = peer.conn;
  EXPECT_EQ(-3, ZVC_GetAttr(&conn, 1, &value, 4, &type, &length));
  EXPECT_STREQ("[EC0103]connection attribute type get error,unknown attribute type\n", peer.conn->error_text);
  EXPECT_EQ(0, ZVC_GetErrorText(&conn, buffer, &text_len));
  EXPECT_STREQ(peer.conn->error_text, buffer);

  LobHandle* lob = nullptr;
  ZVC_CreateLob(&lob);
  value = 5;
  EXPECT_EQ(0, ZVC_GetAttr(reinterpret_cast<void**>(&lob), 61, &value, 4, &type, &length));
  EXPECT_EQ(5, value);
  ZVC_FreeLob(&lob);
}

TEST(NavResult, HandlesOfAnotherKindOrNone) {
  LobHandle* lob = nullptr;
  ASSERT_EQ(0, ZVC_CreateLob(&lob));
  void** other = reinterpret_cast<void**>(&lob);
  int32_t out = 0;
  char name[128];
  EXPECT_EQ(-3, ZVC_NextRow(other));
  EXPECT_EQ(-3, ZVC_GetColumnCount(other, &out));
  EXPECT_EQ(-3, ZVC_GetRowCount(other, &out));
  EXPECT_EQ(-3, ZVC_GetColumnType(other, 1, &out));
  EXPECT_EQ(-3, ZVC_GetColumnSize(other, 1, &out));
  EXPECT_EQ(-3, ZVC_GetColumnName(other, 1, name));
  EXPECT_EQ(-3, ZVC_GetColumnInfo(other, 1, name, name, name, &out, &out, &out));
  EXPECT_EQ(-3, ZVC_GetColumnIndex(other, "a"));
  EXPECT_EQ(0, ZVC_NextResult(other));
  EXPECT_EQ(-3, ZVC_CloseResult(other));
  EXPECT_NE(nullptr, lob);
  EXPECT_EQ(0, ZVC_FreeHandle(other));
  EXPECT_EQ(nullptr, lob);

  void* none = nullptr;
  EXPECT_EQ(-3, ZVC_NextRow(&none));
  EXPECT_EQ(-3, ZVC_NextRow(nullptr));
  EXPECT_EQ(-3, ZVC_GetColumnCount(&none, &out));
  EXPECT_EQ(-3, ZVC_GetColumnName(nullptr, 1, name));
  EXPECT_EQ(-3, ZVC_NextResult(&none));
  EXPECT_EQ(0, ZVC_CloseResult(&none));
  EXPECT_EQ(0, ZVC_FreeHandle(&none));
  EXPECT_EQ(-3, ZVC_GetAttr(&none, 61, &out, 4, nullptr, nullptr));
  char buffer[16] = "untouched";
  int32_t length = -1;
  EXPECT_EQ(0, ZVC_GetErrorText(&none, buffer, &length));
  EXPECT_EQ(0, length);
  EXPECT_STREQ("untouched", buffer);
  EXPECT_EQ(0, ZVC_GetErrorLength(nullptr));

  // A record whose tag is none of the known kinds.
  int32_t unknown[4] = {9, 0, 0, 0};
  void* strange = unknown;
  EXPECT_EQ(-3, ZVC_NextRow(&strange));
  EXPECT_EQ(-3, ZVC_FreeHandle(&strange));
  EXPECT_EQ(-3, ZVC_GetAttr(&strange, 61, &out, 4, nullptr, nullptr));
}

TEST(NavResult, FreeHandleClosesAConnection) {
  StreamPeer peer("K");
  void* conn = peer.conn;
  EXPECT_EQ(0, ZVC_FreeHandle(&conn));
  EXPECT_EQ(nullptr, conn);
  peer.conn = nullptr;
}
