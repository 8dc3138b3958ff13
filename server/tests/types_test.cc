#include <gtest/gtest.h>

#include <cstring>

#include "server_fixture.h"

namespace zvtest {
namespace {

std::string float_be(float f) {
  uint32_t u;
  std::memcpy(&u, &f, 4);
  return be32(static_cast<int32_t>(u));
}

std::string double_be(double d) {
  int64_t u;
  std::memcpy(&u, &d, 8);
  return be64(u);
}

struct TypeCase {
  const char* declared;
  const char* stored;  // SQL literal
  int32_t code;
  int32_t size;
  int32_t detail;
  std::string wire;
};

// Every declared type, the value stored through SQL, and the exact bytes that must arrive.
const std::vector<TypeCase>& type_cases() {
  static const std::vector<TypeCase> cases = {
      {"BOOLEAN", "'true'", 2, 0, 0, "T"},
      {"BOOL", "0", 2, 0, 0, "F"},
      {"TINYINT", "-5", 3, 0, 0, std::string(1, '\xfb')},
      {"SMALLINT", "300", 4, 0, 0, be16(300)},
      {"INTEGER", "-2", 5, 0, 0, be32(-2)},
      {"INT", "'77'", 5, 0, 0, be32(77)},
      {"BIGINT", "5000000000", 6, 0, 0, be64(5000000000LL)},
      {"NUMERIC(10,2)", "12.5", 7, 10, 2, "12.50"},
      {"DECIMAL(8, 3)", "-7", 7, 8, 3, "-7.000"},
      {"DECIMAL", "'3.25'", 7, 0, 0, "3.25"},
      {"FLOAT", "1.5", 8, 0, 0, float_be(1.5f)},
      {"REAL", "-0.25", 8, 0, 0, float_be(-0.25f)},
      {"DOUBLE", "2.25", 9, 0, 0, double_be(2.25)},
      {"DOUBLE PRECISION", "'1e3'", 9, 0, 0, double_be(1000.0)},
      {"DATE", "'2026-01-01'", 10, 0, 0, be32(20454)},
      {"DATE", "'1969-12-31'", 10, 0, 0, be32(-1)},
      {"DATE", "'2000-02-29 23:59:59'", 10, 0, 0, be32(11016)},
      {"TIME", "'10:00:00.123'", 11, 0, 0, be32(36000123)},
      {"TIME", "'23:59'", 11, 0, 0, be32(86340000)},
      {"TIME WITH TIME ZONE", "'10:00:00+08'", 12, 0, 0, be32(7200000) + be16(480)},
      {"TIME WITH TIME ZONE", "'01:30:00-05:30'", 12, 0, 0, be32(25200000) + be16(-330)},
      {"TIME WITH TIME ZONE", "'12:00:00'", 12, 0, 0, be32(43200000) + be16(0)},
      {"DATETIME", "'2026-01-01 10:00:00.123'", 13, 0, 0, be64(1767261600123LL)},
      {"TIMESTAMP", "'1970-01-01T00:00:01'", 13, 0, 0, be64(1000)},
      {"DATETIME", "'1969-12-31 23:59:59.999'", 13, 0, 0, be64(-1)},
      {"DATETIME WITH TIME ZONE", "'2026-01-01 10:00:00.5+08:00'", 14, 0, 0,
       be64(1767232800500000LL) + be16(480)},
      {"TIMESTAMP WITH TIME ZONE", "'1970-01-01 00:00:00Z'", 14, 0, 0, be64(0) + be16(0)},
      {"INTERVAL YEAR", "'3'", 15, 0, 0, be32(3)},
      {"INTERVAL YEAR TO MONTH", "'-1-02'", 16, 0, 0, be32(-14)},
      {"INTERVAL MONTH", "5", 17, 0, 0, be32(5)},
      {"INTERVAL DAY", "'10'", 18, 0, 0, be32(10)},
      {"INTERVAL DAY TO HOUR", "'1 01'", 19, 0, 0, be32(25)},
      {"INTERVAL HOUR", "7", 20, 0, 0, be32(7)},
      {"INTERVAL DAY TO MINUTE", "'1 02:03'", 21, 0, 0, be32(1563)},
      {"INTERVAL HOUR TO MINUTE", "'2:30'", 22, 0, 0, be32(150)},
      {"INTERVAL MINUTE", "'45'", 23, 0, 0, be32(45)},
      {"INTERVAL DAY TO SECOND", "'1 1:01:01'", 24, 0, 0, be64(90061000000LL)},
      {"INTERVAL DAY(3) TO SECOND(6)", "'3 04:05:06.5'", 24, 3, 0, be64(273906500000LL)},
      {"INTERVAL HOUR TO SECOND", "'1:00:00.5'", 25, 0, 0, be64(3600500000LL)},
      {"INTERVAL MINUTE TO SECOND", "'2:03'", 26, 0, 0, be64(123000000)},
      {"INTERVAL SECOND", "7.25", 27, 0, 0, be64(7250000)},
      {"INTERVAL SECOND", "'-45'", 27, 0, 0, be64(-45000000)},
      {"CHAR(4)", "'ab'", 30, 4, 0, "ab"},
      {"VARCHAR(32)", "'hello'", 30, 32, 0, "hello"},
      {"CLOB", "'long text'", 32, 0, 0, "long text"},
      {"BINARY(2)", "x'0102'", 33, 2, 0, std::string("\x01\x02", 2)},
      {"BLOB", "x'ff00'", 34, 0, 0, std::string("\xff\x00", 2)},
  };
  return cases;
}

TEST_F(ServerTest, EveryDeclaredTypeArrivesWithItsCodeSizeAndWireForm) {
  auto c = connect();
  const auto& cases = type_cases();
  std::string create = "create table t(";
  std::string insert = "insert into t values(";
  for (size_t i = 0; i < cases.size(); ++i) {
    create += (i ? ", c" : "c") + std::to_string(i) + " " + cases[i].declared;
    insert += (i ? ", " : "") + std::string(cases[i].stored);
  }
  ASSERT_TRUE(c->run(create + ")").complete);
  Reply r = c->run(insert + ")");
  ASSERT_EQ(r.records.size(), 1u);
  ASSERT_EQ(r.records[0].letter, 'I') << r.records[0].text;

  r = c->run("select * from t");
  ASSERT_TRUE(r.complete);
  ASSERT_EQ(r.records.size(), 1u) << r.records.back().text;
  const Record& rows = r.records[0];
  ASSERT_EQ(rows.fields.size(), cases.size());
  ASSERT_EQ(rows.rows.size(), 1u);
  for (size_t i = 0; i < cases.size(); ++i) {
    SCOPED_TRACE(cases[i].declared + std::string(" ") + cases[i].stored);
    EXPECT_EQ(rows.fields[i].name, "c" + std::to_string(i));
    EXPECT_EQ(rows.fields[i].type, cases[i].code);
    EXPECT_EQ(rows.fields[i].size, cases[i].size);
    EXPECT_EQ(rows.fields[i].detail, cases[i].detail);
    EXPECT_EQ(rows.rows[0][i], cases[i].wire);
  }
}

TEST_F(ServerTest, NullsOfEveryTypeArriveAsNull) {
  auto c = connect();
  ASSERT_TRUE(c->run("create table n(a INTEGER, b DATE, c VARCHAR(5), d BLOB, e INTERVAL DAY TO SECOND)").complete);
  ASSERT_TRUE(c->run("insert into n values(null, null, null, null, null)").complete);
  Reply r = c->run("select * from n");
  ASSERT_EQ(r.records.size(), 1u);
  EXPECT_EQ(r.records[0].rows, std::vector<Row>({Row(5, std::nullopt)}));
}

TEST_F(ServerTest, EmptyTextsAndObjectsArriveWithLengthZero) {
  auto c = connect();
  ASSERT_TRUE(c->run("create table e(a VARCHAR(5), b BLOB, c CLOB, d BINARY)").complete);
  ASSERT_TRUE(c->run("insert into e values('', x'', '', zeroblob(0))").complete);
  c->send_command("select * from e");
  std::string header = "A" + be32(4) + be32(1) + "a" + be32(30) + be32(5) + be32(0) + be32(1) + "b" + be32(34) +
                       be32(0) + be32(0) + be32(1) + "c" + be32(32) + be32(0) + be32(0) + be32(1) + "d" + be32(33) +
                       be32(0) + be32(0);
  std::string row = "R" + be32(0) + be32(0) + be32(0) + be32(0);
  EXPECT_EQ(c->bytes(header.size() + row.size() + 1), header + row + "K");
}

TEST_F(ServerTest, ExpressionsAreTypedByTheirValues) {
  auto c = connect();
  Reply r = c->run("select 1+1, 3000000000, 2.5, 'x', x'01', null");
  ASSERT_EQ(r.records.size(), 1u);
  const Record& a = r.records[0];
  std::vector<int32_t> types;
  for (const Field& f : a.fields) types.push_back(f.type);
  EXPECT_EQ(types, std::vector<int32_t>({5, 6, 9, 30, 33, 30}));
  EXPECT_EQ(a.rows[0], Row({be32(2), be64(3000000000LL), double_be(2.5), std::string("x"), std::string("\x01"),
                            std::nullopt}));
}

TEST_F(ServerTest, AliasedTableColumnsAreNamedTableDotNamePercentAlias) {
  auto c = connect();
  ASSERT_TRUE(c->run("create table people(id INTEGER, name VARCHAR(20))").complete);
  Reply r = c->run("select id, name as who, id + 1 as next, name from people");
  ASSERT_EQ(r.records.size(), 1u);
  std::vector<std::string> names;
  for (const Field& f : r.records[0].fields) names.push_back(f.name);
  EXPECT_EQ(names, std::vector<std::string>({"id", "people.name%who", "next", "name"}));
}

TEST_F(ServerTest, UnreadableStoredValuesGoOutAsNullWithAWarning) {
  auto c = connect();
  ASSERT_TRUE(c->run("create table bad(d DATE, i SMALLINT, b BOOLEAN)").complete);
  ASSERT_TRUE(c->run("insert into bad values('someday', 70000, 'maybe'), ('2026-02-30', 1, 'F')").complete);
  Reply r = c->run("select * from bad");
  ASSERT_EQ(r.records.size(), 2u);
  EXPECT_EQ(r.records[0].rows,
            std::vector<Row>({Row(3, std::nullopt), Row({std::nullopt, be16(1), std::string("F")})}));
  EXPECT_EQ(r.records[1].letter, 'W');
  EXPECT_EQ(r.records[1].text.substr(0, 10), "[W10001]4 ");
}

}  // namespace
}  // namespace zvtest
