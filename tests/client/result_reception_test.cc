// Reception of result-bearing replies: the letters, messages between rows, long row ids, and
// streams that break off or lie.
#include <gtest/gtest.h>

#include <tuple>

#include "connection/wire.h"
#include "result_wire.h"

namespace {
// The chain as text: each record's kind letter, its count (of rows for A) and its row id.
std::string chain(const ResultRecord* rec) {
  std::string out;
  for (; rec; rec = rec->next)
    out += std::string(1, " IUDA"[rec->result_kind]) +
           std::to_string(rec->result_kind == RK_ROWS ? rec->row_count : rec->effect_count) + rec->row_id + " ";
  return out;
}

ResultRecord* const kUntouched = reinterpret_cast<ResultRecord*>(0x1234);
const std::string kHead = result_head({field_desc("N", TC_INTEGER)});
}  // namespace

TEST(ResultReception, MessagesBetweenRowsAreJoined) {
  Received r(kHead + "R" + int_field(1) + "M" + wire_str("first ") + "W" + wire_str("second ") + "R" + int_field(2) +
             "E" + wire_str("third") + "F" + wire_str("!") + "R" + int_field(3) + "K");
  ASSERT_NE(nullptr, r.result);
  EXPECT_EQ(3, r.status);  // server errors among rows change no return code
  EXPECT_EQ(3, r.result->row_count);
  EXPECT_STREQ("first second third!", r.result->message);
  EXPECT_EQ(nullptr, r.peer.conn->error_text);
}

// Records in arrival order (the head counts the inserts); the status is that of the last rows
// batch; an E or F ends with -1 and no chain; a later W or M sets the status back to 0 and its
// text is the one kept; an unknown letter ends the reply like K and is consumed; a row id over 31
// bytes keeps 31 of them, and the reply, read to its end, says so with -12.
TEST(ResultReception, LettersOfAReply) {
  const struct {
    std::string reply;
    int32_t status;
    std::string chain, error;
  } cases[] = {
      {"U" + be32(3) + kHead + int_rows(2) + "D" + be32(7) + "I" + wire_str("r9") + "K", 2, "U4 A2 D7 I0r9 ", "|r9"},
      {"E" + wire_str("bad thing") + "K", -1, "", "bad thing"},
      {"F" + wire_str("fatal thing") + "K", -1, "", "fatal thing"},
      {"E" + wire_str("e1") + "W" + wire_str("w1") + "M" + wire_str("m1") + "K", 0, "", "m1"},
      {"U" + be32(4) + "?" + "K", 0, "U4 ", ""},
      {"I" + wire_str(std::string(40, 'i')) + "U" + be32(2) + "K", -12, "I1" + std::string(31, 'i') + " U2 ",
       "[EC0108]Error row id of 40 bytes cut to its first 31\n|" + std::string(31, 'i')},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.reply);
    Received r(c.reply);
    EXPECT_EQ(c.status, r.status);
    EXPECT_EQ(c.chain, chain(r.result));
    std::string error = r.peer.conn->error_text ? r.peer.conn->error_text : "";
    if (r.peer.conn->rowid_valid) error += "|" + std::string(r.peer.conn->last_rowid);
    EXPECT_EQ(c.error, error);
    char next = 0;
    EXPECT_EQ(c.reply.back() == 'K' && c.reply[c.reply.size() - 2] == '?', recv_char(r.peer.conn, &next) == 1);
  }
}

TEST(ResultReception, BrokenAndHostileStreamsFailCleanly) {
  const std::string head = result_head({field_desc("N", TC_INTEGER), field_desc("S", TC_CHAR)});
  std::string columns_4001 = "A" + be32(4001);
  for (int i = 0; i < 4001; i++) columns_4001 += field_desc("C", TC_INTEGER);
  // The codes of recv_result and of recv_result_all, for which U, D and I end the reply at once.
  const std::tuple<const char*, std::string, int32_t, int32_t> cases[] = {
      {"nothing", "", -4, -4},
      {"row cut in a value", head + "R" + int_field(1) + be32(5) + "ab", -4, -4},
      {"records then a cut", "U" + be32(1) + "I" + wire_str("x") + head + "R", -4, 0},
      {"huge row id length", "I" + be32(0x7fffffff) + "K", -4, 0},
      {"negative prefix length", head + "*" + be32(-2) + int_field(1) + wire_str("a") + "K", -4, -4},
      {"value of 2 GB", head + "R" + int_field(1) + be32(0x7fffffff) + "K", -4, -4},
      {"4001 columns", columns_4001 + "K", -4, -4},
  };
  for (const auto& [what, reply, code, all_code] : cases) {
    SCOPED_TRACE(what);
    StreamPeer peer(reply), again(reply);
    ResultRecord* result = kUntouched;
    EXPECT_EQ(code, recv_result(peer.conn, &result));
    EXPECT_EQ(kUntouched, result);  // nothing reaches the caller; what was built is freed
    EXPECT_EQ(all_code, recv_result_all(again.conn, &result));
    EXPECT_EQ(all_code < 0 ? kUntouched : nullptr, result);
  }
}
