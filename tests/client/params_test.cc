// Parameters: the bind calls and their refusals, the records on the wire behind the command,
// and output values read back into the caller's buffers.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "param_wire.h"
#include "peer.h"
#include "reply_script.h"
#include "results/lob.h"
#include "statements/command.h"
#include "statements/param_set.h"
#include "zvc.h"

namespace {
int32_t bind_in(void** h, int32_t pos, int32_t type, const void* value, int32_t len) {
  return ZVC_BindParamByPos(h, pos, DIR_IN, type, const_cast<void*>(value), len, &len);
}
}  // namespace

TEST(Params, BindRefusalsInTheirOrder) {
  ParamSet* set = nullptr;
  ASSERT_EQ(0, ZVC_NewParamSet(&set));
  void** h = reinterpret_cast<void**>(&set);
  int32_t v = 7;
  const struct {
    int32_t pos, direction, rc;
    const char* text;
  } cases[] = {
      {4001, 1, -51, "[EC051]Error invalid param NO 4001 out of range paramnum"},
      {0, 4, -52, "[EC052]Error invalid param type 4"},
      {0, 1, -54, "[EC054]Error param_no  param seq 0 invalid"},
      {257, 1, -55, "[EC055]Error bindparam jump long -55 invalid"},
      {4000, 1, -55, "[EC055]Error bindparam jump long -55 invalid"},
  };
  // A set of no connection prints nothing: the codes and their texts tell.
  testing::internal::CaptureStdout();
  for (const auto& c : cases) {
    int32_t len = 4;
    EXPECT_EQ(c.rc, ZVC_BindParamByPos(h, c.pos, c.direction, CT_INT32, &v, 4, &len)) << c.pos;
    EXPECT_EQ(c.text, error_text_of(h)) << c.pos;
  }
  EXPECT_EQ("", testing::internal::GetCapturedStdout());
  int32_t len = 0;
  EXPECT_EQ(-52, ZVC_BindParamByName(h, "a", 5, CT_INT32, &v, 4, &len, &len));
  EXPECT_EQ("[EC052]Error invalis param type 5", error_text_of(h));
  EXPECT_EQ(-3, ZVC_BindParamByName(h, nullptr, 1, CT_INT32, &v, 4, &len, &len));
  EXPECT_EQ(0, ZVC_FreeHandle(h));
  EXPECT_EQ(nullptr, set);
}

// Every CType's record, by position, behind a command whose word counts them; the set is gone
// after the statement, so the next one goes without.
TEST(Params, RecordsOnTheWireByPosition) {
  StreamPeer peer("K" + std::string("K"));
  void** h = reinterpret_cast<void**>(&peer.conn);
  int16_t i16 = -2;
  int32_t i32 = 70000;
  int64_t i64 = -5000000000LL, ms = 86400000;
  float f = 1.5f;
  double d = -0.25;
  uint8_t flag = 1;
  ASSERT_EQ(0, bind_in(h, 1, CT_INT16, &i16, 2));
  ASSERT_EQ(0, bind_in(h, 2, CT_INT32, &i32, 4));
  ASSERT_EQ(0, bind_in(h, 3, CT_INT64, &i64, 8));
  ASSERT_EQ(0, bind_in(h, 4, CT_FLOAT, &f, 4));
  ASSERT_EQ(0, bind_in(h, 5, CT_DOUBLE, &d, 8));
  ASSERT_EQ(0, bind_in(h, 6, CT_EPOCH_MS, &ms, 8));
  ASSERT_EQ(0, bind_in(h, 7, CT_BOOL, &flag, 1));
  ASSERT_EQ(0, bind_in(h, 8, CT_TEXT, "héllo", 6));
  ASSERT_EQ(0, bind_in(h, 9, CT_BINARY, "\0\1\2", 3));
  ASSERT_EQ(0, bind_in(h, 10, CT_DATE, "2026-11-23", 10));
  ASSERT_EQ(0, bind_in(h, 11, 0, "ignored", 7));
  ASSERT_EQ(0, bind_in(h, 12, CT_EMPTY58, "ignored", 7));
  ASSERT_EQ(0, bind_in(h, 13, CT_INT32, nullptr, 0));  // a null
  ASSERT_EQ(0, bind_in(h, 15, 99, "x", 1));            // 14 is jumped over
  ASSERT_EQ(0, ZVC_ExecNoQuery(&peer.conn, "insert"));
  ASSERT_EQ(0, ZVC_ExecNoQuery(&peer.conn, "again"));
  std::string f_bits(4, '\0'), d_bits(8, '\0');
  EXPECT_EQ(command_bytes("insert", 15) + param_record("", 1, 4, be16(-2)) + param_record("", 1, 5, be32(70000)) +
                param_record("", 1, 6, be64(-5000000000LL)) + param_record("", 1, 8, be32(0x3fc00000)) +
                param_record("", 1, 9, be64(static_cast<int64_t>(0xbfd0000000000000ULL))) +
                param_record("", 1, 13, be64(86400000)) + param_record("", 1, 2, "\1") +
                param_record("", 1, 30, "héllo") + param_record("", 1, 33, std::string("\0\1\2", 3)) +
                param_record("", 1, 30, "2026-11-23") + param_record("", 1, 30, "") + param_record("", 1, 1008, "") +
                param_record("", 1, 5, "") + param_record("", 0, 30, "") + param_record("", 1, 30, "x") +
                command_bytes("again"),
            peer.sent());
}

