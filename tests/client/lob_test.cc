// LobHandle as a chain of 1 MiB chunks, and large-object columns read into one: whole
// values, inline values behind their mark, and descriptors fetched with "get lob", over
// scripted replies.
#include "results/lob.h"

#include <gtest/gtest.h>
#include <semaphore.h>

#include <string>

#include "connection/wire.h"
#include "peer.h"
#include "reply_script.h"
#include "zvc.h"

namespace {
// Bytes that differ within and across chunks, so that a misplaced copy shows.
std::string pattern(size_t n) {
  std::string out(n, '\0');
  for (size_t i = 0; i < n; i++) out[i] = static_cast<char>(i * 7 + i / 4093);
  return out;
}

std::string lob_bytes(LobHandle** lob) {
  std::string out(static_cast<size_t>((*lob)->size - (*lob)->read_pos), '\0');
  if (!out.empty()) {
    EXPECT_EQ(static_cast<int32_t>(out.size()), ZVC_GetLobData(lob, &out[0], 1 << 30));
  }
  return out;
}

std::string lob_error(LobHandle** lob) { return (*lob)->error_text ? (*lob)->error_text : ""; }

const char kDesc[] = "C0000000000AB|5";  // "C", 12 characters, separator, length

std::string one_value(int32_t type, const std::string& value) {
  return result_head({field_desc("DATA", type)}) + "R" + bytes_field(value) + "K";
}

// The fetch reply: "A", one description, "R", the pieces, the closing zero word.
std::string fetch_reply(const std::vector<std::string>& pieces) {
  std::string out = result_head({field_desc("DATA", TC_CLOB)}) + "R";
  for (const std::string& p : pieces) out += be32(1) + wire_str(p);
  return out + be32(0);
}

struct LobRead {
  int32_t rc, out_len, state;
  std::string bytes, error, sent, next;
  int semaphore;
};

// Receives a one-row result, reads column 1 with ctype into a handle that may hold `before`.
LobRead read_lob(const std::string& reply, int32_t lob_ret, int32_t ctype, const std::string& before = "") {
  StreamPeer peer(reply);
  peer.conn->lob_ret = lob_ret;
  LobRead out{};
  void* result = nullptr;
  EXPECT_EQ(1, ZVC_Execute(&peer.conn, "select", &result, nullptr, nullptr, nullptr));
  EXPECT_EQ(0, ZVC_NextRow(&result));
  LobHandle* lob = nullptr;
  ZVC_CreateLob(&lob);
  ZVC_PutLobData(&lob, before.data(), static_cast<uint32_t>(before.size()));
  out.out_len = -1;
  out.rc = ZVC_GetData(&result, 1, ctype, &lob, 0, &out.out_len);
  out.bytes = lob_bytes(&lob);
  out.error = lob_error(&lob);
  out.state = lob->state;
  ZVC_FreeLob(&lob);
  ZVC_CloseResult(&result);
  out.sent = peer.sent();
  sem_getvalue(peer.conn->semaphore, &out.semaphore);
  char ch = 0;
  if (recv_char(peer.conn, &ch)) out.next = std::string(1, ch);
  return out;
}
}  // namespace

