// Cursors over scripted replies: every command text of the smart cursor and of named cursors
// byte for byte, the block boundary, refusals, and replies cut at every byte.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "peer.h"
#include "param_wire.h"
#include "reply_script.h"
#include "results/result_record.h"
#include "zvc.h"

namespace {
const std::string kHead = result_head({field_desc("N", TC_INTEGER, 4)});
// A FETCH's reply of n rows holding first, first+1, ...
std::string block(int n, int first = 0) { return kHead + int_rows(n, first) + "K"; }
std::string error_reply(const std::string& text) { return "E" + wire_str(text) + "K"; }
std::string smart_texts(int number, const std::string& sql) {
  std::string name = "STC" + std::to_string(number) + "_SMARTCUR";
  return command_bytes("DECLARE " + name + " CURSOR FOR " + sql + ";") + command_bytes("OPEN " + name + " ;") +
         command_bytes("FETCH 20000 FROM " + name + " ;");
}
std::string close_text(const std::string& name) { return command_bytes("CLOSE " + name + " "); }
// Steps the handle to its end: the values of column 1 summed, with the count of rows and the
// step's last code.
struct Read {
  int64_t rows = 0, sum = 0;
  int32_t last = 0;
};
Read read_all(void** handle) {
  Read r;
  while ((r.last = ZVC_NextRow(handle)) == 0) {
    int32_t v = 0;
    ZVC_GetData(handle, 1, CT_INT32, &v, sizeof v, nullptr);
    r.rows++;
    r.sum += v;
  }
  return r;
}
}  // namespace

// A query's four exchanges at each block size around the boundary: a short first block closes
// the cursor at once; a full one keeps it open until a refill comes back short.
TEST(SmartCursor, BlocksAndTheirCommands) {
  const struct {
    int first, second;
  } cases[] = {{0, -1}, {2, -1}, {19999, -1}, {20000, 0}, {20000, 1}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.first);
    std::string reply = "K" "K" + block(c.first) + (c.second >= 0 ? block(c.second, c.first) : "") + "K";
    StreamPeer peer(reply);
    peer.drain();
    void* handle = nullptr;
    int32_t fields = 0, rows = 0;
    // The reader's count is that of its last batch of 20000 rows.
    EXPECT_EQ(c.first % 20000, ZVC_Execute(&peer.conn, "select n from t", &handle, &fields, &rows, nullptr));
    ASSERT_NE(nullptr, handle);
    EXPECT_EQ(c.first, rows);
    EXPECT_EQ(1, fields);
    int64_t total = c.first + (c.second > 0 ? c.second : 0);
    Read r = read_all(&handle);
    EXPECT_EQ(total, r.rows);
    EXPECT_EQ(total * (total - 1) / 2, r.sum);
    EXPECT_EQ(100, r.last);
    EXPECT_EQ(100, ZVC_NextRow(&handle));
    EXPECT_EQ(0, ZVC_CloseResult(&handle));
    EXPECT_EQ(nullptr, handle);
    ZVC_CloseConnection(&peer.conn);
    std::string expected = smart_texts(0, "select n from t");
    if (c.second >= 0) expected += command_bytes("FETCH 20000 FROM STC0_SMARTCUR ;");
    EXPECT_EQ(expected + close_text("STC0_SMARTCUR"), peer.sent());
  }
}

