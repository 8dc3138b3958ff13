// Large-object columns read into a LobHandle: whole values, inline values behind their
// mark, and descriptors fetched by the "get lob" exchange, over scripted replies.
#include <gtest/gtest.h>
#include <semaphore.h>

#include <string>

#include "connection/wire.h"
#include "peer.h"
#include "reply_script.h"
#include "results/lob.h"
#include "zvc.h"

namespace {
const char kDesc[] = "C0000000000AB|5";  // "C", 12 characters, separator, length

std::string one_value_reply(int32_t type, const std::string& value) {
  return result_head({field_desc("DATA", type, 0)}) + "R" + bytes_field(value) + "K";
}

// The fetch reply: "A", one description, "R", the pieces, the closing zero word.
std::string fetch_reply(const std::vector<std::string>& pieces) {
  std::string out = result_head({field_desc("DATA", TC_CLOB)}) + "R";
  for (const std::string& p : pieces) out += be32(1) + wire_str(p);
  return out + be32(0);
}

struct LobRead {
  int32_t rc;
  int32_t out_len;
  std::string bytes;
  std::string error;
  std::string sent;
  int semaphore;
  int32_t state;
};

// Receives a one-row result, reads column 1 with ctype into a handle that may hold `before`.
LobRead read_lob(const std::string& reply, int32_t lob_ret, int32_t ctype, const std::string& before = "",
                 std::string* rest = nullptr) {
  StreamPeer peer(reply);
  peer.conn->lob_ret = lob_ret;
  LobRead out{};
  void* result = nullptr;
  EXPECT_EQ(1, ZVC_Execute(&peer.conn, "select", &result, nullptr, nullptr, nullptr));
  EXPECT_EQ(0, ZVC_NextRow(&result));
  LobHandle* lob = nullptr;
  ZVC_CreateLob(&lob);
  if (!before.empty()) ZVC_PutLobData(&lob, before.data(), static_cast<uint32_t>(before.size()));
  out.out_len = -1;
  out.rc = ZVC_GetData(&result, 1, ctype, &lob, 0, &out.out_len);
  std::string bytes(static_cast<size_t>(lob->size), '\0');
  if (lob->size > 0) ZVC_GetLobData(&lob, &bytes[0], static_cast<int32_t>(lob->size));
  out.bytes = bytes;
  if (lob->error_text) out.error = lob->error_text;
  out.state = lob->state;
  ZVC_FreeLob(&lob);
  ZVC_CloseResult(&result);
  out.sent = peer.sent();
  sem_getvalue(peer.conn->semaphore, &out.semaphore);
  if (rest) {
    char ch = 0;
    *rest = recv_char(peer.conn, &ch) ? std::string(1, ch) : "";
  }
  return out;
}
}  // namespace

TEST(LobField, WholeValuesWithoutDescriptors) {
  LobRead clob = read_lob(one_value_reply(TC_CLOB, "hello"), 0, 41);
  EXPECT_EQ(0, clob.rc);
  EXPECT_EQ(5, clob.out_len);
  EXPECT_EQ("hello", clob.bytes);
  EXPECT_EQ(2, clob.state);
  // A text column reads through a handle too; the first byte has no meaning here.
  LobRead text = read_lob(one_value_reply(TC_CHAR, "cabc"), 0, 42);
  EXPECT_EQ(0, text.rc);
  EXPECT_EQ("cabc", text.bytes);
  LobRead number = read_lob(one_value_reply(TC_NUMERIC, "12"), 0, 41);
  EXPECT_EQ(-13, number.rc);
  EXPECT_EQ(0, number.out_len);
  // A handle that already holds bytes is emptied before the field is read into it.
  LobRead reused = read_lob(one_value_reply(TC_BLOB, "xyz"), 0, 42, std::string(LOB_CHUNK_SIZE + 3, 'o'));
  EXPECT_EQ(0, reused.rc);
  EXPECT_EQ(3, reused.out_len);
  EXPECT_EQ("xyz", reused.bytes);
}

TEST(LobField, InlineValuesBehindTheirMark) {
  LobRead c = read_lob(one_value_reply(TC_CLOB, "cabc"), 1, 41);
  EXPECT_EQ(0, c.rc);
  EXPECT_EQ(3, c.out_len);
  EXPECT_EQ("abc", c.bytes);
  EXPECT_EQ(2, c.state);
  LobRead b = read_lob(one_value_reply(TC_BLOB, std::string("b\0\1\2", 4)), 1, 42);
  EXPECT_EQ(0, b.rc);
  EXPECT_EQ(std::string("\0\1\2", 3), b.bytes);
  LobRead empty = read_lob(one_value_reply(TC_CLOB, "c"), 1, 43);
  EXPECT_EQ(0, empty.rc);
  EXPECT_EQ(0, empty.out_len);
  // A value of the other family delivers nothing.
  LobRead wrong = read_lob(one_value_reply(TC_CLOB, "cabc"), 1, 42);
  EXPECT_EQ(0, wrong.rc);
  EXPECT_EQ(0, wrong.out_len);
  EXPECT_EQ("", wrong.bytes);
  EXPECT_EQ(0, wrong.state);
  LobRead unmarked = read_lob(one_value_reply(TC_CLOB, "xabc"), 1, 44);
  EXPECT_EQ(0, unmarked.rc);
  EXPECT_EQ("", unmarked.bytes);
  // An inline value is taken up to one chunk.
  LobRead big = read_lob(one_value_reply(TC_CLOB, "c" + std::string(LOB_CHUNK_SIZE + 7, 'z')), 1, 41);
  EXPECT_EQ(0, big.rc);
  EXPECT_EQ(LOB_CHUNK_SIZE, big.out_len);
  EXPECT_EQ(std::string(LOB_CHUNK_SIZE, 'z'), big.bytes);
}

