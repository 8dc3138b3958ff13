// The statement reply readers over scripted replies: codes, texts, outputs and the link kept in
// step.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include "connection/wire.h"
#include "peer.h"
#include "reply_script.h"
#include "statements/command.h"
#include "zvc.h"

namespace {
using Reader = int32_t (*)(ConnRecord*, void*, int32_t*);
int32_t noquery(ConnRecord* conn, void*, int32_t*) { return recv_noQuery(conn); }
int32_t scalar(ConnRecord* conn, void* value, int32_t* type) { return recv_scalar(conn, value, 64, type); }
std::string host32(int32_t v) { return std::string(reinterpret_cast<const char*>(&v), 4); }

const char kOutText[] = "[EC0056]when execute sql with output params or return value need bind_params";
const std::string kIntColumn = result_head({field_desc("N", TC_INTEGER, 4)});
}  // namespace

// Behind every whole reply stands a "Z": finding it next shows that the reader kept in step.
TEST(StmtReply, Readers) {
  struct Case {
    Reader reader;
    std::string reply;
    int32_t rc;
    std::string printed = "", error = "";  // error_text, and behind a "|" the last row id
    std::string value = "", sent = "";     // the start of value_buf; what the reader wrote
    int32_t type = -7;
  } cases[] = {
      {noquery, "K", 0},
      {noquery, "E" + wire_str("no table") + "K", -1, "", "no table"},
      {noquery, "U" + be32(4) + "F" + wire_str("fatal") + "K", -1, "", "fatal"},
      {noquery, "W" + wire_str("careful") + "K", 1, "Server Warning careful \n", "careful"},
      {noquery, "U" + be32(5) + "K", 5},
      {noquery, "I" + wire_str("AAAB01") + "K", 1, "", "|AAAB01"},
      {noquery, "U" + be32(7) + "M" + wire_str("done") + "K", 1, "Server Message done \n", "done"},
      {noquery, "I" + wire_str("R" + std::string(44, 'x')) + "U" + be32(3) + "K", -12, "",
       "[EC0108]Error row id of 45 bytes cut to its first 31\n|R" + std::string(30, 'x')},
      {noquery, "I" + wire_str("9") + kIntColumn + int_rows(3) + "I" + wire_str("10") + "K", 2, "", "|10"},
      {noquery, kIntColumn + "F" + wire_str("bad json") + "K", -1, "", "bad json"},  // rows dropped, none among them
      {noquery, "O" + be32(5) + be32(4) + be32(42) + "K", -56, "", kOutText},
      {noquery, "U" + be32(2) + "Q", 2},
      {noquery, "U" + be32(2) + std::string(1, '\0'), 2},  // a zero byte ends a reply as K does
      {noquery, "W" + wire_str("x"), -4, "Server Warning x \nNet Error recv_noQuery \n", "x"},
      {noquery, "I" + be32(-3), -4, "Insert Prop NetError  \n", "[EC004]Insert Prop NetError"},
      {noquery, "U" + be32(-4) + "K", -4, "Update Prop NetError  \n", "[EC004]Update Prop NetError"},
      {scalar, "D" + be32(-1) + "K", -4},

      {scalar, "U" + be32(5) + "K", 2, "", "", host32(5)},
      {scalar, "I" + wire_str(std::string(40, 'r')) + "K", -12, "", "[EC0108]Error row id of 40 bytes cut to its first 31\n",
       std::string(31, 'r') + '\0'},
      {scalar, "E" + wire_str("boom") + "K", -1, "Server Error boom \n", "boom"},
      {scalar, "P" + be32(0) + be32(30) + wire_str("abc") + "K", -56, "", kOutText},
      {scalar, kIntColumn + "K", 0, "", "", host32(0), "", 0},
      {scalar, kIntColumn + int_rows(200, 42) + "K", 0, "", "", "42", "", TC_INTEGER},
      {scalar, kIntColumn + int_rows(201, 1) + "K", 0, "", "", "1", ".", TC_INTEGER},
      // A text too long for the buffer is cut inside it, before a character that would be split.
      {scalar, result_head({field_desc("S", TC_CHAR, 200)}) + "R" + wire_str(std::string(100, 't')) + "K", 0,
       "", "", std::string(63, 't') + '\0', "", TC_CHAR + 100},
      {scalar, result_head({field_desc("S", TC_CHAR, 200)}) + "R" + wire_str(std::string(62, 'a') + "\xc3\xa9") + "K",
       0, "", "", std::string(62, 'a') + '\0', "", TC_CHAR + 100},
      // A row id, then a result of an unknown type code: the id stays, and no pointer is ever read.
      {scalar, "I" + wire_str(std::string(31, 'A')) + result_head({field_desc("X", 131, 4)}) + "R" + wire_str("zz") + "K",
       0, "", "", std::string(31, 'A') + '\0', "", 131},
      {scalar, kIntColumn + int_rows(200, 1), -4},
      {scalar, "A" + be32(4001), -4},
      {scalar, result_head({field_desc("S", TC_CHAR, 10)}) + "R" + be32(2000000000) + "K", -4},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(&c - cases);
    StreamPeer peer(c.rc == -4 ? c.reply : c.reply + "Z");
    char value[64];
    memset(value, 0x5a, sizeof value);
    int32_t type = -7;
    testing::internal::CaptureStdout();
    EXPECT_EQ(c.rc, c.reader(peer.conn, value, &type));
    EXPECT_EQ(c.printed, testing::internal::GetCapturedStdout());
    std::string error = peer.conn->error_text ? peer.conn->error_text : "";
    if (peer.conn->last_rowid[0]) error += "|" + std::string(peer.conn->last_rowid);
    EXPECT_EQ(c.error, error);
    EXPECT_EQ(c.value, std::string(value, c.value.size()));
    EXPECT_EQ(c.type, type);
    EXPECT_EQ(c.sent, peer.sent());
    char next = 0;
    EXPECT_EQ(c.rc != -4, recv_char(peer.conn, &next) && next == 'Z');
  }
}
