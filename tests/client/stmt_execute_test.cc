// The command message and the three execution calls over scripted replies: the bytes sent,
// the semaphore after every way out, the outputs; and the sorting of statement texts.
#include <gtest/gtest.h>
#include <semaphore.h>

#include "connection/wire.h"
#include "peer.h"
#include "reply_script.h"
#include "results/lob.h"
#include "results/result_record.h"
#include "statements/command.h"
#include "zvc.h"

namespace {
int semaphore_count(ConnRecord* conn) {
  int value = -1;
  sem_getvalue(conn->semaphore, &value);
  return value;
}
}  // namespace

TEST(StmtExecute, CommandMessage) {
  StreamPeer peer("", false);
  send_sql_params(peer.conn, "select 1", 3);
  EXPECT_EQ("", peer.sent());  // parameter records may still follow
  send_int32(peer.conn, 77);
  send_flush(peer.conn);
  EXPECT_EQ(command_bytes("select 1", 3) + be32(77), peer.sent());
  std::string big(5000, 'q');
  send_sql(peer.conn, big.c_str());
  std::string sent;
  while (sent.size() < big.size() + 10) sent += peer.sent();
  EXPECT_EQ(command_bytes(big), sent);
}

TEST(StmtExecute, ExchangesAndTheirOutputs) {
  StreamPeer peer("U" + be32(12) + "K" + "I" + wire_str("AAAQ") + "K" + "D" + be32(4) + "K");
  EXPECT_EQ(12, ZVC_ExecNoQuery(&peer.conn, "update t set a = 1"));
  char row_id[40] = {};
  int32_t type = 0;
  EXPECT_EQ(1, ZVC_ExecScalar(&peer.conn, "insert into t values (1)", row_id, &type));
  EXPECT_STREQ("AAAQ", row_id);
  int32_t effect_num = 0;
  EXPECT_EQ(3, ZVC_ExecScalar(&peer.conn, "delete from t", &effect_num, nullptr));
  EXPECT_EQ(4, effect_num);
  EXPECT_EQ(
      command_bytes("update t set a = 1") + command_bytes("insert into t values (1)") + command_bytes("delete from t"),
      peer.sent());
  EXPECT_EQ(1, semaphore_count(peer.conn));

  std::string reply = result_head({field_desc("ID", TC_INTEGER, 4), field_desc("NAME", TC_CHAR, 20)}) + "R" +
                      int_field(1) + bytes_field("one") + "R" + int_field(2) + null_field() + "U" + be32(6) + "K" +
                      "K" + "E" + wire_str("syntax") + "K";
  StreamPeer chain(reply);
  void* result = nullptr;
  int32_t fields = -1, rows = -1, effect = -1;
  EXPECT_EQ(2, ZVC_Execute(&chain.conn, "select; update", &result, &fields, &rows, &effect));
  ASSERT_NE(nullptr, result);
  EXPECT_EQ(2, fields);
  EXPECT_EQ(2, rows);
  EXPECT_EQ(0, effect);
  ResultRecord* head = static_cast<ResultRecord*>(result);
  ASSERT_NE(nullptr, head->next);
  EXPECT_EQ(6, head->next->effect_count);
  EXPECT_EQ(0, ZVC_CloseResult(&result));
  // A reply without records leaves no result and the outputs untouched.
  fields = -1;
  EXPECT_EQ(0, ZVC_Execute(&chain.conn, "create table t (a int)", &result, &fields, &rows, &effect));
  EXPECT_EQ(nullptr, result);
  EXPECT_EQ(-1, fields);
  testing::internal::CaptureStdout();
  EXPECT_EQ(-1, ZVC_Execute(&chain.conn, "selec", &result, nullptr, nullptr, nullptr));
  testing::internal::GetCapturedStdout();
  EXPECT_STREQ("syntax", chain.conn->error_text);
  EXPECT_EQ(1, semaphore_count(chain.conn));
}

TEST(StmtExecute, LostLinkReleasesTheSemaphore) {
  StreamPeer peer("M" + wire_str("half"));
  testing::internal::CaptureStdout();
  EXPECT_EQ(-4, ZVC_ExecNoQuery(&peer.conn, "delete from t"));
  EXPECT_EQ(1, semaphore_count(peer.conn));
  // The next exchange begins, and its own read fails in turn.
  char value[40] = {};
  EXPECT_EQ(-4, ZVC_ExecScalar(&peer.conn, "select 1", value, nullptr));
  void* result = nullptr;
  EXPECT_EQ(-4, ZVC_Execute(&peer.conn, "select 1", &result, nullptr, nullptr, nullptr));
  EXPECT_EQ(nullptr, result);
  EXPECT_EQ(1, semaphore_count(peer.conn));
  EXPECT_EQ("Server Message half \nNet Error recv_noQuery \n", testing::internal::GetCapturedStdout());
}

TEST(StmtExecute, RefusesWhatIsNotAConnection) {
  ConnRecord* none = nullptr;
  char value[8];
  void* result = nullptr;
  EXPECT_EQ(-3, ZVC_ExecNoQuery(&none, "select 1"));
  EXPECT_EQ(-3, ZVC_ExecNoQuery(nullptr, "select 1"));
  EXPECT_EQ(-3, ZVC_ExecScalar(&none, "select 1", value, nullptr));
  EXPECT_EQ(-3, ZVC_Execute(&none, "select 1", &result, nullptr, nullptr, nullptr));
  StreamPeer peer("K");
  EXPECT_EQ(-3, ZVC_ExecNoQuery(&peer.conn, nullptr));
  EXPECT_EQ(-3, ZVC_ExecScalar(&peer.conn, "select 1", nullptr, nullptr));
  EXPECT_EQ("", peer.sent());
  LobHandle* lob = nullptr;
  ASSERT_EQ(0, ZVC_CreateLob(&lob));
  EXPECT_EQ(-3, ZVC_ExecNoQuery(reinterpret_cast<ConnRecord**>(&lob), "select 1"));
  ZVC_FreeLob(&lob);
}

TEST(StmtExecute, ClassifyByFirstWord) {
  struct Case {
    const char* text;
    int32_t sql_class;
  } cases[] = {
      {"  \n\r select * from t", 4},
      {"insert into t values (1)", 1},
      {"Replace into t", 1},
      {"MERGE into t using s", 1},
      {"MERGEinto t", 9},
      {"UPDATE t SET a = 1", 2},
      {"delete from t", 3},
      {"create table t (a int)", 5},
      {"alter table t", 6},
      {"ALTER", 9},
      {"\tselect 1", 9},
      {"drop table t", 9},
      {"", 9},
      {"select 1; select 2", 9},
      {"select 1;", 4},
      {"select 1;\r\n  ", 4},
      {"select 1;\r\n   ", 9},
      {"exec proc1", 10},
      {"Execute proc1(1)", 10},
      {"EXEC", 9},
      {"STC12_x", 4},
      {"stc12_x", 9},
  };
  for (const Case& c : cases) EXPECT_EQ(c.sql_class, classify_sql(c.text)) << c.text;
  EXPECT_EQ(9, classify_sql(nullptr));
}
