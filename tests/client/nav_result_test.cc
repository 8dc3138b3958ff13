// Stepping through held results, their column descriptions, attributes and error texts,
// and handles of other kinds, on results received from scripted replies.
#include <gtest/gtest.h>

#include <cstring>

#include "peer.h"
#include "reply_script.h"
#include "results/lob.h"
#include "results/result_record.h"
#include "zvc.h"

namespace {
void* receive(StreamPeer& peer) {
  void* result = nullptr;
  EXPECT_GE(ZVC_Execute(&peer.conn, "select", &result, nullptr, nullptr, nullptr), 0);
  return result;
}

const std::string kThreeRows =
    result_head({field_desc("T.ID%Key", TC_INTEGER, 4, 9), field_desc("NAME", TC_CHAR, 20, 1),
                 field_desc("PRICE", TC_NUMERIC, 12, 2), field_desc(std::string(300, 'n'), TC_INTEGER)}) +
    "R" + int_field(1) + bytes_field("a") + bytes_field("1.5") + null_field() + "R" + int_field(2) + null_field() +
    null_field() + null_field() + "R" + int_field(3) + null_field() + bytes_field("3") + null_field() + "K";

int32_t attr(void** handle, int32_t number, int32_t* type = nullptr) {
  int32_t value = -99, length = 0, scratch = 0;
  int32_t rc = ZVC_GetAttr(handle, number, &value, 4, type ? type : &scratch, &length);
  return rc < 0 ? rc : value;
}
}  // namespace

TEST(NavResult, RowsAndColumns) {
  StreamPeer peer(kThreeRows);
  void* result = receive(peer);
  ASSERT_NE(nullptr, result);
  int32_t count = -1, ctype = 0, size = 0, detail = 0;
  EXPECT_EQ(0, ZVC_GetRowCount(&result, &count));
  EXPECT_EQ(3, count);
  EXPECT_EQ(0, ZVC_GetColumnCount(&result, &count));
  EXPECT_EQ(4, count);
  int32_t id = 0;
  for (int i = 1; i <= 3; i++) {
    ASSERT_EQ(0, ZVC_NextRow(&result));
    EXPECT_EQ(0, ZVC_GetData(&result, 1, 5, &id, 4, nullptr));
    EXPECT_EQ(i, id);
  }
  EXPECT_EQ(100, ZVC_NextRow(&result));
  EXPECT_EQ(100, ZVC_NextRow(&result));
  EXPECT_EQ(-11, ZVC_GetData(&result, 1, 5, &id, 4, nullptr));

  char name[128] = {};
  EXPECT_EQ(0, ZVC_GetColumnName(&result, 1, name));
  EXPECT_STREQ("Key", name);
  EXPECT_EQ(0, ZVC_GetColumnName(&result, 4, name));
  EXPECT_EQ(std::string(127, 'n'), name);  // cut to the 128-byte name buffer
  EXPECT_EQ(-1, ZVC_GetColumnName(&result, 0, name));
  EXPECT_EQ(-1, ZVC_GetColumnName(&result, 5, name));
  EXPECT_EQ(1, ZVC_GetColumnIndex(&result, "KEY"));
  EXPECT_EQ(0, ZVC_GetColumnIndex(&result, "ID"));
  EXPECT_EQ(3, ZVC_GetColumnIndex(&result, "price"));
  EXPECT_EQ(0, ZVC_GetColumnType(&result, 3, &ctype));
  EXPECT_EQ(9, ctype);
  EXPECT_EQ(0, ZVC_GetColumnSize(&result, 2, &size));
  EXPECT_EQ(20, size);
  EXPECT_EQ(-15, ZVC_GetColumnType(&result, 5, &ctype));
  EXPECT_EQ(-15, ZVC_GetColumnSize(&result, -1, &size));

  char table[128], column[128], alias[128];
  memset(alias, 'x', sizeof alias);
  EXPECT_EQ(0, ZVC_GetColumnInfo(&result, 1, table, column, alias, &ctype, &size, &detail));
  EXPECT_EQ("T|ID|Key", std::string(table) + "|" + column + "|" + alias);
  EXPECT_EQ(5, ctype);
  EXPECT_EQ(4, size);
  EXPECT_EQ(9, detail);
  EXPECT_EQ(0, ZVC_GetColumnInfo(&result, 2, table, column, alias, &ctype, &size, &detail));
  EXPECT_EQ("|NAME|", std::string(table) + "|" + column + "|" + alias);
  EXPECT_EQ(-1, ZVC_GetColumnInfo(&result, 9, table, column, alias, &ctype, &size, &detail));
  EXPECT_EQ(0, ZVC_CloseResult(&result));
  EXPECT_EQ(nullptr, result);
}

