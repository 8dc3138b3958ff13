// recv_scalar against scripted replies: counts, row ids, the first value of a result, the
// one continuation byte after a full first block, and what is dropped to stay in step.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include "peer.h"
#include "reply_script.h"
#include "results/result_record.h"
#include "statements/command.h"

namespace {
struct Scalar {
  int32_t rc;
  int32_t type;
  uint8_t value[64];
  std::string sent;     // what the client wrote while reading
  std::string printed;  // what it printed
};

Scalar read_scalar(const std::string& reply) {
  Scalar out;
  memset(out.value, 0x5a, sizeof out.value);
  out.type = -7;
  StreamPeer peer(reply);
  testing::internal::CaptureStdout();
  out.rc = recv_scalar(peer.conn, out.value, &out.type);
  out.printed = testing::internal::GetCapturedStdout();
  out.sent = peer.sent();
  return out;
}

int32_t word_at(const uint8_t* p) {
  int32_t v;
  memcpy(&v, p, 4);
  return v;
}

const std::string kIntColumn = result_head({field_desc("N", TC_INTEGER, 4)});
}  // namespace

TEST(StmtScalar, CountsAndRowIds) {
  Scalar updated = read_scalar("U" + be32(5) + "K");
  EXPECT_EQ(2, updated.rc);
  EXPECT_EQ(5, word_at(updated.value));
  Scalar deleted = read_scalar("D" + be32(0) + "K");
  EXPECT_EQ(3, deleted.rc);
  EXPECT_EQ(0, word_at(deleted.value));
  Scalar inserted = read_scalar("I" + wire_str("row-7") + "K");
  EXPECT_EQ(1, inserted.rc);
  EXPECT_STREQ("row-7", reinterpret_cast<char*>(inserted.value));
  EXPECT_EQ("", inserted.printed);
  // A row id longer than 31 bytes is cut and the reply read on to its end.
  Scalar long_id = read_scalar("I" + wire_str(std::string(40, 'r')) + "W" + wire_str("w") + "K");
  EXPECT_EQ(1, long_id.rc);
  EXPECT_EQ(std::string(31, 'r'), std::string(reinterpret_cast<char*>(long_id.value)));
}

TEST(StmtScalar, ServerTextsArePrinted) {
  Scalar error = read_scalar("E" + wire_str("boom") + "K");
  EXPECT_EQ(-1, error.rc);
  EXPECT_EQ("Server Error boom \n", error.printed);
  Scalar warning = read_scalar("W" + wire_str("hm") + "M" + wire_str("fyi") + "K");
  EXPECT_EQ(1, warning.rc);
  EXPECT_EQ("Server Warning hm \nServer Message fyi \n", warning.printed);
  // The count behind a message hands "K" back through the peek and ends the reply.
  Scalar after = read_scalar("M" + wire_str("x") + "U" + be32(9) + "K");
  EXPECT_EQ(2, after.rc);
  EXPECT_EQ(9, word_at(after.value));
}

TEST(StmtScalar, FirstValueOfAResult) {
  Scalar empty = read_scalar(kIntColumn + "K");
  EXPECT_EQ(0, empty.rc);
  EXPECT_EQ(0, empty.type);
  EXPECT_EQ(0, word_at(empty.value));

  Scalar one = read_scalar(kIntColumn + int_rows(3, 42) + "K");
  EXPECT_EQ(0, one.rc);
  EXPECT_EQ(TC_INTEGER, one.type);
  EXPECT_EQ("42", std::string(reinterpret_cast<char*>(one.value), 2));

  // A text too long for the short form comes as its length and a heap copy.
  std::string big(100, 't');
  Scalar text = read_scalar(result_head({field_desc("S", TC_CHAR, 200)}) + "R" + bytes_field(big) + "K");
  EXPECT_EQ(0, text.rc);
  EXPECT_EQ(TC_CHAR + 100, text.type);
  EXPECT_EQ(100, word_at(text.value));
  char* copy = nullptr;
  memcpy(&copy, text.value + 4, sizeof copy);
  ASSERT_NE(nullptr, copy);
  EXPECT_EQ(big, std::string(copy));
  free(copy);
}

TEST(StmtScalar, ContinuationByteAfterAFullBlock) {
  Scalar exact = read_scalar(kIntColumn + int_rows(200, 1) + "K");
  EXPECT_EQ(0, exact.rc);
  EXPECT_EQ("", exact.sent);
  EXPECT_EQ("1", std::string(reinterpret_cast<char*>(exact.value), 1));

  Scalar more = read_scalar(kIntColumn + int_rows(201, 1) + "K");
  EXPECT_EQ(0, more.rc);
  EXPECT_EQ(".", more.sent);

  Scalar many = read_scalar(kIntColumn + int_rows(650, 1) + "K");
  EXPECT_EQ(0, many.rc);
  EXPECT_EQ(".", many.sent);
  EXPECT_EQ(TC_INTEGER, many.type);
}

TEST(StmtScalar, WhatIsDroppedToStayInStep) {
  // A result followed by more letters is not the answer: the count behind it is.
  Scalar dropped = read_scalar(kIntColumn + int_rows(2, 5) + "U" + be32(3) + "K");
  EXPECT_EQ(2, dropped.rc);
  EXPECT_EQ(3, word_at(dropped.value));

  // Output values are read past, and the statement reports that they needed bound parameters.
  Scalar out = read_scalar("P" + be32(0) + be32(30) + wire_str("abc") + "O" + be32(5) + be32(4) + be32(1) + "K");
  EXPECT_EQ(-56, out.rc);

  // An unknown letter ends the reader with 0.
  Scalar unknown = read_scalar("U" + be32(1) + "?" + "K");
  EXPECT_EQ(0, unknown.rc);
}

TEST(StmtScalar, BrokenReplies) {
  EXPECT_EQ(-4, read_scalar("").rc);
  EXPECT_EQ(-4, read_scalar("U" + std::string("\0", 1)).rc);
  EXPECT_EQ(-4, read_scalar("I" + be32(-1)).rc);
  EXPECT_EQ(-4, read_scalar("I" + wire_str("abc")).rc);
  EXPECT_EQ(-4, read_scalar(kIntColumn + int_rows(1, 1)).rc);
  EXPECT_EQ(-4, read_scalar(kIntColumn + int_rows(200, 1)).rc);
  EXPECT_EQ(-4, read_scalar("A" + be32(4001)).rc);
  EXPECT_EQ(-4, read_scalar("P" + be32(0) + be32(30) + be32(100) + "ab").rc);
}