// By name: each name in bind order (a name bound twice is two parameters); output buffers are
// the caller's and go out with what they hold; a return value makes no record and no count.
TEST(Params, RecordsOnTheWireByNameAndDirections) {
  StreamPeer peer("K");
  void** h = reinterpret_cast<void**>(&peer.conn);
  int32_t len = 3, reserved = 0, out_len = 0, ret_len = 0;
  char out[8] = "ab", ret[4];
  ASSERT_EQ(0, ZVC_BindParamByName(h, "first", 1, CT_TEXT, const_cast<char*>("one"), 3, &reserved, &len));
  ASSERT_EQ(0, ZVC_BindParamByName(h, "first", 1, CT_TEXT, const_cast<char*>("two"), 3, &reserved, &len));
  out_len = 2;
  ASSERT_EQ(0, ZVC_BindParamByName(h, "io", 3, CT_TEXT, out, sizeof out, &reserved, &out_len));
  ASSERT_EQ(0, ZVC_BindParamByName(h, "r", 6, CT_INT32, ret, sizeof ret, &reserved, &ret_len));
  ASSERT_EQ(0, ZVC_ExecNoQuery(&peer.conn, "call"));
  EXPECT_EQ(command_bytes("call", 3) + param_record("first", 1, 30, "one") + param_record("first", 1, 30, "two") +
                param_record("io", 3, 30, "ab"),
            peer.sent());
}

// Large objects go out chunk after chunk; an object still open for writing has no payload; a
// standing set stays its caller's and can go out again once attached anew.
TEST(Params, LargeObjectsAndStandingSets) {
  StreamPeer peer("KKK");
  peer.drain();
  LobHandle* lob = nullptr;
  LobHandle* open_lob = nullptr;
  ASSERT_EQ(0, ZVC_CreateLob(&lob));
  ASSERT_EQ(0, ZVC_CreateLob(&open_lob));
  std::string data(LOB_CHUNK_SIZE + 1, 'q');
  data.back() = 'z';
  ASSERT_EQ(0, ZVC_PutLobData(&lob, data.data(), static_cast<uint32_t>(data.size())));
  ASSERT_EQ(0, ZVC_PutLobData(&lob, nullptr, 4294967295u));
  ASSERT_EQ(0, ZVC_PutLobData(&open_lob, "abc", 3));
  ParamSet* set = nullptr;
  ASSERT_EQ(0, ZVC_NewParamSet(&set));
  void** s = reinterpret_cast<void**>(&set);
  ASSERT_EQ(0, bind_in(s, 1, CT_BLOB, &lob, sizeof lob));
  ASSERT_EQ(0, bind_in(s, 2, CT_CLOB, &open_lob, sizeof open_lob));
  for (int run = 0; run < 2; run++) {
    ASSERT_EQ(0, ZVC_AttachParams(&peer.conn, &set));
    ASSERT_EQ(0, ZVC_ExecNoQuery(&peer.conn, "put"));
  }
  ASSERT_EQ(0, ZVC_ExecNoQuery(&peer.conn, "plain"));
  std::string once = command_bytes("put", 2) + param_record("", 1, 34, data) + param_record("", 1, 32, "", 0);
  EXPECT_TRUE(once + once + command_bytes("plain") == peer.sent());
  EXPECT_EQ(0, ZVC_FreeHandle(s));
  ZVC_FreeLob(&lob);
  ZVC_FreeLob(&open_lob);
}