TEST(NavResult, ChainsAndAttributes) {
  std::string reply = result_head({field_desc("N", TC_INTEGER, 4)}) + "I" + wire_str("r1") + "D" + be32(4) + "K";
  StreamPeer peer(reply);
  void* result = receive(peer);
  ASSERT_NE(nullptr, result);
  EXPECT_EQ(100, ZVC_NextRow(&result));
  int32_t type = 0, length = 0;
  EXPECT_EQ(1, attr(&result, 61, &type));
  EXPECT_EQ(2, type);
  int64_t wide = -1;
  EXPECT_EQ(0, ZVC_GetAttr(&result, 62, &wide, 8, &type, &length));
  EXPECT_EQ(0, wide);
  EXPECT_EQ(3, type);
  EXPECT_EQ(8, length);
  EXPECT_EQ(-3, attr(&result, 62));  // an int64 does not fit the 4 bytes offered
  EXPECT_EQ(1, attr(&result, 63));   // the head counts the row ids of the chain
  EXPECT_EQ(4, attr(&result, 64));
  EXPECT_EQ(4, attr(&result, 65));
  EXPECT_EQ(1, attr(&result, 66));
  EXPECT_EQ(0, ZVC_GetErrorLength(&result));
  EXPECT_EQ(-3, attr(&result, 67));
  const std::string text = "[EC0105]result attribute type get error,unknown attribute type\n";
  char buffer[1024] = {};
  int32_t text_len = 0;
  EXPECT_EQ(0, ZVC_GetErrorText(&result, buffer, &text_len));
  EXPECT_EQ(text, buffer);
  EXPECT_EQ(static_cast<int32_t>(text.size()), text_len);
  EXPECT_EQ(text_len, ZVC_GetErrorLength(&result));

  EXPECT_EQ(0, ZVC_NextResult(&result));
  EXPECT_EQ(1, attr(&result, 65));
  EXPECT_STREQ("r1", static_cast<ResultRecord*>(result)->row_id);
  EXPECT_EQ(0, ZVC_NextResult(&result));
  EXPECT_EQ(4, attr(&result, 63));
  EXPECT_EQ(0, attr(&result, 66));
  void* last = result;
  EXPECT_EQ(100, ZVC_NextResult(&result));
  EXPECT_EQ(last, result);
  EXPECT_EQ(0, ZVC_CloseResult(&result));

  // Closing the head closes the whole chain; the leak checker watches this one.
  StreamPeer again(reply);
  void* head = receive(again);
  EXPECT_EQ(0, ZVC_FreeHandle(&head));
  EXPECT_EQ(nullptr, head);

  void* conn = peer.conn;
  EXPECT_EQ(-3, attr(&conn, 1));
  EXPECT_STREQ("[EC0103]connection attribute type get error,unknown attribute type\n", peer.conn->error_text);
  EXPECT_EQ(0, ZVC_GetErrorText(&conn, buffer, &text_len));
  EXPECT_STREQ(peer.conn->error_text, buffer);
  EXPECT_EQ(0, ZVC_FreeHandle(&conn));
  EXPECT_EQ(nullptr, conn);
  peer.conn = nullptr;
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
    EXPECT_EQ(-3, ZVC_GetRowCount(other, &out));
    EXPECT_EQ(-3, ZVC_GetColumnType(other, 1, &out));
    EXPECT_EQ(-3, ZVC_GetColumnSize(other, 1, &out));
    EXPECT_EQ(-3, ZVC_GetColumnName(other, 1, name));
    EXPECT_EQ(-3, ZVC_GetColumnInfo(other, 1, name, name, name, &out, &out, &out));
    EXPECT_EQ(-3, ZVC_GetColumnIndex(other, "a"));
    EXPECT_EQ(0, ZVC_GetErrorLength(other));
  }
  EXPECT_EQ(0, ZVC_NextResult(reinterpret_cast<void**>(&lob)));
  EXPECT_EQ(-3, ZVC_NextResult(&none));
  EXPECT_EQ(-3, ZVC_CloseResult(reinterpret_cast<void**>(&lob)));
  EXPECT_EQ(0, ZVC_CloseResult(&none));
  EXPECT_EQ(-3, ZVC_FreeHandle(&strange));
  EXPECT_EQ(0, ZVC_FreeHandle(&none));
  out = 5;
  EXPECT_EQ(0, ZVC_GetAttr(reinterpret_cast<void**>(&lob), 61, &out, 4, nullptr, nullptr));
  EXPECT_EQ(5, out);
  EXPECT_EQ(-3, ZVC_GetAttr(&strange, 61, &out, 4, nullptr, nullptr));
  EXPECT_EQ(-3, ZVC_GetAttr(&none, 61, &out, 4, nullptr, nullptr));
  char buffer[16] = "untouched";
  int32_t length = -1;
  EXPECT_EQ(0, ZVC_GetErrorText(&none, buffer, &length));
  EXPECT_EQ(0, length);
  EXPECT_STREQ("untouched", buffer);
  EXPECT_EQ(0, ZVC_FreeHandle(reinterpret_cast<void**>(&lob)));
  EXPECT_EQ(nullptr, lob);
}
