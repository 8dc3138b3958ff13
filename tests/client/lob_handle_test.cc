// LobHandle as a chain of 1 MiB chunks: puts, reads across chunk ends, the read position
// and its messages, reset and free.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "results/lob.h"
#include "zvc.h"

namespace {
// Bytes that differ from chunk to chunk and within one, so that a misplaced copy shows.
std::vector<uint8_t> pattern(size_t n, uint32_t seed = 1) {
  std::vector<uint8_t> out(n);
  uint32_t x = seed;
  for (size_t i = 0; i < n; i++) {
    x = x * 1103515245u + 12345u;
    out[i] = static_cast<uint8_t>(x >> 16);
  }
  return out;
}

std::vector<uint8_t> read_all(LobHandle** lob, int32_t step) {
  std::vector<uint8_t> out;
  std::vector<uint8_t> buffer(step);
  for (;;) {
    int32_t n = ZVC_GetLobData(lob, buffer.data(), step);
    if (n <= 0) break;
    out.insert(out.end(), buffer.begin(), buffer.begin() + n);
  }
  return out;
}

std::string lob_error(LobHandle** lob) {
  char text[1024] = {};
  int32_t len = 0;
  ZVC_GetErrorText(reinterpret_cast<void**>(lob), text, &len);
  return std::string(text, len);
}
}  // namespace

TEST(LobHandle, CreatePutAndEndMark) {
  LobHandle* lob = nullptr;
  ASSERT_EQ(0, ZVC_CreateLob(&lob));
  EXPECT_EQ(HT_LOB, lob->kind);
  EXPECT_EQ(0, lob->chunk_count);
  EXPECT_EQ(0, lob->state);
  EXPECT_EQ(0, ZVC_PutLobData(&lob, "abc", 0));
  EXPECT_EQ(0, ZVC_PutLobData(&lob, nullptr, 5));
  EXPECT_EQ(0, lob->state);
  EXPECT_EQ(0, ZVC_PutLobData(&lob, nullptr, 4294967295u));
  EXPECT_EQ(2, lob->state);
  EXPECT_EQ(0, lob->size);
  EXPECT_EQ(0, lob->chunk_count);
  uint8_t byte = 0;
  EXPECT_EQ(0, ZVC_GetLobData(&lob, &byte, 1));
  EXPECT_EQ(0, ZVC_PutLobData(&lob, "hello", 5));
  EXPECT_EQ(1, lob->state);
  EXPECT_EQ(5, lob->size);
  EXPECT_EQ(0, ZVC_FreeLob(&lob));
  EXPECT_EQ(nullptr, lob);
  EXPECT_EQ(0, ZVC_FreeLob(&lob));
}

TEST(LobHandle, ChunkBoundaries) {
  std::vector<uint8_t> data = pattern(LOB_CHUNK_SIZE + 1);
  LobHandle* lob = nullptr;
  ZVC_CreateLob(&lob);
  ASSERT_EQ(0, ZVC_PutLobData(&lob, data.data(), LOB_CHUNK_SIZE));
  EXPECT_EQ(1, lob->chunk_count);
  EXPECT_EQ(LOB_CHUNK_SIZE, lob->size);
  ASSERT_EQ(0, ZVC_PutLobData(&lob, data.data() + LOB_CHUNK_SIZE, 1));
  EXPECT_EQ(2, lob->chunk_count);
  EXPECT_EQ(1, lob->cur_chunk->index);
  EXPECT_EQ(lob->first_chunk->next, lob->cur_chunk);
  EXPECT_EQ(data, read_all(&lob, 333333));
  ZVC_FreeLob(&lob);

  // The same bytes in one put, and in puts that end in the middle of chunks.
  ZVC_CreateLob(&lob);
  ASSERT_EQ(0, ZVC_PutLobData(&lob, data.data(), static_cast<uint32_t>(data.size())));
  EXPECT_EQ(2, lob->chunk_count);
  EXPECT_EQ(data, read_all(&lob, LOB_CHUNK_SIZE + 1));
  ZVC_FreeLob(&lob);

  std::vector<uint8_t> big = pattern(3 * LOB_CHUNK_SIZE + 77, 9);
  ZVC_CreateLob(&lob);
  for (size_t done = 0; done < big.size(); done += 700001) {
    size_t n = big.size() - done < 700001 ? big.size() - done : 700001;
    ASSERT_EQ(0, ZVC_PutLobData(&lob, big.data() + done, static_cast<uint32_t>(n)));
  }
  EXPECT_EQ(4, lob->chunk_count);
  EXPECT_EQ(static_cast<int64_t>(big.size()), lob->size);
  EXPECT_EQ(big, read_all(&lob, 1 << 20));
  ZVC_FreeLob(&lob);
}

