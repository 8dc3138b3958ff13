// Every kind of reply cut short after each of its bytes, the peer closing the link there: the
// call fails with -4 and leaves exactly the text its reader sets at that point, the semaphore
// is free and the link is dropped. The whole reply gives its exact outcome.
#include <gtest/gtest.h>

#include <iostream>
#include <string>
#include <utility>
#include <vector>

#include "peer.h"
#include "reply_script.h"
#include "result_wire.h"
#include "results/lob.h"
#include "statements/command.h"
#include "statements/exchange.h"
#include "zvc.h"

namespace {
// A reply in pieces, each with what a cut inside it leaves behind: the connection's error text,
// or for a large-object fetch the bytes of the object.
struct CutReply {
  std::string bytes;
  std::vector<std::pair<size_t, std::string>> left;  // from this offset on, a cut leaves this
  CutReply& add(const std::string& piece, const std::string& left_on_cut) {
    left.emplace_back(bytes.size(), left_on_cut);
    bytes += piece;
    return *this;
  }
  std::string left_at(size_t cut) const {
    std::string out;
    for (const auto& [from, what] : left)
      if (from <= cut) out = what;
    return out;
  }
};

// What a call gave: its code, what it left, and the rest of its outcome as text.
std::string outcome(int32_t rc, const std::string& left, const std::string& detail) {
  return std::to_string(rc) + " | " + left + " | " + detail;
}

const std::string kLoginReply = std::string("N\0\0\1-K", 6);  // as the reference server answers
const std::string kLoginFailed = "[EC012]Error in build-database-connect LOGIN database Failure";

// No-row reply: a warning, a row id, a message, an update and a delete count.
const char kNoQuerySql[] = "insert into t values (1); update t set a = 2; delete from t";
CutReply no_query_reply() {
  CutReply r;
  r.add("W", "").add(wire_str("careful"), "");
  r.add("I", "careful").add(wire_str("AAAB01"), "[EC004]Insert Prop NetError");
  r.add("M", "careful").add(wire_str("done"), "careful");
  r.add("U", "done").add(be32(3), "[EC004]Update Prop NetError");
  r.add("D", "done").add(be32(2), "[EC004]Update Prop NetError");
  return r.add("K", "done");
}
std::string run_no_query(ConnRecord** conn) {
  int32_t rc = ZVC_ExecNoQuery(conn, kNoQuerySql);
  return outcome(rc, text_of(*conn), rc < 0 ? "" : std::string("row id ") + (*conn)->last_rowid);
}

// One-value reply: 201 rows, so that "." asks for the rest after the first 200.
const char kScalarSql[] = "select a from t";
const std::string kIntColumn = result_head({field_desc("A", TC_INTEGER, 4)});
CutReply scalar_reply() {
  CutReply r;
  return r.add(kIntColumn + int_rows(201, 1) + "K", "");
}
std::string run_scalar(ConnRecord** conn) {
  char value[64] = {};
  int32_t type = -7;
  int32_t rc = ZVC_ExecScalar(conn, kScalarSql, value, sizeof value, &type);
  return outcome(rc, text_of(*conn), rc < 0 ? "" : std::string(value) + " type " + std::to_string(type));
}

// Result reply: a result of every type code, an update count, a warning, a row id and a
// second result, chained.
const char kResultSql[] = "select * from every; update t; insert into t; select a from t";
CutReply result_reply() {
  std::string every = every_type_reply();
  CutReply r;
  r.add(every.substr(0, every.size() - 1) + "U" + be32(4) + "W", "").add(wire_str("careful"), "");
  return r.add("I" + wire_str("AAAB01") + kIntColumn + int_rows(3) + "K", "careful");
}
// The chain as text: each record's kind, count and row id; then the call's outputs.
std::string run_result(ConnRecord** conn) {
  void* result = nullptr;
  int32_t fields = -1, rows = -1, effect = -1;
  int32_t rc = ZVC_Execute(conn, kResultSql, &result, &fields, &rows, &effect);
  std::string chain;
  for (const ResultRecord* rec = static_cast<ResultRecord*>(result); rec; rec = rec->next)
    chain += std::string(1, " IUDA"[rec->result_kind]) +
             std::to_string(rec->result_kind == RK_ROWS ? rec->row_count : rec->effect_count) + rec->row_id + " ";
  if (result) chain += std::to_string(fields) + " " + std::to_string(rows) + " " + std::to_string(effect);
  ZVC_CloseResult(&result);
  return outcome(rc, text_of(*conn), chain);
}

// Cursor-fetch reply: a warning, then rows with a message among them; read inside its exchange
// as the cursor calls do.
const char kFetchSql[] = "FETCH 20000 FROM c1 ;";
CutReply fetch_reply() {
  CutReply r;
  r.add("W", "").add(wire_str("careful"), "");
  return r.add(kIntColumn + int_rows(2) + "M" + wire_str("half") + int_rows(3) + "K", "careful");
}
std::string run_fetch(ConnRecord** conn) {
  Exchange ex;
  begin_exchange(&ex, *conn, kFetchSql, false);
  ResultRecord* result = nullptr;
  int32_t rc = recv_result_all(*conn, &result);
  end_exchange(&ex);
  std::string detail = result ? std::to_string(result->row_count) + " rows, " + result->message : "";
  free_result(result);
  return outcome(rc, text_of(*conn), detail);
}

// A fetch of a count, answered with as many rows as it asked for and a message behind the last:
// the reader that bounds the rows, at its bound.
const char kCountSql[] = "FETCH 3  FROM c1 ";
CutReply count_reply() {
  CutReply r;
  return r.add(kIntColumn + int_rows(3) + "M" + wire_str("last") + "K", "");
}
std::string run_count(ConnRecord** conn) {
  void* result = nullptr;
  int32_t fields = -1, rows = -1, count = 3;
  int32_t rc = ZVC_FetchCount(conn, "c1", &result, &fields, &rows, &count);
  std::string detail = rc < 0 ? "" : std::to_string(fields) + " " + std::to_string(rows) + ", " +
                                         static_cast<ResultRecord*>(result)->message;
  ZVC_CloseResult(&result);
  return outcome(rc, text_of(*conn), detail);
}

// Large-object fetch by descriptor: the row's descriptor comes whole, the reply to "get lob"
// is cut. A cut leaves the object's whole pieces that came before it.
const char kLobSelectSql[] = "select c from t";
const char kLobSql[] = "get lob 'C000000000001' offset 0 limit 5 ";
const std::string kLobSelectReply = one_value_reply(TC_CLOB, wire_str("C000000000001:5"));
CutReply lob_reply() {
  CutReply r;
  r.add(result_head({field_desc("lob", TC_CLOB)}) + "R" + be32(1) + wire_str("abc"), "");
  return r.add(be32(1) + wire_str("de"), "abc").add(be32(0), "abcde");
}
std::string run_lob(ConnRecord** conn) {
  (*conn)->lob_ret = 1;
  (*conn)->use_srvcursor_off = 1;  // a plain select's reply
  void* result = nullptr;
  if (ZVC_Execute(conn, kLobSelectSql, &result, nullptr, nullptr, nullptr) != 1 || ZVC_NextRow(&result) != 0)
    return "the row with the descriptor did not come";
  LobHandle* lob = nullptr;
  ZVC_CreateLob(&lob);
  int32_t out_len = -1;
  int32_t rc = ZVC_GetData(&result, 1, CT_CLOB, &lob, sizeof lob, &out_len);
  std::string bytes(static_cast<size_t>(out_len), '\0');
  ZVC_GetLobData(&lob, &bytes[0], out_len);
  std::string lob_error = lob->error_text ? lob->error_text : "";
  ZVC_FreeLob(&lob);
  ZVC_CloseResult(&result);
  return outcome(rc, bytes, text_of(*conn) + lob_error);
}

// A one-row query whose CLOSE the server refuses, its handle closed at once, then a statement:
// the CLOSE went out without waiting, so its reply is read once the statement has gone out too,
// ahead of the statement's own; with no handle left, the refusal goes to the notice hook.
const std::string kCursorName = "STC0_SMARTCUR";
const std::vector<std::pair<std::string, std::string>> kOneRowQuery = {
    {"DECLARE " + kCursorName + " CURSOR FOR select a from t;", "K"},
    {"OPEN " + kCursorName + " ;", "K"},
    {"FETCH 20000 FROM " + kCursorName + " ;", kIntColumn + int_rows(1) + "K"}};
const std::string kCloseSql = "CLOSE " + kCursorName + " ";
CutReply close_reply() {
  CutReply r;
  return r.add("E" + wire_str("busy") + "K", "").add("K", "");
}
void keep_line(void* lines, const char* line) { *static_cast<std::string*>(lines) += line; }
std::string run_after_close(ConnRecord** conn) {
  (*conn)->stmt_counter = 0;  // the same cursor name after a reconnection
  std::string lines;
  ZVC_SetNoticeHook(*conn, keep_line, &lines);
  void* cursor = nullptr;
  int32_t rows = ZVC_Execute(conn, "select a from t", &cursor, nullptr, nullptr, nullptr);
  int32_t closed = ZVC_CloseResult(&cursor);
  int32_t rc = ZVC_ExecNoQuery(conn, "delete from t");
  ZVC_SetNoticeHook(*conn, nullptr, nullptr);
  std::string detail = std::to_string(rows) + " " + std::to_string(closed) + " " + lines;
  return outcome(rc, text_of(*conn), rc < 0 ? "" : detail);
}

struct ReplyKind {
  const char* name;
  CutReply reply;
  std::string (*run)(ConnRecord** conn);
  std::string whole;  // the outcome of the whole reply
  // Exchanges before the one cut (command, whole reply); the cut one's command; and what the
  // client sends within the reply, from which offset on.
  std::vector<std::pair<std::string, std::string>> before;
  std::string sql;
  std::string within = "";
  size_t within_from = 0;
};

std::vector<ReplyKind> reply_kinds() {
  const size_t row_201 = kIntColumn.size() + 200 * int_rows(1).size();
  return {
      {"no rows", no_query_reply(), run_no_query, outcome(2, "done", "row id AAAB01"), {}, kNoQuerySql},
      {"one value", scalar_reply(), run_scalar, outcome(0, "", "1 type 5"), {}, kScalarSql, ".", row_201 + 1},
      {"result chain", result_reply(), run_result, outcome(3, "careful", "A1 U4 I0AAAB01 A3 65 1 1"), {}, kResultSql},
      {"cursor fetch", fetch_reply(), run_fetch, outcome(5, "careful", "5 rows, half"), {}, kFetchSql},
      {"count fetch", count_reply(), run_count, outcome(0, "", "1 3, last"), {}, kCountSql},
      {"lob fetch", lob_reply(), run_lob, outcome(0, "abcde", ""), {{kLobSelectSql, kLobSelectReply}}, kLobSql},
      {"close read late", close_reply(), run_after_close,
       outcome(0, "", "1 0 [EC027]Error :busy Close Cursor STC0_SMARTCUR  \n"), kOneRowQuery, kCloseSql,
       command_bytes("delete from t"), 0},
  };
}

// The bytes that the client sends up to a cut: every command, and what it sends within the reply.
std::string sent_up_to(const ReplyKind& kind, size_t cut) {
  std::string out;
  for (const auto& [sql, reply] : kind.before) out += command_bytes(sql);
  out += command_bytes(kind.sql);
  if (!kind.within.empty() && cut >= kind.within_from) out += kind.within;
  return out;
}

}  // namespace

