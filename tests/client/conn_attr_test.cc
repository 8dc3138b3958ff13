// Attributes of a connection open on the reference server: every number read, the two switches
// set and read back, and what is refused.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "connection/client_text.h"
#include "connection/conn_record.h"
#include "server_process.h"
#include "zvc.h"

namespace {
const char kUnknownGet[] = "[EC0103]connection attribute type get error,unknown attribute type\n";
const char kUnsupportedSet[] = "[EC0104]connection attribute type set error,un-supported attribute type\n";
const char kTooSmall[] = "[EC0107]attribute buffer too small for its value\n";

struct Got {
  int32_t rc, type;
  std::string value;  // the bytes the length names; after a refusal the whole buffer, which must be as it was
};

Got get(void** conn, int32_t number, int32_t size = 256) {
  char buffer[256];
  memset(buffer, '#', sizeof buffer);
  int32_t length = -1;
  Got got = {0, -1, ""};
  got.rc = ZVC_GetAttr(conn, number, buffer, size, &got.type, &length);
  got.value.assign(buffer, static_cast<size_t>(got.rc == 0 ? length : size));
  return got;
}

std::string int32_bytes(int32_t v) { return std::string(reinterpret_cast<const char*>(&v), 4); }

class ConnAttr : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_NE(0, server.port());
    ASSERT_EQ(2, ZVC_OpenConnection(server.conn_string(";LOB_RET=on;AUTO_COMMIT=off;IPS=127.0.0.1,10.0.0.2").c_str(),
                                    reinterpret_cast<ConnRecord**>(&conn)));
  }
  void TearDown() override { ZVC_FreeHandle(&conn); }
  std::string error_text() const {
    const char* text = static_cast<ConnRecord*>(conn)->error_text;
    return text ? text : "";
  }

  ServerProcess server;
  void* conn = nullptr;
};
}  // namespace

TEST_F(ConnAttr, EveryNumberRead) {
  char version[256] = {};
  ASSERT_EQ(0, ZVC_ExecScalar(reinterpret_cast<ConnRecord**>(&conn), "show version", version, 256, nullptr));
  ASSERT_EQ(0, strncmp(version, "Zanvo reference server ", 23)) << version;
  const struct {
    int32_t number, type;
    std::string value;
  } expected[] = {
      {1, 1, version},         {2, 1, "SYSTEM"},       {3, 2, int32_bytes(2)},       {4, 1, "UTF-8"},
      {5, 1, static_cast<ConnRecord*>(conn)->char_set}, {6, 2, int32_bytes(0)}, {7, 1, "2:127.0.0.1,10.0.0.2"},
      {8, 1, "GTM+8"},         {9, 2, int32_bytes(1)}, {11, 2, int32_bytes(1)},      {12, 2, int32_bytes(0)},
  };
  for (const auto& e : expected) {
    Got got = get(&conn, e.number);
    EXPECT_EQ(0, got.rc) << e.number;
    EXPECT_EQ(e.type, got.type) << e.number;
    EXPECT_EQ(e.value, got.value) << e.number;  // the length as well
  }
}

TEST_F(ConnAttr, SwitchesSetAndReadBack) {
  const struct {
    int32_t number;
    std::string value;
    int32_t read_back;
  } sets[] = {{11, "true", 1}, {11, "Off", 0}, {11, std::string("oN\0junk", 7), 1}, {11, "ONE", 0},
              {12, int32_bytes(1), 1}, {12, int32_bytes(0), 0}};
  for (const auto& s : sets) {
    EXPECT_EQ(0, ZVC_SetAttr(&conn, s.number, s.value.data(), static_cast<int32_t>(s.value.size()))) << s.value;
    EXPECT_EQ(int32_bytes(s.read_back), get(&conn, s.number).value) << s.value;
  }
}

TEST_F(ConnAttr, Refusals) {
  const int32_t one = 1;
  const struct {
    bool set;
    int32_t number, size, rc;
    const char* text;
  } refusals[] = {
      {false, 10, 256, -3, kUnknownGet}, {false, 0, 256, -3, kUnknownGet},   {false, 61, 256, -3, kUnknownGet},
      {false, 3, 3, -12, kTooSmall},     {false, 4, 4, -12, kTooSmall},      {false, 1, 5, -12, kTooSmall},
      {true, 1, 4, -1, kUnsupportedSet}, {true, 10, 4, -1, kUnsupportedSet}, {true, 12, 2, -1, kTooSmall},
  };
  for (const auto& r : refusals) {
    set_error_text(&static_cast<ConnRecord*>(conn)->error_text, nullptr);
    Got got = r.set ? Got{ZVC_SetAttr(&conn, r.number, &one, r.size), -1, ""} : get(&conn, r.number, r.size);
    EXPECT_EQ(r.rc, got.rc) << r.number;
    EXPECT_EQ(r.text, error_text()) << r.number;
    EXPECT_EQ(std::string(r.set ? 0 : static_cast<size_t>(r.size), '#'), got.value) << r.number;
  }
  // The refused version was read whole, so the link is still in step.
  EXPECT_EQ(0, get(&conn, 1).rc);
}

// Number 7 of a connection without "IPS=" is refused with no text; a result takes a set of
// number 11 and changes nothing; a parameter set answers any number with 0 and writes nothing.
TEST_F(ConnAttr, NoServerListAndOtherHandles) {
  ConnRecord* plain = nullptr;
  ASSERT_EQ(2, ZVC_OpenConnection(server.conn_string().c_str(), &plain));
  void** handle = reinterpret_cast<void**>(&plain);
  Got got = get(handle, 7);
  EXPECT_EQ(-3, got.rc);
  EXPECT_EQ(nullptr, plain->error_text);

  void* result = nullptr;
  ASSERT_GE(ZVC_Execute(&plain, "select 1 from dual", &result, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(0, ZVC_SetAttr(&result, 11, "ON", 2));
  EXPECT_EQ(0, plain->auto_commit_off);
  ZVC_CloseResult(&result);

  ParamSet* set = nullptr;
  ASSERT_EQ(0, ZVC_NewParamSet(&set));
  char buffer[8] = "#######";
  int32_t type = -7, length = -7;
  EXPECT_EQ(0, ZVC_GetAttr(reinterpret_cast<void**>(&set), 2, buffer, sizeof buffer, &type, &length));
  EXPECT_STREQ("#######", buffer);
  EXPECT_EQ(-7, type);
  EXPECT_EQ(-7, length);
  ZVC_FreeHandle(reinterpret_cast<void**>(&set));
  ZVC_CloseConnection(&plain);
}
