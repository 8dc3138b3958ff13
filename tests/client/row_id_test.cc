// The row id of an insert read back from a held result.
#include <gtest/gtest.h>

#include <string>

#include "peer.h"
#include "reply_script.h"
#include "zvc.h"

TEST(RowId, ReadFromTheInsertRecordOfAChain) {
  StreamPeer peer(result_head({field_desc("N", TC_INTEGER, 4)}) + "I" + wire_str("row-17") + "D" + be32(4) + "K");
  peer.conn->use_srvcursor_off = 1;  // a plain select's reply
  void* result = nullptr;
  ASSERT_GE(ZVC_Execute(&peer.conn, "select", &result, nullptr, nullptr, nullptr), 0);
  char id[40] = "stale";
  std::string seen;
  // The rows, the insert and the delete, in turn; a cut id keeps its terminator.
  for (int record = 0; record < 3; ++record) {
    EXPECT_EQ(0, ZVC_GetRowId(&result, id, sizeof id));
    seen += std::string(id) + "|";
    if (record == 1) {
      EXPECT_EQ(0, ZVC_GetRowId(&result, id, 4));
      seen += std::string(id) + "|";
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
