// Prepared statements over scripted replies: the PREPARE reply and what it leaves on the
// connection, generated names, the default statement's life, runs by name with described
// parameters, and the close.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "connection/wire.h"
#include "param_wire.h"
#include "peer.h"
#include "reply_script.h"
#include "results/result_record.h"
#include "statements/param_set.h"
#include "zvc.h"

namespace {
std::string desc(const std::string& name, int32_t pos, int32_t type, int32_t size) {
  return wire_str(name) + be32(pos) + be32(type) + be32(size);
}
const std::string kTwoParams = "$" + be32(2) + desc("Id", 1, 5, 4) + desc("Name", 2, 30, 20);
const std::string kField = result_head({field_desc("N", TC_INTEGER, 4)});
// n well-formed descriptions behind "$".
std::string described(int32_t n) {
  std::string out = "$" + be32(n);
  for (int32_t i = 1; i <= n; i++) out += desc("p", i, 5, 4);
  return out;
}
void** h(ConnRecord** conn) { return reinterpret_cast<void**>(conn); }
}  // namespace

// Behind every whole reply stands a "Z": finding it shows that the reader kept in step; a reply
// left short drops the link instead.
TEST(Prepare, RepliesAndWhatTheyLeave) {
  const struct {
    std::string reply;
    int32_t rc, prepared, fields, params;
    std::string error = "";
  } cases[] = {
      {"K", 0, 1, -1, -1},
      {kField + "K", 19665, 1, 1, -1},
      {kField + kTwoParams + "K", 19665, 1, 1, 2},
      {"$" + be32(0) + "K", 0, 1, -1, 0},
      {"E" + wire_str("no table") + "K", -1, 0, -1, -1, "no table"},
      {"W" + wire_str("odd") + "M" + wire_str("later") + "K", -1, 0, -1, -1, "later"},
      {"E" + wire_str("no") + "$" + be32(0) + "K", -1, 0, -1, 0, "no"},  // a refusal stays one behind records
      {described(4001) + "K", -4, 0, -1, -1},
      {"$" + be32(4001), -4, 0, -1, -1},
      {"$" + be32(1) + desc(std::string(256, 'n'), 1, 5, 4) + "K", -4, 0, -1, -1},
      {"$" + be32(2) + desc("a", 1, 5, 4), -4, 0, -1, -1},
      {"Q", -4, 0, -1, -1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.reply);
    StreamPeer peer(c.rc == -4 ? c.reply : c.reply + "Z");
    EXPECT_EQ(c.rc, ZVC_Prepare(&peer.conn, "select 1", nullptr));
    EXPECT_EQ("STC0", std::string(peer.conn->prepare_name));
    EXPECT_EQ(c.prepared, peer.conn->prepared);
    EXPECT_EQ(c.error, text_of(peer.conn));
    EXPECT_EQ(c.fields, peer.conn->results ? peer.conn->results->field_count : -1);
    ParamSet* set = peer.conn->params;
    EXPECT_EQ(c.params, set ? set->count : -1);
    char next = 0;
    EXPECT_EQ(c.rc != -4, recv_char(peer.conn, &next) && next == 'Z');
    peer.conn->prepared = 0;  // nothing to deallocate at the close
    ZVC_CloseConnection(&peer.conn);
    EXPECT_EQ(command_bytes("PREPARE STC0 AS select 1"), peer.sent());
  }
}

