// The command message, the short reply form and the three execution calls over scripted
// replies: the bytes sent, the semaphore after every way out, the outputs.
#include <gtest/gtest.h>
#include <semaphore.h>

#include <cstring>

#include "connection/wire.h"
#include "peer.h"
#include "reply_script.h"
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

TEST(StmtCommand, MessageLayoutAndFlushing) {
  StreamPeer peer("", false);
  send_sql_params(peer.conn, "select 1", 3);
  EXPECT_EQ("", peer.sent());  // parameter records may still follow
  send_int32(peer.conn, 77);
  send_flush(peer.conn);
  EXPECT_EQ(command_bytes("select 1", 3) + be32(77), peer.sent());

  send_sql(peer.conn, "");
  EXPECT_EQ(command_bytes(""), peer.sent());

  // A text longer than a buffer goes out whole and in order.
  std::string big(5000, 'q');
  send_sql(peer.conn, big.c_str());
  std::string sent;
  while (sent.size() < big.size() + 10) sent += peer.sent();
  EXPECT_EQ(command_bytes(big), sent);
}

TEST(StmtCommand, ShortForm) {
  StreamPeer ok("K");
  EXPECT_EQ(0, recv_short_form(ok.conn));
  StreamPeer error("E" + wire_str("no cursor") + "K" + "Z");
  EXPECT_EQ(-1, recv_short_form(error.conn));
  EXPECT_STREQ("no cursor", error.conn->error_text);
  char next = 0;
  ASSERT_EQ(1, recv_char(error.conn, &next));
  EXPECT_EQ('Z', next);
  StreamPeer warning("W" + wire_str("only a warning") + "K");
  EXPECT_EQ(-1, recv_short_form(warning.conn));
  EXPECT_STREQ("only a warning", warning.conn->error_text);
  StreamPeer lost("");
  EXPECT_EQ(-4, recv_short_form(lost.conn));
  StreamPeer bad_text("E" + be32(-5));
  EXPECT_EQ(-4, recv_short_form(bad_text.conn));
}

TEST(StmtExecute, NoQueryExchange) {
  StreamPeer peer("U" + be32(12) + "K");
  EXPECT_EQ(12, ZVC_ExecNoQuery(&peer.conn, "update t set a = 1"));
  EXPECT_EQ(command_bytes("update t set a = 1"), peer.sent());
  EXPECT_EQ(1, semaphore_count(peer.conn));
  EXPECT_EQ(0, peer.conn->pushback);
}

TEST(StmtExecute, LostLinkReleasesTheSemaphore) {
  StreamPeer peer("M" + wire_str("half"));
  testing::internal::CaptureStdout();
  EXPECT_EQ(-4, ZVC_ExecNoQuery(&peer.conn, "delete from t"));
  EXPECT_EQ(1, semaphore_count(peer.conn));
  // The next exchange begins, and its own read fails in turn.
  EXPECT_EQ(-4, ZVC_ExecNoQuery(&peer.conn, "delete from t"));
  EXPECT_EQ(1, semaphore_count(peer.conn));
  int32_t type = 0;
  char value[40] = {};
  EXPECT_EQ(-4, ZVC_ExecScalar(&peer.conn, "select 1", value, &type));
  void* result = nullptr;
  EXPECT_EQ(-4, ZVC_Execute(&peer.conn, "select 1", &result, nullptr, nullptr, nullptr));
  EXPECT_EQ(nullptr, result);
  EXPECT_EQ(1, semaphore_count(peer.conn));
  EXPECT_EQ("Server Message half \nNet Error recv_noQuery \nNet Error recv_noQuery \n",
            testing::internal::GetCapturedStdout());
}

TEST(StmtExecute, ScalarExchange) {
  StreamPeer peer("I" + wire_str("AAAQ") + "K");
  char row_id[40] = {};
  int32_t type = 0;
  EXPECT_EQ(1, ZVC_ExecScalar(&peer.conn, "insert into t values (1)", row_id, &type));
  EXPECT_STREQ("AAAQ", row_id);
  EXPECT_EQ(command_bytes("insert into t values (1)"), peer.sent());
  EXPECT_EQ(1, semaphore_count(peer.conn));

  StreamPeer count("D" + be32(4) + "K");
  int32_t effect_num = 0;
  EXPECT_EQ(3, ZVC_ExecScalar(&count.conn, "delete from t", &effect_num, nullptr));
  EXPECT_EQ(4, effect_num);
}