TEST(Lob, ChunkChain) {
  LobHandle* lob = nullptr;
  ASSERT_EQ(0, ZVC_CreateLob(&lob));
  EXPECT_EQ(HT_LOB, lob->kind);
  EXPECT_EQ(0, ZVC_PutLobData(&lob, "abc", 0));
  EXPECT_EQ(0, ZVC_PutLobData(&lob, nullptr, 5));
  EXPECT_EQ(0, lob->state);
  EXPECT_EQ(0, ZVC_PutLobData(&lob, nullptr, 4294967295u));
  EXPECT_EQ(2, lob->state);
  EXPECT_EQ(0, lob->chunk_count);
  char byte = 0;
  EXPECT_EQ(0, ZVC_GetLobData(&lob, &byte, 1));

  std::string data = pattern(3 * LOB_CHUNK_SIZE + 77);
  ASSERT_EQ(0, ZVC_PutLobData(&lob, data.data(), LOB_CHUNK_SIZE));
  EXPECT_EQ(1, lob->state);
  EXPECT_EQ(1, lob->chunk_count);
  ASSERT_EQ(0, ZVC_PutLobData(&lob, data.data() + LOB_CHUNK_SIZE, 1));
  EXPECT_EQ(2, lob->chunk_count);
  EXPECT_EQ(lob->first_chunk->next, lob->cur_chunk);
  EXPECT_EQ(1, lob->cur_chunk->index);
  // Puts that end in the middle of chunks, then one read of everything.
  for (size_t done = LOB_CHUNK_SIZE + 1; done < data.size(); done += 700001) {
    size_t n = std::min<size_t>(700001, data.size() - done);
    ASSERT_EQ(0, ZVC_PutLobData(&lob, data.data() + done, static_cast<uint32_t>(n)));
  }
  EXPECT_EQ(4, lob->chunk_count);
  EXPECT_TRUE(data == lob_bytes(&lob));

  // 10 bytes before the end of chunk 0, 20 asked: the read crosses into chunk 1.
  EXPECT_EQ(LOB_CHUNK_SIZE - 10, ZVC_SetLobReadPos(&lob, LOB_CHUNK_SIZE - 10));
  char buffer[20];
  EXPECT_EQ(20, ZVC_GetLobData(&lob, buffer, 20));
  EXPECT_EQ(data.substr(LOB_CHUNK_SIZE - 10, 20), std::string(buffer, 20));
  EXPECT_EQ(static_cast<int32_t>(data.size()), ZVC_SetLobReadPos(&lob, static_cast<int32_t>(data.size())));
  EXPECT_EQ(0, ZVC_GetLobData(&lob, buffer, 20));
  EXPECT_EQ(0, ZVC_ResetLob(&lob));
  EXPECT_EQ(HT_LOB, lob->kind);
  EXPECT_EQ(0, lob->size + lob->read_pos + lob->chunk_count + lob->state);
  EXPECT_EQ(nullptr, lob->first_chunk);

  ZVC_PutLobData(&lob, "abcde", 5);
  EXPECT_EQ(3, ZVC_SetLobReadPos(&lob, 3));
  EXPECT_EQ(-1, ZVC_SetLobReadPos(&lob, 10));
  EXPECT_EQ("[EC097]Error the ReadPos set larger than max_length :10 > :5", lob_error(&lob));
  EXPECT_EQ(-1, ZVC_SetLobReadPos(&lob, -1));
  EXPECT_EQ("[EC098]Error the ReadPos set error :-1", lob_error(&lob));
  EXPECT_EQ("de", lob_bytes(&lob));
  EXPECT_EQ(0, ZVC_FreeLob(&lob));
  EXPECT_EQ(nullptr, lob);
  EXPECT_EQ(0, ZVC_FreeLob(&lob));
  EXPECT_EQ(-3, ZVC_PutLobData(&lob, "a", 1));
  EXPECT_EQ(-3, ZVC_GetLobData(&lob, buffer, 1));
  EXPECT_EQ(-3, ZVC_SetLobReadPos(&lob, 0));
  EXPECT_EQ(-3, ZVC_ResetLob(&lob));
  EXPECT_EQ(-3, ZVC_CreateLob(nullptr));
}

TEST(Lob, ColumnValuesWithoutAndBehindTheirMark) {
  struct Case {
    int32_t type, lob_ret, ctype;
    std::string value;
    int32_t rc;
    std::string bytes;
    int32_t state;
  } cases[] = {
      {TC_CLOB, 0, 41, "hello", 0, "hello", 2},
      {TC_CHAR, 0, 42, "cabc", 0, "cabc", 2},  // a text column reads through a handle too
      {TC_NUMERIC, 0, 41, "12", -13, "", 0},
      {TC_CLOB, 1, 41, "cabc", 0, "abc", 2},
      {TC_BLOB, 1, 42, std::string("b\0\1", 3), 0, std::string("\0\1", 2), 2},
      {TC_CLOB, 1, 43, "c", 0, "", 2},
      {TC_CLOB, 1, 42, "cabc", 0, "", 0},  // a value of the other family delivers nothing
      {TC_CLOB, 1, 44, "xabc", 0, "", 0},
      {TC_CLOB, 1, 41, "c" + std::string(LOB_CHUNK_SIZE + 7, 'z'), 0, std::string(LOB_CHUNK_SIZE, 'z'), 2},
  };
  for (const Case& c : cases) {
    LobRead r = read_lob(one_value(c.type, c.value), c.lob_ret, c.ctype);
    EXPECT_EQ(c.rc, r.rc) << c.value.substr(0, 8);
    EXPECT_EQ(static_cast<int32_t>(c.bytes.size()), r.out_len) << c.value.substr(0, 8);
    EXPECT_TRUE(c.bytes == r.bytes) << c.value.substr(0, 8);
    EXPECT_EQ(c.state, r.state) << c.value.substr(0, 8);
  }
  // A handle that already holds bytes is emptied before the field is read into it.
  LobRead reused = read_lob(one_value(TC_BLOB, "xyz"), 0, 42, std::string(LOB_CHUNK_SIZE + 3, 'o'));
  EXPECT_EQ("xyz", reused.bytes);

  StreamPeer peer(one_value(TC_CLOB, "abc"));
  void* result = nullptr;
  ASSERT_EQ(1, ZVC_Execute(&peer.conn, "select", &result, nullptr, nullptr, nullptr));
  ASSERT_EQ(0, ZVC_NextRow(&result));
  LobHandle* none = nullptr;
  int32_t out_len = 9;
  EXPECT_EQ(-3, ZVC_GetData(&result, 1, 41, &none, 0, &out_len));
  EXPECT_EQ(0, out_len);
  ZVC_CloseResult(&result);
}

