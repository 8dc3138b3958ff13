// recv_noQuery against scripted replies: every letter, the hand-back of a peeked letter,
// the printed lines and the failures of a broken reply.
#include <gtest/gtest.h>

#include <cstring>

#include "connection/wire.h"
#include "peer.h"
#include "reply_script.h"
#include "statements/command.h"

namespace {
// Runs recv_noQuery over the peer's reply; the printed lines land in *printed.
int32_t noquery_printing(StreamPeer& peer, std::string* printed) {
  testing::internal::CaptureStdout();
  int32_t rc = recv_noQuery(peer.conn);
  *printed = testing::internal::GetCapturedStdout();
  return rc;
}

int32_t run_noquery(const std::string& reply, std::string* printed) {
  StreamPeer peer(reply);
  return noquery_printing(peer, printed);
}
}  // namespace

TEST(StmtNoQuery, PlainOutcomes) {
  std::string printed;
  EXPECT_EQ(0, run_noquery("K", &printed));
  EXPECT_EQ("", printed);
  EXPECT_EQ(5, run_noquery("U" + be32(5) + "K", &printed));
  EXPECT_EQ(0, run_noquery("D" + be32(0) + "K", &printed));
  EXPECT_EQ("", printed);
}

TEST(StmtNoQuery, ServerTexts) {
  StreamPeer peer("E" + wire_str("no such table") + "K");
  testing::internal::CaptureStdout();
  EXPECT_EQ(-1, recv_noQuery(peer.conn));
  EXPECT_EQ("", testing::internal::GetCapturedStdout());
  EXPECT_STREQ("no such table", peer.conn->error_text);

  StreamPeer warn("W" + wire_str("careful") + "K");
  testing::internal::CaptureStdout();
  EXPECT_EQ(1, recv_noQuery(warn.conn));
  EXPECT_EQ("Server Warning careful \n", testing::internal::GetCapturedStdout());
  EXPECT_STREQ("careful", warn.conn->error_text);

  // A later letter replaces the result of an earlier one: a count behind an error wins.
  StreamPeer mixed("F" + wire_str("first") + "M" + wire_str("note") + "U" + be32(4) + "K");
  testing::internal::CaptureStdout();
  EXPECT_EQ(4, recv_noQuery(mixed.conn));
  EXPECT_EQ("Server Message note \n", testing::internal::GetCapturedStdout());
  EXPECT_STREQ("note", mixed.conn->error_text);
}

TEST(StmtNoQuery, RowIdsAndHandBack) {
  StreamPeer one("I" + wire_str("AAAB01") + "K");
  EXPECT_EQ(1, recv_noQuery(one.conn));
  EXPECT_STREQ("AAAB01", one.conn->last_rowid);
  EXPECT_EQ(0, one.conn->rowid_valid);

  StreamPeer two("I" + wire_str("first-id") + "I" + wire_str("second") + "K");
  EXPECT_EQ(2, recv_noQuery(two.conn));
  EXPECT_STREQ("second", two.conn->last_rowid);

  // "U" peeks at "M", hands it back, and the message sets the result.
  std::string printed;
  EXPECT_EQ(1, run_noquery("U" + be32(7) + "M" + wire_str("done") + "K", &printed));
  EXPECT_EQ("Server Message done \n", printed);
}

TEST(StmtNoQuery, LongRowIdIsCutAndTheReplyStaysInStep) {
  std::string id(45, 'x');
  id[0] = 'A';
  StreamPeer peer("I" + wire_str(id) + "U" + be32(3) + "K" + "Z");
  EXPECT_EQ(3, recv_noQuery(peer.conn));
  EXPECT_EQ(std::string(id, 0, 31), std::string(peer.conn->last_rowid));
  char next = 0;
  ASSERT_EQ(1, recv_char(peer.conn, &next));
  EXPECT_EQ('Z', next);
}

TEST(StmtNoQuery, OutputValuesAreDroppedAndReadOn) {
  const char* text = "[EC0056]when execute sql with output params or return value need bind_params";
  StreamPeer ret("O" + be32(5) + be32(4) + be32(42) + "K");
  EXPECT_EQ(-56, recv_noQuery(ret.conn));
  EXPECT_STREQ(text, ret.conn->error_text);

  std::string printed;
  StreamPeer out("P" + be32(0) + be32(30) + wire_str("out value") + "W" + wire_str("after") + "K");
  EXPECT_EQ(1, noquery_printing(out, &printed));
  EXPECT_EQ("Server Warning after \n", printed);
  EXPECT_STREQ("after", out.conn->error_text);

  StreamPeer only_o("O" + be32(5) + be32(4) + be32(42) + "E" + wire_str("bad") + "K");
  EXPECT_EQ(-1, recv_noQuery(only_o.conn));
  EXPECT_STREQ("bad", only_o.conn->error_text);
}

TEST(StmtNoQuery, UnknownLetterEndsTheReaderWithoutReadingOn) {
  StreamPeer peer("U" + be32(2) + "Q" + "XYZ");
  EXPECT_EQ(2, recv_noQuery(peer.conn));
  char next = 0;
  ASSERT_EQ(1, recv_char(peer.conn, &next));
  EXPECT_EQ('X', next);
}

TEST(StmtNoQuery, BrokenReplies) {
  std::string printed;
  EXPECT_EQ(-4, run_noquery("W" + wire_str("x"), &printed));
  EXPECT_EQ("Server Warning x \nNet Error recv_noQuery \n", printed);

  StreamPeer negative_id("I" + be32(-3) + "K");
  EXPECT_EQ(-4, noquery_printing(negative_id, &printed));
  EXPECT_EQ("Insert Prop NetError  \n", printed);
  EXPECT_STREQ("[EC004]Insert Prop NetError", negative_id.conn->error_text);

  EXPECT_EQ(-4, run_noquery("I" + be32(10) + "abc", &printed));
  EXPECT_EQ("Insert Prop NetError  \n", printed);

  StreamPeer short_count("D" + std::string("\0\0", 2));
  EXPECT_EQ(-4, noquery_printing(short_count, &printed));
  EXPECT_EQ("Update Prop NetError  \n", printed);
  EXPECT_STREQ("[EC004]Update Prop NetError", short_count.conn->error_text);

  // A row id followed by nothing: the peek fails.
  EXPECT_EQ(-4, run_noquery("I" + wire_str("id"), &printed));
  EXPECT_EQ("Net Error recv_noQuery \n", printed);

  // An output value longer than anything the link carries is refused before it is read.
  EXPECT_EQ(-4, run_noquery("O" + be32(1) + be32(-1) + "K", &printed));
}
