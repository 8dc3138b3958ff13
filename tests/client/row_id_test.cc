// The row id of an insert read back from a held result.
#include <gtest/gtest.h>

#include <string>

#include "peer.h"
#include "reply_script.h"
#include "results/result_record.h"
#include "zvc.h"

TEST(RowId, ReadFromTheInsertRecordOfAChain) {
  StreamPeer peer(result_head({field_desc("N", TC_INTEGER, 4)}) + "I" + wire_str("row-17") + "D" + be32(4) + "K");
  peer.conn->use_srvcursor_off = 1;  // a plain select's reply
  void* result = nullptr;
  ASSERT_GE(ZVC_Execute(&peer.conn, "select", &result, nullptr, nullptr, nullptr), 0);
  char id[40] = "stale";
  std::string seen;
  // The rows, the insert and the delete, in turn; an id cut to the buffer keeps its terminator
  // and says so.
  for (int record = 0; record < 3; ++record) {
    EXPECT_EQ(0, ZVC_GetRowId(&result, id, sizeof id));
    seen += std::string(id) + "|";
    if (record == 1) {
      EXPECT_EQ(-12, ZVC_GetRowId(&result, id, 4));
      seen += std::string(id) + "|";
      EXPECT_STREQ("[EC0109]Error the row id does not fit the buffer: it was cut\n",
                   static_cast<ResultRecord*>(result)->message);
    }
    ZVC_NextResult(&result);
  }
  EXPECT_EQ("|row-17|row||", seen);
  EXPECT_EQ(0, ZVC_CloseResult(&result));
}

TEST(RowId, RefusesWhatIsNoResult) {
  char id[40];
  void* none = nullptr;
  int32_t unknown_record[4] = {9, 0, 0, 0};
  void* strange = unknown_record;
  EXPECT_EQ(-3, ZVC_GetRowId(&none, id, sizeof id));
  EXPECT_EQ(-3, ZVC_GetRowId(nullptr, id, sizeof id));
  EXPECT_EQ(-3, ZVC_GetRowId(&strange, id, sizeof id));
  void* conn = nullptr;
  EXPECT_EQ(-3, ZVC_GetRowId(&conn, nullptr, 0));
}

// A row id longer than the 31 bytes kept: every reader that takes one keeps its first 31 bytes and
// gives -12 with a text that says so, in place of its success; the reply is read to its end, so
// the next statement reads its own.
TEST(RowId, LongerThanKeptIsCutAndSaysSo) {
  const std::string id(40, '7');
  const std::string reply = "I" + wire_str(id) + "K", next = "U" + be32(5) + "K";
  const std::string text = "[EC0108]Error row id of 40 bytes cut to its first 31\n";
  StreamPeer peer(reply + next + reply + next + reply + next);
  peer.conn->use_srvcursor_off = 1;
  char value[64] = {};
  void* result = nullptr;
  const int32_t codes[] = {ZVC_ExecNoQuery(&peer.conn, "insert"), ZVC_ExecNoQuery(&peer.conn, "update"),
                           ZVC_ExecScalar(&peer.conn, "insert", value, sizeof value, nullptr),
                           ZVC_ExecNoQuery(&peer.conn, "update"),
                           ZVC_Execute(&peer.conn, "insert", &result, nullptr, nullptr, nullptr),
                           ZVC_ExecNoQuery(&peer.conn, "update")};
  EXPECT_EQ("-12 5 -12 5 -12 5", std::to_string(codes[0]) + " " + std::to_string(codes[1]) + " " +
                                     std::to_string(codes[2]) + " " + std::to_string(codes[3]) + " " +
                                     std::to_string(codes[4]) + " " + std::to_string(codes[5]));
  EXPECT_EQ(text, peer.conn->error_text ? peer.conn->error_text : "");
  EXPECT_EQ(id.substr(0, 31), peer.conn->last_rowid);
  EXPECT_EQ(id.substr(0, 31), value);
  char kept[40] = {};
  EXPECT_EQ(0, ZVC_GetRowId(&result, kept, sizeof kept));
  EXPECT_EQ(id.substr(0, 31), kept);
  ZVC_CloseResult(&result);
  EXPECT_NE(0, peer.conn->socket);
}
