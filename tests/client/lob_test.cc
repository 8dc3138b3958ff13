// LobHandle as a chain of 1 MiB chunks, and large-object columns read into one over scripted
// replies: whole values, inline values behind their mark, and descriptors fetched with "get lob".
#include "results/lob.h"

#include <gtest/gtest.h>

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

std::string one_value(int32_t type, const std::string& value) {
  return result_head({field_desc("DATA", type)}) + "R" + wire_str(value) + "K";
}
}  // namespace

TEST(Lob, ChunkChain) {
  LobHandle* lob = nullptr;
  ASSERT_EQ(0, ZVC_CreateLob(&lob));
  EXPECT_EQ(0, ZVC_PutLobData(&lob, nullptr, 4294967295u));
  EXPECT_EQ(2, lob->state);
  EXPECT_EQ("", lob_bytes(&lob));
  std::string data = pattern(2 * LOB_CHUNK_SIZE + 77);
  ASSERT_EQ(0, ZVC_PutLobData(&lob, data.data(), LOB_CHUNK_SIZE));
  EXPECT_TRUE(data.substr(0, LOB_CHUNK_SIZE) == lob_bytes(&lob));
  ZVC_SetLobReadPos(&lob, 0);
  ASSERT_EQ(0, ZVC_PutLobData(&lob, data.data() + LOB_CHUNK_SIZE, 1));
  EXPECT_TRUE(data.substr(0, LOB_CHUNK_SIZE + 1) == lob_bytes(&lob));
  ZVC_SetLobReadPos(&lob, 0);
  ASSERT_EQ(0, ZVC_PutLobData(&lob, data.data() + LOB_CHUNK_SIZE + 1, LOB_CHUNK_SIZE + 76));
  EXPECT_TRUE(data == lob_bytes(&lob));
  char buffer[20];
  EXPECT_EQ(0, ZVC_GetLobData(&lob, buffer, 20));
  // 10 bytes before the end of chunk 0, 20 asked: the read crosses into chunk 1.
  EXPECT_EQ(LOB_CHUNK_SIZE - 10, ZVC_SetLobReadPos(&lob, LOB_CHUNK_SIZE - 10));
  EXPECT_EQ(20, ZVC_GetLobData(&lob, buffer, 20));
  EXPECT_EQ(data.substr(LOB_CHUNK_SIZE - 10, 20), std::string(buffer, 20));
  EXPECT_EQ(0, ZVC_ResetLob(&lob));
  EXPECT_EQ("", lob_bytes(&lob));
  ZVC_PutLobData(&lob, "abcde", 5);
  EXPECT_EQ(-1, ZVC_SetLobReadPos(&lob, 6));
  EXPECT_EQ("[EC097]Error the ReadPos set larger than max_length :6 > :5", lob_error(&lob));
  EXPECT_EQ(-1, ZVC_SetLobReadPos(&lob, -1));
  EXPECT_EQ("[EC098]Error the ReadPos set error :-1", lob_error(&lob));
  EXPECT_EQ(3, ZVC_SetLobReadPos(&lob, 3));
  EXPECT_EQ("de", lob_bytes(&lob));
  EXPECT_EQ(0, ZVC_FreeLob(&lob));
}

// A one-row result whose column 1 is read with ctype into a handle that may already hold
// bytes. Without descriptors (lob_ret 0) the value is the object; with them its first byte
// tells inline bytes ("c", "b") from a descriptor ("C", "B") to fetch with "get lob".
TEST(Lob, ColumnValues) {
  const std::string get = command_bytes("get lob 'C0000000000AB' offset 0 limit 5 ");
  const std::string desc = one_value(TC_CLOB, "C0000000000AB|5");
  const std::string pieces = desc + result_head({field_desc("DATA", TC_CLOB)}) + "R" + be32(1);
  const std::string malformed = "[EC099]Error the lob descriptor is malformed";
  const std::string data = pattern(LOB_CHUNK_SIZE + 3);
  struct Case {
    std::string reply;
    int32_t lob_ret, ctype, rc;
    std::string bytes, fetch = "", error = "", next = "", before = "";
  } cases[] = {
      {one_value(TC_CLOB, "hello"), 0, 41, 0, "hello"},
      {one_value(TC_BLOB, "xyz"), 0, 42, 0, "xyz", "", "", "", std::string(LOB_CHUNK_SIZE + 3, 'o')},
      {one_value(TC_CLOB, "cabc"), 1, 41, 0, "abc"},
      {one_value(TC_CLOB, "cabc"), 1, 42, 0, ""},  // a value of the other family delivers nothing
      {one_value(TC_CLOB, "c" + std::string(LOB_CHUNK_SIZE + 7, 'z')), 1, 41, 0, std::string(LOB_CHUNK_SIZE, 'z')},
      // Nothing behind the fetch reply's closing zero word is read.
      {pieces + wire_str("abc") + be32(1) + wire_str("de") + be32(0) + "K", 1, 41, 0, "abcde", get, "", "K"},
      {one_value(TC_BLOB, "B0000000000AB|1048579") + result_head({field_desc("D", TC_BLOB)}) + "R" + be32(1) +
           wire_str(data.substr(0, 3)) + be32(1) + wire_str(data.substr(3)) + be32(0),
       1, 42, 0, data, command_bytes("get lob 'B0000000000AB' offset 0 limit 1048579 ")},
      {desc + "E" + wire_str("no such lob") + "K" + "Z", 1, 41, -1, "", get, "no such lob", "Z"},
      {desc + "F" + wire_str("fatal") + "K" + "Z", 1, 41, -1, "", get, "fatal", "Z"},
      // A bare "K": the server knows no such object; the reply ended there, and the link is up.
      {desc + "K" + "Z", 1, 41, 0, "", get, "", "Z"},
      {pieces + be32(LOB_CHUNK_SIZE + 1), 1, 41, -4, "", get},
      {pieces + be32(6), 1, 41, -4, "", get},  // past the length asked for
      {one_value(TC_CLOB, "C000'000000AB|5"), 1, 41, -13, "", "", malformed},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(&c - cases);
    StreamPeer peer(c.reply);
    peer.conn->lob_ret = c.lob_ret;
    peer.conn->use_srvcursor_off = 1;  // a plain select's reply
    void* result = nullptr;
    EXPECT_EQ(1, ZVC_Execute(&peer.conn, "select", &result, nullptr, nullptr, nullptr));
    EXPECT_EQ(0, ZVC_NextRow(&result));
    LobHandle* lob = nullptr;
    ZVC_CreateLob(&lob);
    ZVC_PutLobData(&lob, c.before.data(), static_cast<uint32_t>(c.before.size()));
    int32_t out_len = -1;
    EXPECT_EQ(c.rc, ZVC_GetData(&result, 1, c.ctype, &lob, sizeof lob, &out_len));
    EXPECT_EQ(static_cast<int32_t>(c.bytes.size()), out_len);
    EXPECT_TRUE(c.bytes == lob_bytes(&lob));
    EXPECT_EQ(c.error, lob_error(&lob));
    ZVC_FreeLob(&lob);
    ZVC_CloseResult(&result);
    EXPECT_EQ(command_bytes("select") + c.fetch, peer.sent());
    EXPECT_EQ(1, semaphore_count(peer.conn));
    char next = 0;
    EXPECT_EQ(c.next, recv_char(peer.conn, &next) ? std::string(1, next) : "");
  }
}
