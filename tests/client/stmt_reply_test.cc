// recv_noQuery, recv_scalar and the short form over scripted replies: each case gives the
// reply, the result, what was printed and what stands in error_text afterwards; the letter
// that follows the reply shows that the reader kept in step and read no further.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include "connection/wire.h"
#include "peer.h"
#include "reply_script.h"
#include "results/result_record.h"
#include "statements/command.h"

namespace {
const char kOutText[] = "[EC0056]when execute sql with output params or return value need bind_params";
const std::string kIntColumn = result_head({field_desc("N", TC_INTEGER, 4)});

struct Outcome {
  int32_t rc;
  std::string printed;
  std::string error;  // error_text, and behind a "|" the last row id when one arrived
  std::string next;   // the letter after the reply, when the reader left it unread
  std::string sent;   // what the reader wrote

  int32_t type = -7;
  uint8_t value[64];
};

// Runs one reader over reply followed by a "Z" guard letter.
Outcome run(int32_t (*reader)(ConnRecord*, Outcome*), const std::string& reply, bool guard = true) {
  Outcome out;
  memset(out.value, 0x5a, sizeof out.value);
  StreamPeer peer(guard ? reply + "Z" : reply);
  testing::internal::CaptureStdout();
  out.rc = reader(peer.conn, &out);
  out.printed = testing::internal::GetCapturedStdout();
  if (peer.conn->error_text) out.error = peer.conn->error_text;
  char ch = 0;
  if (recv_char(peer.conn, &ch)) out.next = std::string(1, ch);
  out.sent = peer.sent();
  if (out.rc >= 0 && peer.conn->last_rowid[0]) out.error += "|" + std::string(peer.conn->last_rowid);
  return out;
}
int32_t noquery(ConnRecord* conn, Outcome*) { return recv_noQuery(conn); }
int32_t scalar(ConnRecord* conn, Outcome* out) { return recv_scalar(conn, out->value, &out->type); }
int32_t short_form(ConnRecord* conn, Outcome*) { return recv_short_form(conn); }

int32_t word(const Outcome& o) {
  int32_t v;
  memcpy(&v, o.value, 4);
  return v;
}
std::string text(const Outcome& o, size_t n) { return std::string(reinterpret_cast<const char*>(o.value), n); }
}  // namespace

TEST(StmtReply, NoQueryLetters) {
  struct Case {
    std::string reply;
    int32_t rc;
    std::string printed, error;
  } cases[] = {
      {"K", 0, "", ""},
      {"U" + be32(5) + "K", 5, "", ""},
      {"D" + be32(0) + "K", 0, "", ""},
      {"E" + wire_str("no table") + "K", -1, "", "no table"},
      {"W" + wire_str("careful") + "K", 1, "Server Warning careful \n", "careful"},
      // A later letter replaces the result: the count behind the error wins.
      {"F" + wire_str("bad") + "M" + wire_str("note") + "U" + be32(4) + "K", 4, "Server Message note \n", "note"},
      {"I" + wire_str("AAAB01") + "K", 1, "", "|AAAB01"},
      {"I" + wire_str("first") + "I" + wire_str("second") + "K", 2, "", "|second"},
      // The peeked "M" goes back through pushback and sets the result.
      {"U" + be32(7) + "M" + wire_str("done") + "K", 1, "Server Message done \n", "done"},
      // A row id over 31 bytes is cut, the rest read past.
      {"I" + wire_str("R" + std::string(44, 'x')) + "U" + be32(3) + "K", 3, "", "|R" + std::string(30, 'x')},
      // Rows of a SELECT behind another statement are read past, so the reply stays in step.
      {"I" + wire_str("9") + kIntColumn + int_rows(3) + "I" + wire_str("10") + "K", 2, "", "|10"},
      {"O" + be32(5) + be32(4) + be32(42) + "K", -56, "", kOutText},
      {"P" + be32(0) + be32(30) + wire_str("v") + "W" + wire_str("after") + "K", 1, "Server Warning after \n", "after"},
  };
  for (const Case& c : cases) {
    Outcome o = run(noquery, c.reply);
    EXPECT_EQ(c.rc, o.rc) << c.reply;
    EXPECT_EQ(c.printed, o.printed) << c.reply;
    EXPECT_EQ(c.error, o.error) << c.reply;
    EXPECT_EQ("Z", o.next) << c.reply;
  }
  // An unknown letter ends the reader; what follows it is not read.
  Outcome unknown = run(noquery, "U" + be32(2) + "Q");
  EXPECT_EQ(2, unknown.rc);
  EXPECT_EQ("Z", unknown.next);
}

