// Large objects end to end against the reference server: 0 bytes, exactly one chunk, one
// chunk and a byte, and 64 MiB, read inline and by descriptor, compared byte for byte with
// the server's own hex text of the stored value.
#include <gtest/gtest.h>
#include <semaphore.h>

#include <string>

#include "results/lob.h"
#include "server_process.h"
#include "zvc.h"

namespace {
struct LobValue {
  int32_t rc;
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
  if (lob->size > 0) ZVC_GetLobData(&lob, &out.bytes[0], static_cast<int32_t>(lob->size));
  ZVC_FreeLob(&lob);
  ZVC_CloseResult(&result);
  return out;
}

std::string from_hex(const std::string& hex) {
  std::string out(hex.size() / 2, '\0');
  for (size_t i = 0; i < out.size(); i++) out[i] = static_cast<char>(std::stoi(hex.substr(2 * i, 2), nullptr, 16));
  return out;
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

  // Stores n random bytes as row n (the clob holds their hex text cut to n) and reads the
  // row back every way there is.
  void check_object(int64_t n) {
    std::string id = std::to_string(n), half = std::to_string(n / 2 + 1);
    std::string insert = "insert into lobs values (" + id + ", substr(hex(randomblob(" + half + ")), 1, " + id +
                         "), substr(randomblob(" + id + "), 1, " + id + "))";
    ASSERT_EQ(1, ZVC_ExecNoQuery(&plain, insert.c_str()));
    std::string where = " from lobs where id = " + id;
    std::string blob = from_hex(read_column(&plain, "select hex(b)" + where, 41).bytes);
    std::string clob = read_column(&plain, "select c" + where, 41).bytes;
    ASSERT_EQ(static_cast<size_t>(n), blob.size());
    ASSERT_EQ(static_cast<size_t>(n), clob.size());
    struct Way {
      ConnRecord** conn;
      const char* column;
      int32_t ctype;
      const std::string& expected;
    } ways[] = {
        {&described, "b", 42, blob}, {&described, "c", 43, clob}, {&plain, "b", 42, blob}, {&plain, "c", 41, clob}};
    for (const Way& w : ways) {
      LobValue v = read_column(w.conn, std::string("select ") + w.column + where, w.ctype);
      // Without descriptors an empty value travels as no bytes at all, which a row holds as null.
      bool null_inline = n == 0 && w.conn == &plain;
      EXPECT_EQ(null_inline ? -11 : 0, v.rc) << w.column << " " << n;
      EXPECT_EQ(null_inline ? 0 : n, v.out_len) << w.column << " " << n;
      EXPECT_TRUE(v.bytes == w.expected) << w.column << " " << n;
    }
    int value = -1;
    sem_getvalue(described->semaphore, &value);
    EXPECT_EQ(1, value);
  }

  ServerProcess server;
  ConnRecord* plain = nullptr;
  ConnRecord* described = nullptr;
};
}  // namespace

TEST_F(LobServer, EmptySmallAndChunkSizedObjects) {
  for (int64_t n : {0, 100, int{LOB_CHUNK_SIZE}, LOB_CHUNK_SIZE + 1}) check_object(n);
}

TEST_F(LobServer, SixtyFourMebibytes) { check_object(64 * LOB_CHUNK_SIZE); }

TEST_F(LobServer, ReadingTheSameFieldTwiceAndAFamilyMismatch) {
  ASSERT_EQ(1, ZVC_ExecNoQuery(&plain, "insert into lobs values (6, hex(randomblob(2500)), randomblob(5000))"));
  void* result = nullptr;
  ASSERT_GE(ZVC_Execute(&described, "select b, c from lobs where id = 6", &result, nullptr, nullptr, nullptr), 0);
  ASSERT_EQ(0, ZVC_NextRow(&result));
  LobHandle* lob = nullptr;
  ZVC_CreateLob(&lob);
  int32_t size = 0;
  for (int i = 0; i < 2; i++) {  // the second read empties the handle and fetches again
    EXPECT_EQ(0, ZVC_GetData(&result, 1, 42, &lob, 0, &size));
    EXPECT_EQ(5000, size);
    EXPECT_EQ(5000, lob->size);
  }
  EXPECT_EQ(0, ZVC_GetData(&result, 2, 42, &lob, 0, &size));  // a character object asked as binary
  EXPECT_EQ(0, size);
  EXPECT_EQ(0, lob->size);
  ZVC_FreeLob(&lob);
  ZVC_CloseResult(&result);
}