TEST(ReplyCut, EveryStatementReplyAtEveryByte) {
  for (const ReplyKind& kind : reply_kinds()) {
    SCOPED_TRACE(kind.name);
    // The readers' printed lines are checked where the readers are tested. Here they would
    // bury the test's own report, which GoogleTest prints on standard output too: both are
    // held back, and shown when something failed.
    testing::internal::CaptureStdout();
    std::string before;
    for (const auto& [sql, reply] : kind.before) before += reply;
    const size_t size = kind.reply.bytes.size();
    {
      StreamPeer whole(before + kind.reply.bytes);
      EXPECT_EQ(kind.whole, kind.run(&whole.conn));
      EXPECT_EQ(sent_up_to(kind, size), whole.sent());
      EXPECT_NE(0, whole.conn->socket);
    }
    for (size_t cut = 0; cut < size; cut++) {
      SCOPED_TRACE(cut);
      StreamPeer peer(before + kind.reply.bytes.substr(0, cut));
      EXPECT_EQ(outcome(-4, kind.reply.left_at(cut), ""), kind.run(&peer.conn));
      EXPECT_EQ(sent_up_to(kind, cut), peer.sent());
      EXPECT_EQ(1, semaphore_count(peer.conn));
      EXPECT_EQ(0, peer.conn->socket);
    }
    std::string printed = testing::internal::GetCapturedStdout();
    if (HasFailure()) std::cout << printed;
  }
}