TEST(LobHandle, ReadPosition) {
  std::vector<uint8_t> data = pattern(2 * LOB_CHUNK_SIZE);
  LobHandle* lob = nullptr;
  ZVC_CreateLob(&lob);
  ZVC_PutLobData(&lob, data.data(), static_cast<uint32_t>(data.size()));

  // 10 bytes before the end of chunk 0, 20 asked: the read crosses into chunk 1.
  EXPECT_EQ(LOB_CHUNK_SIZE - 10, ZVC_SetLobReadPos(&lob, LOB_CHUNK_SIZE - 10));
  uint8_t buffer[20];
  EXPECT_EQ(20, ZVC_GetLobData(&lob, buffer, 20));
  EXPECT_EQ(std::vector<uint8_t>(data.begin() + LOB_CHUNK_SIZE - 10, data.begin() + LOB_CHUNK_SIZE + 10),
            std::vector<uint8_t>(buffer, buffer + 20));
  EXPECT_EQ(LOB_CHUNK_SIZE + 10, lob->read_pos);

  // The end is a valid position, and reads there give nothing.
  EXPECT_EQ(2 * LOB_CHUNK_SIZE, ZVC_SetLobReadPos(&lob, 2 * LOB_CHUNK_SIZE));
  EXPECT_EQ(0, ZVC_GetLobData(&lob, buffer, 20));
  EXPECT_EQ(0, ZVC_SetLobReadPos(&lob, 0));
  EXPECT_EQ(0, ZVC_GetLobData(&lob, buffer, -5));
  ZVC_FreeLob(&lob);

  ZVC_CreateLob(&lob);
  ZVC_PutLobData(&lob, "abcde", 5);
  EXPECT_EQ(3, ZVC_SetLobReadPos(&lob, 3));
  EXPECT_EQ(-1, ZVC_SetLobReadPos(&lob, 10));
  EXPECT_EQ("[EC097]Error the ReadPos set larger than max_length :10 > :5", lob_error(&lob));
  EXPECT_EQ(3, lob->read_pos);
  EXPECT_EQ(-1, ZVC_SetLobReadPos(&lob, -1));
  EXPECT_EQ("[EC098]Error the ReadPos set error :-1", lob_error(&lob));
  EXPECT_EQ(3, lob->read_pos);
  char rest[8] = {};
  EXPECT_EQ(2, ZVC_GetLobData(&lob, rest, 8));
  EXPECT_STREQ("de", rest);
  ZVC_FreeLob(&lob);
}

TEST(LobHandle, ResetKeepsTheHandleUsable) {
  LobHandle* lob = nullptr;
  ZVC_CreateLob(&lob);
  std::vector<uint8_t> data = pattern(LOB_CHUNK_SIZE + 5);
  ZVC_PutLobData(&lob, data.data(), static_cast<uint32_t>(data.size()));
  ZVC_SetLobReadPos(&lob, -4);
  EXPECT_EQ(0, ZVC_ResetLob(&lob));
  EXPECT_EQ(HT_LOB, lob->kind);
  EXPECT_EQ(0, lob->chunk_count);
  EXPECT_EQ(0, lob->size);
  EXPECT_EQ(0, lob->read_pos);
  EXPECT_EQ(0, lob->state);
  EXPECT_EQ(nullptr, lob->first_chunk);
  EXPECT_EQ(nullptr, lob->error_text);
  ZVC_PutLobData(&lob, "xy", 2);
  char out[4] = {};
  EXPECT_EQ(2, ZVC_GetLobData(&lob, out, 4));
  EXPECT_STREQ("xy", out);
  ZVC_FreeLob(&lob);

  LobHandle* none = nullptr;
  EXPECT_EQ(-3, ZVC_PutLobData(&none, "a", 1));
  EXPECT_EQ(-3, ZVC_GetLobData(&none, out, 1));
  EXPECT_EQ(-3, ZVC_SetLobReadPos(&none, 0));
  EXPECT_EQ(-3, ZVC_ResetLob(&none));
  EXPECT_EQ(-3, ZVC_CreateLob(nullptr));
}