TEST(LobField, DescriptorFetch) {
  std::string rest;
  LobRead fetched = read_lob(one_value_reply(TC_CLOB, kDesc) + fetch_reply({"abc", "de"}) + "K", 1, 41, "", &rest);
  EXPECT_EQ(0, fetched.rc);
  EXPECT_EQ(5, fetched.out_len);
  EXPECT_EQ("abcde", fetched.bytes);
  EXPECT_EQ(2, fetched.state);
  EXPECT_EQ(command_bytes("select") + command_bytes("get lob 'C0000000000AB' offset 0 limit 5 "), fetched.sent);
  EXPECT_EQ(1, fetched.semaphore);
  // Nothing behind the closing zero word is read by the fetch.
  EXPECT_EQ("K", rest);

  std::string binary(2 * LOB_CHUNK_SIZE + 10, '\0');
  for (size_t i = 0; i < binary.size(); i++) binary[i] = static_cast<char>(i * 7 + i / 1000);
  std::string desc = "B0000000000AB|" + std::to_string(binary.size());
  LobRead large = read_lob(one_value_reply(TC_BLOB, desc) +
                               fetch_reply({binary.substr(0, LOB_CHUNK_SIZE), binary.substr(LOB_CHUNK_SIZE, 100),
                                            binary.substr(LOB_CHUNK_SIZE + 100)}),
                           1, 42);
  EXPECT_EQ(0, large.rc);
  EXPECT_EQ(static_cast<int32_t>(binary.size()), large.out_len);
  EXPECT_TRUE(large.bytes == binary);
}

TEST(LobField, FetchRepliesOfAnotherForm) {
  LobRead error = read_lob(one_value_reply(TC_CLOB, kDesc) + "E" + wire_str("no such lob") + "K", 1, 41, "", nullptr);
  EXPECT_EQ(-1, error.rc);
  EXPECT_EQ("no such lob", error.error);
  EXPECT_EQ(1, error.semaphore);

  LobRead other = read_lob(one_value_reply(TC_CLOB, kDesc) + "U" + be32(1) + "K", 1, 41);
  EXPECT_EQ(0, other.rc);
  EXPECT_EQ("", other.bytes);
  LobRead no_rows = read_lob(one_value_reply(TC_CLOB, kDesc) + result_head({field_desc("D", TC_CLOB)}) + "K", 1, 41);
  EXPECT_EQ(0, no_rows.rc);
  EXPECT_EQ("", no_rows.bytes);
}

TEST(LobField, BrokenFetchReplies) {
  std::string head = one_value_reply(TC_CLOB, kDesc) + result_head({field_desc("DATA", TC_CLOB)}) + "R";
  // The link ends after the first piece: what arrived stays in the handle.
  LobRead lost = read_lob(head + be32(1) + wire_str("abc"), 1, 41);
  EXPECT_EQ(-4, lost.rc);
  EXPECT_EQ("abc", lost.bytes);
  EXPECT_EQ(1, lost.semaphore);
  // A piece longer than a chunk, a negative one, and pieces past the length asked for.
  EXPECT_EQ(-4, read_lob(head + be32(1) + be32(LOB_CHUNK_SIZE + 1), 1, 41).rc);
  EXPECT_EQ(-4, read_lob(head + be32(1) + be32(-2), 1, 41).rc);
  LobRead too_long = read_lob(head + be32(1) + wire_str("abc") + be32(1) + wire_str("def") + be32(0), 1, 41);
  EXPECT_EQ(-4, too_long.rc);
  EXPECT_EQ("abc", too_long.bytes);
  EXPECT_EQ(-4, read_lob(one_value_reply(TC_CLOB, kDesc) + "A" + be32(-1), 1, 41).rc);
  EXPECT_EQ(-4, read_lob(one_value_reply(TC_CLOB, kDesc) + "A" + be32(1) + be32(50) + "DA", 1, 41).rc);
}

TEST(LobField, MalformedDescriptorsAreNotSent) {
  for (const char* desc : {"C0000000000AB|", "C0000000000AB|5x", "C000'000000AB|5", "Cshort",
                           "C0000000000AB|99999999999", "C0000000000AB|4294967296"}) {
    LobRead bad = read_lob(one_value_reply(TC_CLOB, desc), 1, 41);
    EXPECT_EQ(-13, bad.rc) << desc;
    EXPECT_EQ("[EC099]Error the lob descriptor is malformed", bad.error) << desc;
    EXPECT_EQ(command_bytes("select"), bad.sent) << desc;
  }
}

TEST(LobField, BufferThatIsNotAHandle) {
  StreamPeer peer(one_value_reply(TC_CLOB, "abc"));
  void* result = nullptr;
  ASSERT_EQ(1, ZVC_Execute(&peer.conn, "select", &result, nullptr, nullptr, nullptr));
  ASSERT_EQ(0, ZVC_NextRow(&result));
  LobHandle* none = nullptr;
  int32_t out_len = 9;
  EXPECT_EQ(-3, ZVC_GetData(&result, 1, 41, &none, 0, &out_len));
  EXPECT_EQ(0, out_len);
  int32_t not_a_lob[8] = {4};
  void* fake = not_a_lob;
  EXPECT_EQ(-3, ZVC_GetData(&result, 1, 41, &fake, 0, &out_len));
  ZVC_CloseResult(&result);
}