TEST(Lob, DescriptorFetch) {
  LobRead fetched = read_lob(one_value(TC_CLOB, kDesc) + fetch_reply({"abc", "de"}) + "K", 1, 41);
  EXPECT_EQ(0, fetched.rc);
  EXPECT_EQ(5, fetched.out_len);
  EXPECT_EQ("abcde", fetched.bytes);
  EXPECT_EQ(2, fetched.state);
  EXPECT_EQ(command_bytes("select") + command_bytes("get lob 'C0000000000AB' offset 0 limit 5 "), fetched.sent);
  EXPECT_EQ(1, fetched.semaphore);
  EXPECT_EQ("K", fetched.next);  // nothing behind the closing zero word is read

  std::string data = pattern(2 * LOB_CHUNK_SIZE + 10);
  std::string desc = "B0000000000AB|" + std::to_string(data.size());
  LobRead large =
      read_lob(one_value(TC_BLOB, desc) + fetch_reply({data.substr(0, LOB_CHUNK_SIZE), data.substr(LOB_CHUNK_SIZE, 100),
                                                       data.substr(LOB_CHUNK_SIZE + 100)}),
               1, 42);
  EXPECT_EQ(0, large.rc);
  EXPECT_EQ(static_cast<int32_t>(data.size()), large.out_len);
  EXPECT_TRUE(large.bytes == data);

  // Replies of another form: an error goes to the handle; other letters end quietly.
  LobRead error = read_lob(one_value(TC_CLOB, kDesc) + "E" + wire_str("no such lob") + "K" + "Z", 1, 41);
  EXPECT_EQ(-1, error.rc);
  EXPECT_EQ("no such lob", error.error);
  EXPECT_EQ("Z", error.next);
  EXPECT_EQ(0, read_lob(one_value(TC_CLOB, kDesc) + "K", 1, 41).rc);
  EXPECT_EQ(0, read_lob(one_value(TC_CLOB, kDesc) + result_head({field_desc("D", TC_CLOB)}) + "K", 1, 41).rc);
}

TEST(Lob, BrokenFetches) {
  std::string head = one_value(TC_CLOB, kDesc) + result_head({field_desc("DATA", TC_CLOB)}) + "R";
  LobRead lost = read_lob(head + be32(1) + wire_str("abc"), 1, 41);
  EXPECT_EQ(-4, lost.rc);
  EXPECT_EQ("abc", lost.bytes);  // what arrived stays
  EXPECT_EQ(1, lost.semaphore);
  for (const std::string& rest : {be32(1) + be32(LOB_CHUNK_SIZE + 1), be32(1) + be32(-2),
                                  be32(1) + wire_str("abc") + be32(1) + wire_str("def") + be32(0)}) {
    EXPECT_EQ(-4, read_lob(head + rest, 1, 41).rc);
  }
  EXPECT_EQ(-4, read_lob(one_value(TC_CLOB, kDesc) + "A" + be32(-1), 1, 41).rc);
  EXPECT_EQ(-4, read_lob(one_value(TC_CLOB, kDesc) + "A" + be32(1) + be32(50) + "DA", 1, 41).rc);
  for (const char* desc : {"C0000000000AB|", "C0000000000AB|5x", "C000'000000AB|5", "Cshort",
                           "C0000000000AB|99999999999", "C0000000000AB|4294967296"}) {
    LobRead bad = read_lob(one_value(TC_CLOB, desc), 1, 41);
    EXPECT_EQ(-13, bad.rc) << desc;
    EXPECT_EQ("[EC099]Error the lob descriptor is malformed", bad.error) << desc;
    EXPECT_EQ(command_bytes("select"), bad.sent) << desc;
  }
}