// One counter for named and default statements; a new default statement deallocates the one
// that stands, a named one leaves it; refusals send nothing; the close deallocates it.
TEST(Prepare, NamesAndTheDefaultStatement) {
  StreamPeer peer(kField + "K" + "K" + "K" + "K" + "E" + wire_str("no STC1") + "K" + "K" + "K" + "K");
  char name[ZV_STMT_NAME_SIZE], cursor[64] = {};
  EXPECT_EQ(19665, ZVC_Prepare(&peer.conn, "select 1", nullptr));
  EXPECT_EQ(0, ZVC_Prepare(&peer.conn, "update t", name));
  EXPECT_EQ(0, ZVC_Prepare(&peer.conn, "select 2", nullptr));
  EXPECT_EQ("STC1 STC2 1", std::string(name) + " " + peer.conn->prepare_name + " " + std::to_string(peer.conn->prepared));
  EXPECT_EQ(-1, ZVC_UnPrepare(&peer.conn, name));
  EXPECT_EQ("no STC1 1", text_of(peer.conn) + " " + std::to_string(peer.conn->prepared));
  EXPECT_EQ(0, ZVC_UnPrepare(&peer.conn, nullptr));
  EXPECT_EQ(-1, ZVC_Execute2(&peer.conn, nullptr, nullptr, nullptr));
  EXPECT_EQ("[EC023]Error Execute without a default prepare ,or you can ZVC_Execute2 with a prepare_name value\n",
            text_of(peer.conn));
  EXPECT_EQ(-1, ZVC_Execute2(&peer.conn, nullptr, cursor, nullptr));  // no default statement to declare
  EXPECT_EQ(0, ZVC_Prepare(&peer.conn, "select 3", nullptr));
  ZVC_CloseConnection(&peer.conn);
  EXPECT_EQ(command_bytes("PREPARE STC0 AS select 1") + command_bytes("PREPARE STC1 AS update t") +
                command_bytes("DEALLOCATE STC0 ") + command_bytes("PREPARE STC2 AS select 2") +
                command_bytes("DEALLOCATE STC1 ") + command_bytes("DEALLOCATE STC2 ") +
                command_bytes("PREPARE STC3 AS select 3") + command_bytes("DEALLOCATE STC3 "),
            peer.sent());
}

// Values go by name into the described slots, matched ignoring case and sent under the
// server's names; the set goes with the run. A described parameter without a value, an unknown
// name and a refused run each give their text.
TEST(Prepare, RunsWithDescribedParameters) {
  StreamPeer peer(kTwoParams + "K" + "U" + be32(1) + "K" + kTwoParams + "K" + "E" + wire_str("bad") + "K");
  char name[ZV_STMT_NAME_SIZE];
  int32_t id = 7, len = 3;
  char text[] = "bob";
  ASSERT_EQ(0, ZVC_Prepare(&peer.conn, "insert into t values (:id, :name)", name));
  EXPECT_EQ(-1, ZVC_BindParamByName(h(&peer.conn), "nope", 1, CT_INT32, &id, 4, nullptr, nullptr));
  EXPECT_EQ("[EC053]Error invalid  param_name :nope out  of prepared ", text_of(peer.conn));
  EXPECT_EQ(0, ZVC_BindParamByName(h(&peer.conn), "NAME", 1, CT_TEXT, text, 3, nullptr, &len));
  EXPECT_EQ(0, ZVC_BindParamByName(h(&peer.conn), "id", 1, CT_INT32, &id, 4, nullptr, nullptr));
  EXPECT_EQ(0, ZVC_Execute2(&peer.conn, name, nullptr, nullptr));
  EXPECT_EQ(nullptr, peer.conn->params);
  ASSERT_EQ(0, ZVC_Prepare(&peer.conn, "insert", name));
  EXPECT_EQ(-59, ZVC_Execute2(&peer.conn, name, nullptr, nullptr));
  EXPECT_EQ("[EC059]Error params need values-bind, here params without bindparams-byname or bindparams-bypos  \n",
            text_of(peer.conn));
  EXPECT_EQ(0, ZVC_BindParamByName(h(&peer.conn), "Id", 1, CT_INT32, &id, 4, nullptr, nullptr));
  testing::internal::CaptureStdout();
  EXPECT_EQ(-1, ZVC_Execute2(&peer.conn, name, nullptr, nullptr));
  EXPECT_EQ("[EC031]Error in recv result :bad \n", testing::internal::GetCapturedStdout());
  EXPECT_EQ("sql:? STC1  errinfo: bad \n", text_of(peer.conn));
  peer.conn->prepared = 0;  // the reply script has no more
  ZVC_CloseConnection(&peer.conn);
  const std::string id_record = param_record("Id", 1, 5, be32(7));
  EXPECT_EQ(command_bytes("PREPARE STC0 AS insert into t values (:id, :name)") + command_bytes("? STC0 ", 2) +
                id_record + param_record("Name", 1, 30, "bob") + command_bytes("PREPARE STC1 AS insert") +
                command_bytes("? STC1 ", 2) + id_record + param_record("Name", 0, 30, "", 0),
            peer.sent());
}