TEST(StmtReply, NoQueryBrokenReplies) {
  struct Case {
    std::string reply, printed, error;
  } cases[] = {
      {"W" + wire_str("x"), "Server Warning x \nNet Error recv_noQuery \n", "x"},
      {"I" + be32(-3), "Insert Prop NetError  \n", "[EC004]Insert Prop NetError"},
      {"I" + be32(10) + "abc", "Insert Prop NetError  \n", "[EC004]Insert Prop NetError"},
      {"D" + std::string(2, '\0'), "Update Prop NetError  \n", "[EC004]Update Prop NetError"},
      {"I" + wire_str("id"), "Net Error recv_noQuery \n", ""},
      {"O" + be32(1) + be32(-1) + "K", "", ""},
      {"E" + be32(-2), "", ""},
  };
  for (const Case& c : cases) {
    Outcome o = run(noquery, c.reply, false);
    EXPECT_EQ(-4, o.rc) << c.reply;
    EXPECT_EQ(c.printed, o.printed) << c.reply;
    EXPECT_EQ(c.error, o.error) << c.reply;
  }
}

TEST(StmtReply, ScalarCountsIdsAndTexts) {
  Outcome updated = run(scalar, "U" + be32(5) + "K");
  EXPECT_EQ(2, updated.rc);
  EXPECT_EQ(5, word(updated));
  Outcome deleted = run(scalar, "D" + be32(0) + "K");
  EXPECT_EQ(3, deleted.rc);
  EXPECT_EQ(0, word(deleted));
  Outcome inserted = run(scalar, "I" + wire_str(std::string(40, 'r')) + "K");
  EXPECT_EQ(1, inserted.rc);
  EXPECT_EQ(std::string(31, 'r') + '\0', text(inserted, 32));
  Outcome error = run(scalar, "E" + wire_str("boom") + "K");
  EXPECT_EQ(-1, error.rc);
  EXPECT_EQ("Server Error boom \n", error.printed);
  Outcome texts = run(scalar, "W" + wire_str("hm") + "M" + wire_str("fyi") + "K");
  EXPECT_EQ(1, texts.rc);
  EXPECT_EQ("Server Warning hm \nServer Message fyi \n", texts.printed);
  // Output values are read past; the unknown letter behind them ends the reader with 0.
  Outcome out = run(scalar, "P" + be32(0) + be32(30) + wire_str("abc") + "O" + be32(5) + be32(4) + be32(1) + "K");
  EXPECT_EQ(-56, out.rc);
  EXPECT_EQ(kOutText, out.error);
  EXPECT_EQ("Z", out.next);
  EXPECT_EQ(0, run(scalar, "U" + be32(1) + "?").rc);
}

TEST(StmtReply, ScalarResults) {
  Outcome empty = run(scalar, kIntColumn + "K");
  EXPECT_EQ(0, empty.rc);
  EXPECT_EQ(0, empty.type);
  EXPECT_EQ(0, word(empty));
  Outcome exact = run(scalar, kIntColumn + int_rows(200, 42) + "K");
  EXPECT_EQ(0, exact.rc);
  EXPECT_EQ(TC_INTEGER, exact.type);
  EXPECT_EQ("42", text(exact, 2));
  EXPECT_EQ("", exact.sent);
  EXPECT_EQ("Z", exact.next);
  for (int rows : {201, 650}) {
    Outcome more = run(scalar, kIntColumn + int_rows(rows, 1) + "K");
    EXPECT_EQ(0, more.rc);
    EXPECT_EQ(".", more.sent);
    EXPECT_EQ("Z", more.next);
  }
  // A result followed by more letters is not the answer: the count behind it is.
  Outcome dropped = run(scalar, kIntColumn + int_rows(2, 5) + "U" + be32(3) + "K");
  EXPECT_EQ(2, dropped.rc);
  EXPECT_EQ(3, word(dropped));
  // A text too long for the short form: its length and a heap copy that the caller frees.
  std::string big(100, 't');
  Outcome long_form = run(scalar, result_head({field_desc("S", TC_CHAR, 200)}) + "R" + bytes_field(big) + "K");
  EXPECT_EQ(TC_CHAR + 100, long_form.type);
  EXPECT_EQ(100, word(long_form));
  char* copy = nullptr;
  memcpy(&copy, long_form.value + 4, sizeof copy);
  ASSERT_NE(nullptr, copy);
  EXPECT_EQ(big, std::string(copy));
  free(copy);

  for (const std::string& broken :
       {std::string(), "U" + std::string(1, '\0'), "I" + be32(-1), kIntColumn + int_rows(200, 1), "A" + be32(4001),
        "P" + be32(0) + be32(30) + be32(100) + "ab"}) {
    EXPECT_EQ(-4, run(scalar, broken, false).rc);
  }
}

TEST(StmtReply, ShortForm) {
  EXPECT_EQ(0, run(short_form, "K").rc);
  for (char letter : {'E', 'W'}) {
    Outcome o = run(short_form, letter + wire_str("no cursor") + "K");
    EXPECT_EQ(-1, o.rc);
    EXPECT_EQ("no cursor", o.error);
    EXPECT_EQ("Z", o.next);
  }
  EXPECT_EQ(-4, run(short_form, "", false).rc);
  EXPECT_EQ(-4, run(short_form, "E" + be32(-5), false).rc);
}
