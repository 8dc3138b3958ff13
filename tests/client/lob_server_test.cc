// Large objects end to end against the reference server: objects of 0 bytes, exactly one
// chunk, one chunk and a byte, and 64 MiB, read inline and by descriptor, compared byte for
// byte with the server's own hex text of the stored value.
#include <gtest/gtest.h>
#include <semaphore.h>

#include <string>

#include "results/lob.h"
#include "server_process.h"
#include "zvc.h"

namespace {
struct LobValue {
  int32_t rc = 0;
  int32_t out_len = -1;
  std::string bytes;
};

// Column 1 of the first row of sql, read with ctype into a LobHandle and copied out whole.
LobValue read_column(ConnRecord** conn, const std::string& sql, int32_t ctype) {
  LobValue out;
  void* result = nullptr;
  EXPECT_GE(ZVC_Execute(conn, sql.c_str(), &result, nullptr, nullptr, nullptr), 0) << sql;
  EXPECT_EQ(0, ZVC_NextRow(&result)) << sql;
  LobHandle* lob = nullptr;
  ZVC_CreateLob(&lob);
  out.rc = ZVC_GetData(&result, 1, ctype, &lob, 0, &out.out_len);
  out.bytes.resize(static_cast<size_t>(lob->size));
  if (lob->size > 0) {
    EXPECT_EQ(lob->size, ZVC_GetLobData(&lob, &out.bytes[0], static_cast<int32_t>(lob->size)));
  }
  ZVC_FreeLob(&lob);
  ZVC_CloseResult(&result);
  return out;
}

std::string from_hex(const std::string& hex) {
  std::string out(hex.size() / 2, '\0');
  for (size_t i = 0; i < out.size(); i++) out[i] = static_cast<char>(std::stoi(hex.substr(2 * i, 2), nullptr, 16));
  return out;
}

int semaphore_count(ConnRecord* conn) {
  int value = -1;
  sem_getvalue(conn->semaphore, &value);
  return value;
}

class LobServer : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_NE(0, server.port());
    ASSERT_EQ(2, ZVC_OpenConnection(server.conn_string().c_str(), &plain));
    ASSERT_EQ(2, ZVC_OpenConnection(server.conn_string(";LOB_RET=on").c_str(), &described));
    ASSERT_EQ(0, ZVC_ExecNoQuery(&plain, "create table lobs (id integer, c clob, b blob)"));
  }
  void TearDown() override {
    ZVC_CloseConnection(&plain);
    ZVC_CloseConnection(&described);
  }

  // Stores random bytes of size n as row id (the clob holds their hex text cut to n).
  void store(int id, int64_t n) {
    std::string sql = "insert into lobs values (" + std::to_string(id) + ", substr(hex(randomblob(" +
                      std::to_string(n / 2 + 1) + ")), 1, " + std::to_string(n) + "), randomblob(" + std::to_string(n) +
                      "))";
    if (n == 0) sql = "insert into lobs values (" + std::to_string(id) + ", '', x'')";
    ASSERT_EQ(1, ZVC_ExecNoQuery(&plain, sql.c_str()));
  }

  // Reads object `id` every way there is and checks each against the stored bytes.
  void check_object(int id, int64_t n) {
    std::string where = " from lobs where id = " + std::to_string(id);
    std::string blob = from_hex(read_column(&plain, "select hex(b)" + where, 41).bytes);
    std::string clob = read_column(&plain, "select c" + where, 41).bytes;
    ASSERT_EQ(static_cast<size_t>(n), blob.size());
    ASSERT_EQ(static_cast<size_t>(n), clob.size());

    LobValue inline_b = read_column(&plain, "select b" + where, 42);
    LobValue inline_c = read_column(&plain, "select c" + where, 41);
    LobValue desc_b = read_column(&described, "select b" + where, 42);
    LobValue desc_c = read_column(&described, "select c" + where, 43);
    EXPECT_EQ(0, desc_b.rc);
    EXPECT_EQ(0, desc_c.rc);
    EXPECT_EQ(n, desc_b.out_len);
    EXPECT_EQ(n, desc_c.out_len);
    EXPECT_TRUE(desc_b.bytes == blob) << "blob by descriptor, " << n << " bytes";
    EXPECT_TRUE(desc_c.bytes == clob) << "clob by descriptor, " << n << " bytes";
    if (n == 0) {
      // An empty value travels as no bytes at all, which a row holds as null.
      EXPECT_EQ(-11, inline_b.rc);
      EXPECT_EQ(-11, inline_c.rc);
    } else {
      EXPECT_EQ(0, inline_b.rc);
      EXPECT_EQ(n, inline_b.out_len);
      EXPECT_TRUE(inline_b.bytes == blob) << "blob inline, " << n << " bytes";
      EXPECT_TRUE(inline_c.bytes == clob) << "clob inline, " << n << " bytes";
    }
    EXPECT_EQ(1, semaphore_count(described));
  }

  ServerProcess server;
  ConnRecord* plain = nullptr;
  ConnRecord* described = nullptr;
};
}  // namespace

TEST_F(LobServer, EmptyObjects) {
  store(1, 0);
  check_object(1, 0);
}

TEST_F(LobServer, SmallAndChunkSizedObjects) {
  store(2, 100);
  store(3, LOB_CHUNK_SIZE);
  store(4, LOB_CHUNK_SIZE + 1);
  check_object(2, 100);
  check_object(3, LOB_CHUNK_SIZE);
  check_object(4, LOB_CHUNK_SIZE + 1);
}

TEST_F(LobServer, SixtyFourMebibytes) {
  store(5, 64 * LOB_CHUNK_SIZE);
  check_object(5, 64 * LOB_CHUNK_SIZE);
}

TEST_F(LobServer, ReadingTheSameFieldTwiceAndAFamilyMismatch) {
  store(6, 5000);
  void* result = nullptr;
  ASSERT_GE(ZVC_Execute(&described, "select b, c from lobs where id = 6", &result, nullptr, nullptr, nullptr), 0);
  ASSERT_EQ(0, ZVC_NextRow(&result));
  LobHandle* lob = nullptr;
  ZVC_CreateLob(&lob);
  int32_t size = 0;
  EXPECT_EQ(0, ZVC_GetData(&result, 1, 42, &lob, 0, &size));
  EXPECT_EQ(5000, size);
  // The same handle again: it is emptied first, and the object fetched a second time.
  EXPECT_EQ(0, ZVC_GetData(&result, 1, 42, &lob, 0, &size));
  EXPECT_EQ(5000, size);
  EXPECT_EQ(5000, lob->size);
  // A character object asked for as binary delivers nothing.
  EXPECT_EQ(0, ZVC_GetData(&result, 2, 42, &lob, 0, &size));
  EXPECT_EQ(0, size);
  EXPECT_EQ(0, lob->size);
  ZVC_FreeLob(&lob);
  ZVC_CloseResult(&result);
}