// Named cursors: each text with its own blanks; a short fetch marks the cursor read to its end,
// so that a later fetch is refused and a close sends nothing until the next declare.
TEST(NamedCursor, CommandTexts) {
  StreamPeer peer("K" "K" + block(3) + block(0) + block(2) + error_reply("not open") + "K" "K");
  void* result = nullptr;
  int32_t fields = -1, rows = 0, count = 7;
  EXPECT_EQ(0, ZVC_DeclareCursor(&peer.conn, "select n from t", "c1", &result, &fields));
  EXPECT_EQ(nullptr, result);
  EXPECT_EQ(0, fields);
  EXPECT_EQ(0, ZVC_FetchCount(&peer.conn, "c1", &result, &fields, &rows, &count));
  EXPECT_EQ(3, rows);
  EXPECT_EQ(0, ZVC_FetchCursor(&peer.conn, "c1", &result));
  EXPECT_EQ(-1, ZVC_FetchCursor(&peer.conn, "c1", &result));
  EXPECT_EQ("[EC072]Error FetchCursor after the cursor was read to its end\n", text_of(peer.conn));
  EXPECT_EQ(0, ZVC_CloseCursor(&peer.conn, "c1"));
  EXPECT_EQ(2, ZVC_Refetch(&peer.conn, "FETCH 2 FROM c1", &result));
  EXPECT_EQ(2, static_cast<ResultRecord*>(result)->row_count);
  peer.conn->smart_busy = 0;
  EXPECT_EQ(-1, ZVC_CloseCursor(&peer.conn, "c1"));
  EXPECT_EQ("[EC027]Error :not open Close Cursor c1  \n", text_of(peer.conn));
  char cursor[ZV_CURSOR_BUF_SIZE] = {};
  peer.conn->prepared = 1;
  strcpy(peer.conn->prepare_name, "STC4");
  EXPECT_EQ(0, ZVC_Execute2(&peer.conn, nullptr, cursor, nullptr));
  EXPECT_STREQ("STC4_CUR", cursor);
  EXPECT_EQ(0, peer.conn->smart_busy);
  EXPECT_EQ(0, ZVC_CloseResult(&result));
  peer.conn->prepared = 0;
  ZVC_CloseConnection(&peer.conn);
  EXPECT_EQ(command_bytes("DECLARE c1 CURSOR FOR select n from t ") + command_bytes("OPEN c1 ;") +
                command_bytes("FETCH 7  FROM c1 ") + command_bytes("FETCH  20000  FROM  c1 ") +
                command_bytes("FETCH 2 FROM c1") + command_bytes("CLOSE c1 ") +
                command_bytes("DECLARE  STC4_CUR CURSOR FOR STC4 ") + command_bytes("OPEN STC4_CUR ;"),
            peer.sent());
}

// Refusals: names that would not fit send nothing; a refused DECLARE names its text, a refused
// OPEN gives its own code and text.
TEST(NamedCursor, Refusals) {
  StreamPeer peer(error_reply("bad") + "K" + error_reply("no cursor") + error_reply("no table") +
                  error_reply("not declared"));
  const std::string long_name(64, 'c');
  void* result = nullptr;
  EXPECT_EQ(-3, ZVC_DeclareCursor(&peer.conn, "select 1", long_name.c_str(), &result, nullptr));
  EXPECT_EQ("[EC071]Error cursor name longer than 63 bytes\n", text_of(peer.conn));
  char cursor[ZV_CURSOR_BUF_SIZE] = {};
  EXPECT_EQ(-1, ZVC_Execute2(&peer.conn, "STC9", cursor, &result));
  EXPECT_EQ("sql:DECLARE  STC9_CUR CURSOR FOR STC9  errinfo: bad \n", text_of(peer.conn));
  EXPECT_EQ(-1, ZVC_Execute2(&peer.conn, "STC9", cursor, &result));
  EXPECT_EQ("no cursor", text_of(peer.conn));
  EXPECT_EQ(nullptr, result);
  EXPECT_EQ(-1, ZVC_DeclareCursor(&peer.conn, "select 1 from nowhere", "c2", &result, nullptr));
  EXPECT_EQ("no table", text_of(peer.conn));
  // A refused FETCH of a count: -1 with the server's text, and no counts left from before.
  int32_t fields = 7, rows = 7, count = 1;
  EXPECT_EQ(-1, ZVC_FetchCount(&peer.conn, "c2", &result, &fields, &rows, &count));
  EXPECT_EQ("not declared", text_of(peer.conn));
  EXPECT_EQ("0 0", std::to_string(fields) + " " + std::to_string(rows));
  EXPECT_EQ(nullptr, result);
  ZVC_CloseConnection(&peer.conn);
  EXPECT_EQ(command_bytes("DECLARE  STC9_CUR CURSOR FOR STC9 ") + command_bytes("DECLARE  STC9_CUR CURSOR FOR STC9 ") +
                command_bytes("OPEN STC9_CUR ;") + command_bytes("DECLARE c2 CURSOR FOR select 1 from nowhere ") +
                command_bytes("FETCH 1  FROM c2 "),
            peer.sent());
}