// The login answer "N", four bytes, "K" cut after each byte: the open fails with -9 and the
// open's own text, whatever the dialogue stored, and the record is left closed.
TEST(ReplyCut, LoginReplyAtEveryByte) {
  const std::string login =
      "login database = SYSTEM user='U' password='P' lock_timeout = 300 auto_commit = 'on' "
      "return_cursor_id  = 'on' version = '301'";
  for (size_t cut = 0; cut <= kLoginReply.size(); cut++) {
    SCOPED_TRACE(cut);
    ScriptedPeer peer;
    peer.expect(login.size()).send(kLoginReply.substr(0, cut)).close();
    peer.start();
    ConnRecord* conn = nullptr;
    int32_t rc = ZVC_OpenConnection(peer.conn_string().c_str(), &conn);
    EXPECT_EQ(login, peer.received());
    EXPECT_EQ(1, semaphore_count(conn));
    if (cut == kLoginReply.size()) {
      EXPECT_EQ(2, rc);
      EXPECT_EQ("", text_of(conn));
      EXPECT_STREQ("301", conn->version);
      EXPECT_NE(0, conn->socket);
    } else {
      EXPECT_EQ(ZV_LOGIN_FAILED, rc);
      EXPECT_EQ(kLoginFailed, text_of(conn));
      EXPECT_EQ(0, conn->socket);
    }
    ZVC_CloseConnection(&conn);
  }
}