// Output values and return values back into the caller's buffers: machine order, dates and times
// split, text rendering into text-bound buffers, cuts with the whole length, and values nobody
// bound for, with the reply kept in step.
TEST(Params, OutputValuesReadBack) {
  auto out_record = [](int32_t index, int32_t type, const std::string& payload) {
    return "P" + be32(index) + be32(type) + wire_str(payload);
  };
  StreamPeer peer("O" + be32(TC_INTEGER) + wire_str(be32(-9)) + out_record(0, TC_BIGINT, be64(1234567890123LL)) +
                  out_record(1, TC_INTEGER, be32(42)) + out_record(2, TC_DATE, be32(59)) +
                  out_record(3, TC_TIME, be32(3723004)) + out_record(4, TC_CHAR, "0123456789") +
                  out_record(5, TC_CHAR, "") + "K" + "P" + be32(0) + be32(TC_INTEGER) + wire_str(be32(1)) + "K");
  void** h = reinterpret_cast<void**>(&peer.conn);
  int64_t big = 0;
  char text[16] = {}, cut[8] = {};
  int32_t date[3] = {}, time[4] = {}, ret = 0, emptied[2] = {};
  int32_t lens[7] = {}, reserved = 0;
  ASSERT_EQ(0, ZVC_BindParamByPos(h, 1, 2, CT_INT64, &big, 8, &lens[0]));
  ASSERT_EQ(0, ZVC_BindParamByPos(h, 2, 3, CT_TEXT, text, sizeof text, &lens[1]));
  ASSERT_EQ(0, ZVC_BindParamByPos(h, 3, 2, CT_DATE, date, sizeof date, &lens[2]));
  ASSERT_EQ(0, ZVC_BindParamByPos(h, 4, 2, CT_TIME, time, sizeof time, &lens[3]));
  ASSERT_EQ(0, ZVC_BindParamByPos(h, 5, 2, CT_TEXT, cut, sizeof cut, &lens[4]));
  lens[5] = 99;
  ASSERT_EQ(0, ZVC_BindParamByName(h, "e", 2, CT_TEXT, emptied, sizeof emptied, &reserved, &lens[5]));
  ASSERT_EQ(0, ZVC_BindParamByPos(h, 7, 6, CT_INT32, &ret, sizeof ret, &lens[6]));
  void* result = nullptr;
  EXPECT_EQ(-12, ZVC_ExecuteOut(&peer.conn, "exec p(?,?,?,?,?,?)", &result));
  EXPECT_EQ(nullptr, result);
  EXPECT_EQ(1234567890123LL, big);
  EXPECT_STREQ("42", text);
  EXPECT_EQ("1970 3 1", std::to_string(date[0]) + " " + std::to_string(date[1]) + " " + std::to_string(date[2]));
  EXPECT_EQ("1 2 3 4", std::to_string(time[0]) + " " + std::to_string(time[1]) + " " + std::to_string(time[2]) + " " +
                           std::to_string(time[3]));
  EXPECT_EQ("01234567", std::string(cut, 8));
  EXPECT_EQ(-9, ret);
  EXPECT_EQ("8 2 12 16 10 0 4", [&] {
    std::string s;
    for (int32_t l : lens) s += (s.empty() ? "" : " ") + std::to_string(l);
    return s;
  }());
}