// A FETCH's reply with more rows than it asked for is broken: the call fails with -4 at the first
// row too many, nothing of the reply is handed out, and the link is dropped rather than kept
// for whatever more the server sends.
TEST(NamedCursor, RowsBeyondWhatAFetchAskedFor) {
  const std::string too_many = "[EC073]Error the server sent more rows than the 20000 a FETCH asked for\n";
  StreamPeer peer("K" "K" + block(20001));
  void* handle = nullptr;
  EXPECT_EQ(-4, ZVC_Execute(&peer.conn, "select 1", &handle, nullptr, nullptr, nullptr));
  EXPECT_EQ(nullptr, handle);
  EXPECT_EQ(too_many, text_of(peer.conn));
  EXPECT_EQ(0, peer.conn->socket);
  ZVC_CloseConnection(&peer.conn);
  EXPECT_EQ(smart_texts(0, "select 1"), peer.sent());
}

// The whole conversation of a two-row query cut at every byte: DECLARE, OPEN and FETCH go out
// together before any reply comes. Before the FETCH's "K" the call fails with -4, no handle, the
// link dropped and the semaphore free; a missing CLOSE reply still gives the rows, and the next
// exchange, which sends its command and then reads that reply ahead of its own, fails with -4 and
// drops the link, which takes the server's cursor along. Nothing leaks, nothing hangs.
TEST(SmartCursor, RepliesCutAtEveryByte) {
  // The CLOSE's reply, missing here, is read by the next exchange, which finds the link cut.
  const std::string whole = "K" "K" + block(2, 5);
  for (size_t cut = 0; cut <= whole.size(); cut++) {
    SCOPED_TRACE(cut);
    StreamPeer peer(whole.substr(0, cut));
    void* handle = nullptr;
    int32_t rc = ZVC_Execute(&peer.conn, "select 1", &handle, nullptr, nullptr, nullptr);
    EXPECT_EQ(1, semaphore_count(peer.conn));
    if (cut < whole.size()) {
      EXPECT_EQ(0, peer.conn->socket);
      EXPECT_EQ(-4, rc);
      EXPECT_EQ(nullptr, handle);
    } else {
      EXPECT_EQ(2, rc);
      Read r = read_all(&handle);
      EXPECT_EQ(11, r.sum);
      EXPECT_EQ(100, r.last);
    }
    EXPECT_EQ(0, ZVC_CloseResult(&handle));
    EXPECT_EQ(-4, ZVC_ExecNoQuery(&peer.conn, "update t"));
    EXPECT_EQ(0, peer.conn->socket);
    ZVC_CloseConnection(&peer.conn);
    EXPECT_EQ(smart_texts(0, "select 1") +
                  (cut < whole.size() ? "" : close_text("STC0_SMARTCUR") + command_bytes("update t")),
              peer.sent());
  }
}

