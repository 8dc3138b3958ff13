#include <gtest/gtest.h>

#include "server_fixture.h"

namespace zvtest {
namespace {

std::string letters(const Reply& r) {
  std::string out;
  for (const Record& rec : r.records) out += rec.letter;
  return out;
}

TEST_F(ServerTest, EachStatementKindAnswersItsRecord) {
  auto c = connect();
  Reply r = c->run("create table t(a INTEGER, b VARCHAR(8))");
  EXPECT_TRUE(r.complete);
  EXPECT_EQ(letters(r), "");

  r = c->run("insert into t values(1, 'one')");
  ASSERT_EQ(letters(r), "I");
  EXPECT_EQ(r.records[0].text, "1");
  r = c->run("REPLACE into t values(2, 'two')");
  ASSERT_EQ(letters(r), "I");
  EXPECT_EQ(r.records[0].text, "2");

  r = c->run("update t set b = 'x'");
  ASSERT_EQ(letters(r), "U");
  EXPECT_EQ(r.records[0].count, 2);
  r = c->run("delete from t where a = 1");
  ASSERT_EQ(letters(r), "D");
  EXPECT_EQ(r.records[0].count, 1);
  r = c->run("delete from t where a = 99");
  ASSERT_EQ(letters(r), "D");
  EXPECT_EQ(r.records[0].count, 0);

  r = c->run("select a, b from t");
  ASSERT_EQ(letters(r), "A");
  EXPECT_EQ(r.records[0].rows, std::vector<Row>({Row({be32(2), std::string("x")})}));

  r = c->run("select * from dual");
  ASSERT_EQ(letters(r), "A");
  EXPECT_EQ(r.records[0].rows, std::vector<Row>({Row({std::string("X")})}));

  r = c->run("show version");
  ASSERT_EQ(letters(r), "A");
  ASSERT_EQ(r.records[0].fields.size(), 1u);
  EXPECT_EQ(r.records[0].fields[0].type, 30);
  EXPECT_EQ(r.records[0].rows[0][0]->substr(0, 6), "Zanvo ");
}

TEST_F(ServerTest, ATextOfSeveralStatementsAnswersEachAndOneK) {
  auto c = connect();
  Reply r = c->run(
      "create table m(a INTEGER); insert into m values(1);\n insert into m values(2) ; "
      "select a from m order by a; update m set a = a + 10;;");
  ASSERT_TRUE(r.complete);
  ASSERT_EQ(letters(r), "IIAU");
  EXPECT_EQ(r.records[1].text, "2");
  EXPECT_EQ(r.records[2].rows, std::vector<Row>({Row({be32(1)}), Row({be32(2)})}));
  EXPECT_EQ(r.records[3].count, 2);
  // The single closing K: the next command's reply starts clean.
  r = c->run("select count(*) from m");
  ASSERT_EQ(letters(r), "A");
  EXPECT_EQ(r.records[0].rows[0][0], be32(2));
}

TEST_F(ServerTest, AFailingStatementEndsTheTextWithItsError) {
  auto c = connect();
  Reply r = c->run("create table f(a INTEGER); insert into f values(1); select * from nosuch; insert into f values(2)");
  ASSERT_TRUE(r.complete);
  ASSERT_EQ(letters(r), "IE");
  EXPECT_EQ(r.records[1].text, "[E10001]no such table: nosuch");
  r = c->run("select count(*) from f");
  EXPECT_EQ(r.records[0].rows[0][0], be32(1));

  r = c->run("selec 1");
  ASSERT_EQ(letters(r), "E");
  EXPECT_EQ(r.records[0].text, "[E10001]near \"selec\": syntax error");
}

TEST_F(ServerTest, ATextEndsAtItsFirstNul) {
  auto c = connect();
  Reply r = c->run(std::string("select 1\0select 2; select 3", 26));
  ASSERT_TRUE(r.complete);
  ASSERT_EQ(letters(r), "A");
  EXPECT_EQ(r.records[0].rows[0][0], be32(1));
  EXPECT_EQ(c->run(std::string("\0", 1)).records.size(), 0u);
  EXPECT_EQ(c->run("select 4").records.at(0).rows.at(0).at(0), be32(4));
}

TEST_F(ServerTest, ContinuationBytesBetweenCommandsAreIgnored) {
  auto c = connect();
  c->send_raw("...");
  Reply r = c->run("select 7");
  ASSERT_EQ(letters(r), "A");
  EXPECT_EQ(r.records[0].rows[0][0], be32(7));
  c->send_raw(".");
  r = c->run("select 8");
  EXPECT_EQ(r.records[0].rows[0][0], be32(8));
}

std::string parameter_record(const std::string& name, int16_t type, const std::string& value) {
  return be16(static_cast<int16_t>(name.size())) + name + be16(1) + be16(type) +
         be32(static_cast<int32_t>(value.size())) + value;
}

// A packed batch value: type byte, length, bytes.
std::string packed(char type, const std::string& value) {
  return std::string(1, type) + be32(static_cast<int32_t>(value.size())) + value;
}

TEST_F(ServerTest, ParametersAreRefusedAndTheStreamStaysInStep) {
  auto c = connect();
  const std::string records = parameter_record("", 5, be32(42)) + parameter_record("name", 30, "hello") +
                              parameter_record("", 30, "");
  c->send_command("select ?, ?, ?", 3, records);
  Reply r = c->reply();
  ASSERT_TRUE(r.complete);
  ASSERT_EQ(letters(r), "E");
  EXPECT_EQ(r.records[0].text.substr(0, 8), "[E10003]");
  EXPECT_EQ(c->run("select 1").records[0].rows[0][0], be32(1));

  // A batch of three rows: row 0 as records, rows 1 and 2 packed in two blocks.
  std::string row0 = parameter_record("", 5, be32(1)) + parameter_record("", 30, "a");
  std::string block1 = packed(5, be32(2)) + packed(30, "bb");
  std::string block2 = packed(5, "") + packed(30, "ccc");
  std::string batch = row0 + be32(static_cast<int32_t>(block1.size())) + block1 +
                      be32(static_cast<int32_t>(block2.size())) + block2;
  c->send_command("insert into x values(?, ?)", (3 << 16) | 2, batch);
  r = c->reply();
  ASSERT_EQ(letters(r), "E");
  EXPECT_EQ(c->run("select 2").records[0].rows[0][0], be32(2));
}

TEST_F(ServerTest, BatchValuesHaveNoTypeByteUnderTheOldReplyForm) {
  zv::ServerOptions old_form;
  old_form.reply_version = 201;
  start(old_form);
  TestClient c(port());
  ASSERT_EQ(c.login(login_text("SYSDBA", "SYSDBA"), 201), "K");
  std::string block = be32(4) + be32(9) + be32(0);
  c.send_command("insert into x values(?)", (3 << 16) | 1,
                 parameter_record("", 5, be32(1)) + be32(static_cast<int32_t>(block.size())) + block);
  EXPECT_EQ(letters(c.reply()), "E");
  EXPECT_EQ(c.run("select 3").records[0].rows[0][0], be32(3));
}

TEST_F(ServerTest, GarbageClosesOnlyThatLink) {
  auto good = connect();
  auto bad_letter = connect();
  bad_letter->send_raw("X");
  EXPECT_TRUE(bad_letter->closed_by_server());
  auto bad_length = connect();
  bad_length->send_raw("?" + be32(-5));
  EXPECT_TRUE(bad_length->closed_by_server());
  auto bad_parameters = connect();
  bad_parameters->send_command("select 1", 1, be16(-3));
  EXPECT_TRUE(bad_parameters->closed_by_server());
  EXPECT_EQ(good->run("select 4").records[0].rows[0][0], be32(4));
}

}  // namespace
}  // namespace zvtest