TEST(StmtExecute, ExecuteChainAndOutputs) {
  std::string reply = result_head({field_desc("T.ID%KEY", TC_INTEGER, 4, 0), field_desc("NAME", TC_CHAR, 20, 1)}) +
                      "R" + int_field(1) + bytes_field("one") + "R" + int_field(2) + null_field() + "U" + be32(6) + "K";
  StreamPeer peer(reply);
  void* result = nullptr;
  int32_t fields = -1, rows = -1, effect = -1;
  EXPECT_EQ(2, ZVC_Execute(&peer.conn, "select id, name from t; update t set a=a", &result, &fields, &rows, &effect));
  ASSERT_NE(nullptr, result);
  EXPECT_EQ(2, fields);
  EXPECT_EQ(2, rows);
  EXPECT_EQ(0, effect);
  ResultRecord* head = static_cast<ResultRecord*>(result);
  EXPECT_EQ(RK_ROWS, head->result_kind);
  ASSERT_NE(nullptr, head->next);
  EXPECT_EQ(RK_UPDATE, head->next->result_kind);
  EXPECT_EQ(6, head->next->effect_count);
  EXPECT_EQ(1, semaphore_count(peer.conn));
  EXPECT_EQ(0, ZVC_CloseResult(&result));
  EXPECT_EQ(nullptr, result);

  // A reply without records leaves no result and the outputs untouched.
  StreamPeer ddl("K");
  fields = rows = effect = -1;
  result = &fields;
  EXPECT_EQ(0, ZVC_Execute(&ddl.conn, "create table t (a int)", &result, &fields, &rows, &effect));
  EXPECT_EQ(nullptr, result);
  EXPECT_EQ(-1, fields);

  StreamPeer error("E" + wire_str("syntax") + "K");
  testing::internal::CaptureStdout();
  EXPECT_EQ(-1, ZVC_Execute(&error.conn, "selec", &result, nullptr, nullptr, nullptr));
  testing::internal::GetCapturedStdout();
  EXPECT_STREQ("syntax", error.conn->error_text);
}

TEST(StmtExecute, RefusesWhatIsNotAConnection) {
  ConnRecord* none = nullptr;
  EXPECT_EQ(-3, ZVC_ExecNoQuery(&none, "select 1"));
  EXPECT_EQ(-3, ZVC_ExecNoQuery(nullptr, "select 1"));
  char value[8];
  EXPECT_EQ(-3, ZVC_ExecScalar(&none, "select 1", value, nullptr));
  void* result = nullptr;
  EXPECT_EQ(-3, ZVC_Execute(&none, "select 1", &result, nullptr, nullptr, nullptr));
  StreamPeer peer("K");
  EXPECT_EQ(-3, ZVC_ExecNoQuery(&peer.conn, nullptr));
  EXPECT_EQ(-3, ZVC_ExecScalar(&peer.conn, "select 1", nullptr, nullptr));
  EXPECT_EQ("", peer.sent());
  ConnRecord* lob_as_conn = nullptr;
  ASSERT_EQ(0, ZVC_CreateLob(reinterpret_cast<LobHandle**>(&lob_as_conn)));
  EXPECT_EQ(-3, ZVC_ExecNoQuery(&lob_as_conn, "select 1"));
  ZVC_FreeLob(reinterpret_cast<LobHandle**>(&lob_as_conn));
}

TEST(StmtClassify, FirstWordDecides) {
  EXPECT_EQ(4, classify_sql("  \n\r select * from t"));
  EXPECT_EQ(1, classify_sql("insert into t values (1)"));
  EXPECT_EQ(1, classify_sql("Replace into t values (1)"));
  EXPECT_EQ(2, classify_sql("UPDATE t SET a = 1"));
  EXPECT_EQ(3, classify_sql("delete from t"));
  EXPECT_EQ(5, classify_sql("create table t (a int)"));
  EXPECT_EQ(6, classify_sql("alter table t add b int"));
  EXPECT_EQ(6, classify_sql("ALTER "));
  EXPECT_EQ(9, classify_sql("ALTER"));
  EXPECT_EQ(9, classify_sql("\tselect 1"));  // a tab is not skipped
  EXPECT_EQ(9, classify_sql("drop table t"));
  EXPECT_EQ(9, classify_sql(""));
  EXPECT_EQ(9, classify_sql(nullptr));
}

TEST(StmtClassify, QueriesMergeCallsAndCursors) {
  EXPECT_EQ(9, classify_sql("select 1; select 2"));
  EXPECT_EQ(4, classify_sql("select 1;"));
  EXPECT_EQ(4, classify_sql("select 1;\r\n  "));   // four bytes behind the ";"
  EXPECT_EQ(9, classify_sql("select 1;\r\n   "));  // five
  EXPECT_EQ(1, classify_sql("MERGE into t using s on (1=1)"));
  EXPECT_EQ(9, classify_sql("MERGEinto t"));
  EXPECT_EQ(10, classify_sql("exec proc1"));
  EXPECT_EQ(10, classify_sql("Execute proc1(1)"));
  EXPECT_EQ(9, classify_sql("EXEC"));
  EXPECT_EQ(4, classify_sql("STC12_x"));
  EXPECT_EQ(9, classify_sql("stc12_x"));
}