// A refused DECLARE, OPEN or FETCH fails the query with -1 and that command's text, whatever the
// replies behind it say; they are read to their end, so the next exchange reads its own reply.
// Replies behind a refusal that end early drop the link instead.
TEST(SmartCursor, RefusalsKeepTheLinkInStep) {
  const std::string no_cursor = error_reply("[E10005]no cursor named STC0_SMARTCUR");
  const struct {
    const char* name;
    std::string replies;
    std::string text;
    bool in_step;
  } cases[] = {
      {"declare", error_reply("no such table") + no_cursor + no_cursor, "no such table", true},
      {"declare, then the link ends", error_reply("[E10007]command text longer than 9 bytes"),
       "[E10007]command text longer than 9 bytes", false},
      {"open", "K" + error_reply("not open") + no_cursor, "not open", true},
      {"fetch", "K" "K" + error_reply("fetch failed"), "fetch failed", true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    StreamPeer peer(c.replies + (c.in_step ? "U" + be32(1) + "K" : ""));
    void* handle = nullptr;
    EXPECT_EQ(-1, ZVC_Execute(&peer.conn, "select x from t", &handle, nullptr, nullptr, nullptr));
    EXPECT_EQ(nullptr, handle);
    EXPECT_EQ(c.text, text_of(peer.conn));
    EXPECT_EQ(c.in_step ? 1 : ZV_NET_ERROR, ZVC_ExecNoQuery(&peer.conn, "update t"));
    ZVC_CloseConnection(&peer.conn);
    EXPECT_EQ(smart_texts(0, "select x from t") + (c.in_step ? command_bytes("update t") : ""), peer.sent());
  }
}

// A link that holds its CLOSEs: a short select's CLOSE waits in the send buffer and goes out in
// one write with the next command, its reply read ahead of that command's, and the hook hears of
// each; ZVC_SendHeld sends the last one, whose reply the next exchange reads ahead of its own.
// The bytes and their order are those of a link that sends each at once.
TEST(SmartCursor, HeldClosesGoOutWithTheNextCommand) {
  StreamPeer peer("K" "K" + block(2, 5) + "K" "K" "K" + block(1, 7) + "K" "U" + be32(1) + "K");
  int heard = 0;
  ASSERT_EQ(0, ZVC_HoldCloses(&peer.conn, 1, [](void* count) { ++*static_cast<int*>(count); }, &heard));
  void* first = nullptr;
  void* second = nullptr;
  EXPECT_EQ(2, ZVC_Execute(&peer.conn, "select 1", &first, nullptr, nullptr, nullptr));
  EXPECT_EQ(smart_texts(0, "select 1"), peer.sent());
  EXPECT_EQ(1, ZVC_Execute(&peer.conn, "select 2", &second, nullptr, nullptr, nullptr));
  EXPECT_EQ(close_text("STC0_SMARTCUR") + smart_texts(1, "select 2"), peer.sent());
  EXPECT_EQ(2, heard);
  EXPECT_EQ(0, ZVC_SendHeld(&peer.conn));
  EXPECT_EQ(0, ZVC_SendHeld(&peer.conn));
  EXPECT_EQ(close_text("STC1_SMARTCUR"), peer.sent());
  EXPECT_EQ(1, ZVC_ExecNoQuery(&peer.conn, "update t"));
  EXPECT_EQ(command_bytes("update t"), peer.sent());
  EXPECT_EQ(11, read_all(&first).sum);
  EXPECT_EQ(7, read_all(&second).sum);
  EXPECT_NE(0, peer.conn->socket);
  ZVC_CloseResult(&first);
  ZVC_CloseResult(&second);
  ZVC_CloseConnection(&peer.conn);
}

// A run of three queries with an insert and an update between them: the eleven commands go out
// in one write, the insert and the third query with their own parameters in the bytes each
// sends alone; the second query, refused at its OPEN, and the update get their refusals while
// the replies behind them are read in step, and the insert its row id. The two short blocks'
// CLOSEs go out with the next command, their replies read in order ahead of its own (the second
// one refused).
TEST(SmartCursor, RunOfQueriesInOneWrite) {
  const char* insert = "insert into t values (?)";
  const char* where = "select n from t where n > ?";
  int32_t v = 9, len = 4;
  StreamPeer alone("I" + wire_str("7") + "K" "K" "K" + block(1));
  alone.conn->stmt_counter = 2;
  ZVC_HoldCloses(&alone.conn, 1, nullptr, nullptr);
  std::string bound[2];
  ParamSet* sets[2] = {};
  for (int i = 0; i < 2; i++) {
    ZVC_BindParamByPos(reinterpret_cast<void**>(&alone.conn), 1, 1, CT_INT32, &v, 4, &len);
    void* handle = nullptr;
    ZVC_Execute(&alone.conn, i ? where : insert, &handle, nullptr, nullptr, nullptr);
    bound[i] = alone.sent();
    ZVC_CloseResult(&handle);
    ZVC_NewParamSet(&sets[i]);
    ZVC_BindParamByPos(reinterpret_cast<void**>(&sets[i]), 1, 1, CT_INT32, &v, 4, &len);
  }

  StreamPeer peer("K" "K" + block(2, 5) + "I" + wire_str("7") + "K" "K" + error_reply("not open") +
                  error_reply("no cursor") + error_reply("locked") + "K" "K" + block(3, 10) + "K" +
                  error_reply("gone") + "U" + be32(1) + "K" "K");
  ZVC_HoldCloses(&peer.conn, 1, nullptr, nullptr);
  RunQuery run[] = {{"select 1", nullptr, nullptr, 0}, {insert, sets[0], nullptr, 0},
                    {"select x from t", nullptr, nullptr, 0}, {"update t set n = 1", nullptr, nullptr, 0},
                    {where, sets[1], nullptr, 0}};
  EXPECT_EQ(0, ZVC_ExecuteRun(&peer.conn, run, 5));
  EXPECT_EQ(smart_texts(0, "select 1") + bound[0] + smart_texts(1, "select x from t") +
                command_bytes("update t set n = 1") + bound[1],
            peer.sent());
  std::string codes;
  for (const RunQuery& q : run) codes += std::to_string(q.code) + " ";
  EXPECT_EQ("2 0 -1 -1 3 ", codes);
  char row_id[32] = {0};
  EXPECT_EQ(0, ZVC_GetRowId(&run[1].result, row_id, sizeof row_id));
  EXPECT_STREQ("7", row_id);
  EXPECT_EQ("not open", error_text_of(&run[2].result));
  EXPECT_EQ("locked", error_text_of(&run[3].result));
  EXPECT_EQ(1, ZVC_ExecNoQuery(&peer.conn, "update t"));
  EXPECT_EQ(close_text("STC0_SMARTCUR") + close_text("STC2_SMARTCUR") + command_bytes("update t"), peer.sent());
  EXPECT_EQ(11, read_all(&run[0].result).sum);
  EXPECT_EQ(33, read_all(&run[4].result).sum);
  EXPECT_EQ("[EC027]Error :gone Close Cursor STC2_SMARTCUR  \n", error_text_of(&run[4].result));
  // Left open by the refusal, the third cursor is closed once more.
  for (RunQuery& q : run) EXPECT_EQ(0, ZVC_CloseResult(&q.result));
  EXPECT_EQ(close_text("STC2_SMARTCUR"), peer.sent());
  for (ParamSet*& set : sets) ZVC_FreeHandle(reinterpret_cast<void**>(&set));
}

// The run's replies cut at every byte: a statement whose replies came whole has its outcome (the
// refused query its refusal once the refusal's text came whole), and every later one -4; the
// link is dropped, the semaphore free, and nothing leaks or hangs.
TEST(SmartCursor, RunRepliesCutAtEveryByte) {
  const std::string parts[] = {"K" "K" + block(2, 5), "I" + wire_str("7") + "K", "K" + error_reply("not open"),
                               error_reply("no cursor") + error_reply("locked"), "K" "K" + block(3, 10)};
  size_t ends[5] = {};
  std::string whole;
  for (int i = 0; i < 5; i++) ends[i] = (whole += parts[i]).size();
  for (size_t cut = 0; cut <= whole.size(); cut++) {
    SCOPED_TRACE(cut);
    StreamPeer peer(whole.substr(0, cut));
    RunQuery run[] = {{"select 1", nullptr, nullptr, 0}, {"insert into t values (7)", nullptr, nullptr, 0},
                      {"select x", nullptr, nullptr, 0}, {"update t set n = 1", nullptr, nullptr, 0},
                      {"select n", nullptr, nullptr, 0}};
    EXPECT_EQ(0, ZVC_ExecuteRun(&peer.conn, run, 5));
    EXPECT_EQ(1, semaphore_count(peer.conn));
    const int32_t codes[] = {cut >= ends[0] ? 2 : -4, cut >= ends[1] ? 0 : -4, cut + 1 >= ends[2] ? -1 : -4,
                             cut >= ends[3] ? -1 : -4, cut == ends[4] ? 3 : -4};
    for (int i = 0; i < 5; i++) EXPECT_EQ(codes[i], run[i].code) << i;
    if (codes[0] == 2) EXPECT_EQ(11, read_all(&run[0].result).sum);
    if (codes[4] == 3) EXPECT_EQ(33, read_all(&run[4].result).sum);
    EXPECT_EQ(-4, ZVC_ExecNoQuery(&peer.conn, "update t"));
    EXPECT_EQ(0, peer.conn->socket);
    for (RunQuery& q : run) EXPECT_EQ(0, ZVC_CloseResult(&q.result));
  }
}
