#include "test_client.h"

namespace zvtest {
namespace {

constexpr int16_t kIn = 1, kOut = 2, kInOut = 3;

struct OutputCase {
  const char* declared;
  const char* expression;  // what the body selects for it
  int32_t code;
  std::string wire;
};

const OutputCase kOutputs[] = {
    {"BOOLEAN", "1", 2, "T"},
    {"TINYINT", "-5", 3, "\xfb"},
    {"SMALLINT", "300", 4, be16(300)},
    {"INTEGER", ":x * 2", 5, be32(42)},
    {"BIGINT", "5000000000", 6, be64(5000000000LL)},
    {"NUMERIC(10, 2)", "12.5", 7, "12.50"},
    {"REAL", "-0.25", 8, be32(static_cast<int32_t>(0xBE800000))},
    {"DOUBLE", "1e3", 9, be64(0x408F400000000000)},
    {"DATE", "'1969-12-31'", 10, be32(-1)},
    {"TIME", "'10:00:00.123'", 11, be32(36000123)},
    {"TIME WITH TIME ZONE", "'01:30:00-05:30'", 12, be32(25200000) + be16(-330)},
    {"DATETIME", "'1969-12-31 23:59:59.999'", 13, be64(-1)},
    {"TIMESTAMP WITH TIME ZONE", "'2026-01-01 10:00:00.5+08:00'", 14, be64(1767232800500000LL) + be16(480)},
    {"INTERVAL YEAR", "'3'", 15, be32(3)},
    {"INTERVAL YEAR TO MONTH", "'-1-02'", 16, be32(-14)},
    {"INTERVAL MONTH", "5", 17, be32(5)},
    {"INTERVAL DAY", "'10'", 18, be32(10)},
    {"INTERVAL DAY TO HOUR", "'1 01'", 19, be32(25)},
    {"INTERVAL HOUR", "7", 20, be32(7)},
    {"INTERVAL DAY TO MINUTE", "'1 02:03'", 21, be32(1563)},
    {"INTERVAL HOUR TO MINUTE", "'2:30'", 22, be32(150)},
    {"INTERVAL MINUTE", "'45'", 23, be32(45)},
    {"INTERVAL DAY TO SECOND", "'3 04:05:06.5'", 24, be64(273906500000LL)},
    {"INTERVAL HOUR TO SECOND", "'1:00:00.5'", 25, be64(3600500000LL)},
    {"INTERVAL MINUTE TO SECOND", "'2:03'", 26, be64(123000000)},
    {"INTERVAL SECOND", "7.25", 27, be64(7250000)},
    {"VARCHAR(32)", "'hello'", 30, "hello"},
    {"CLOB", "'long text'", 32, "long text"},
    {"BINARY(2)", "x'0102'", 33, std::string("\x01\x02", 2)},
    {"BLOB", "x'ff00'", 34, std::string("\xff\x00", 2)},
};

// The text as an SQL literal.
std::string sql_literal(const std::string& text) {
  std::string out = "'";
  for (char c : text) out += c == '\'' ? "''" : std::string(1, c);
  return out + "'";
}

TEST_F(ServerTest, ARoutineAnswersEveryOutputTypeInPRecordsAndItsReturnValueInAnO) {
  auto c = connect();
  std::string params = "x IN INTEGER", body = "select ", marks = "?", records = parameter_record(5, be32(21));
  for (size_t i = 0; i < std::size(kOutputs); ++i) {
    params += ", o" + std::to_string(i) + " OUT " + kOutputs[i].declared;
    body += std::string(kOutputs[i].expression) + ", ";
    marks += ", ?";
    records += parameter_record(30, "", "", kOut);
  }
  body += ":x + 1";
  Reply r = c->run("CREATE ROUTINE every(" + params + ") RETURNS BIGINT AS " + sql_literal(body) + ";");
  ASSERT_EQ(r.letters, "") << r.records.at(0).text;
  c->command("EXEC every(" + marks + ")", static_cast<int32_t>(std::size(kOutputs) + 1), records);
  r = c->reply();
  ASSERT_TRUE(r.complete);
  ASSERT_EQ(r.letters, std::string(std::size(kOutputs), 'P') + "O") << r.records.at(0).text;
  for (size_t i = 0; i < std::size(kOutputs); ++i) {
    SCOPED_TRACE(kOutputs[i].declared);
    EXPECT_EQ(r.records[i].index, static_cast<int32_t>(i + 1));
    EXPECT_EQ(r.records[i].type, kOutputs[i].code);
    EXPECT_EQ(r.records[i].text, kOutputs[i].wire);
  }
  EXPECT_EQ(r.records.back().type, 6);
  EXPECT_EQ(r.records.back().text, be64(22));
}

TEST_F(ServerTest, RoutinesAreSharedByLinksAndMatchParametersByNameInAnyOrder) {
  auto definer = connect();
  ASSERT_EQ(definer->run("CREATE ROUTINE bump(n INOUT INTEGER, label OUT VARCHAR(20)) AS 'select :n + 1, ''n='' || :n';"
                         "CREATE ROUTINE add(a IN INTEGER, b IN INTEGER) RETURNS INTEGER AS 'select :a + :b'")
                .letters,
            "");
  auto c = connect();
  // By name, the output first: the P records name each parameter by its record's index.
  c->command("exec BUMP(?, ?)", 2, parameter_record(30, "", "LABEL", kOut) + parameter_record(5, be32(4), "n", kInOut));
  std::string expected = "P" + be32(1) + be32(5) + be32(4) + be32(5) + "P" + be32(0) + be32(30) + be32(3) + "n=4" + "K";
  EXPECT_EQ(c->bytes(expected.size()), expected);

  c->command("execute add (?,?) ;", 2, parameter_record(5, be32(2)) + parameter_record(5, be32(3)));
  expected = "O" + be32(5) + be32(4) + be32(5) + "K";
  EXPECT_EQ(c->bytes(expected.size()), expected);
}

TEST_F(ServerTest, ARoutineWithoutARowAnswersNullsAndOneThatChangesRowsKeepsItsChanges) {
  auto c = connect();
  ASSERT_EQ(c->run("create table log(v VARCHAR(10));"
                   "CREATE ROUTINE none(o OUT INTEGER) RETURNS VARCHAR(5) AS 'select 1, ''x'' where 0';"
                   "CREATE ROUTINE nulls(o OUT INTEGER) RETURNS VARCHAR(5) AS 'select null, null';"
                   "CREATE ROUTINE put(v IN VARCHAR(10)) AS 'insert into log values(:v)';"
                   "CREATE ROUTINE odd(d OUT DATE) AS 'select ''someday''';")
                .letters,
            "");
  const std::string nulls = "P" + be32(0) + be32(5) + be32(0) + "O" + be32(30) + be32(0) + "K";
  for (const char* call : {"EXEC none(?)", "EXEC nulls(?)"}) {
    c->command(call, 1, parameter_record(5, "", "", kOut));
    EXPECT_EQ(c->bytes(nulls.size()), nulls) << call;
  }
  c->command("EXEC put(?)", 1, parameter_record(30, "kept"));
  EXPECT_EQ(c->bytes(1), "K");
  EXPECT_EQ(c->value("select v from log"), "kept");

  c->command("EXEC odd(?)", 1, parameter_record(10, "", "", kOut));
  Reply r = c->reply();
  ASSERT_EQ(r.letters, "PW");
  EXPECT_EQ(r.records[0].text, "");
  EXPECT_EQ(r.records[1].text,
            "[W10001]1 stored values could not be read as their column's type and were sent as null");
}

struct RoutineError {
  std::string text;
  std::string records;
  int32_t count;
  std::string error;
};

TEST_F(ServerTest, RoutinesThatCannotBeDefinedOrCalledAreRefusedAndTheLinkStaysInStep) {
  auto c = connect();
  ASSERT_EQ(c->run("CREATE ROUTINE add(a IN INTEGER, b IN INTEGER) RETURNS INTEGER AS 'select :a + :b';"
                   "CREATE ROUTINE two(o OUT INTEGER) AS 'select 1, 2';"
                   "CREATE ROUTINE outref(o OUT INTEGER) AS 'select :o';"
                   "CREATE ROUTINE multi(o OUT INTEGER) AS 'select 1; select 2';"
                   "CREATE ROUTINE missing(o OUT INTEGER) AS 'select n from nosuch'")
                .letters,
            "");
  const std::string a = parameter_record(5, be32(1), "a"), b = parameter_record(5, be32(2), "b");
  const std::string out = parameter_record(5, "", "", kOut);
  const RoutineError cases[] = {
      {"CREATE ROUTINE broken(a IN INTEGER) 'select 1'", "", 0,
       "[E10009]a routine is defined as CREATE ROUTINE name(p1 IN type, p2 OUT type, p3 INOUT type, ...) "
       "[RETURNS type] AS 'sql'"},
      {"CREATE ROUTINE t1(a IN WIDGET) AS 'select 1'", "", 0, "[E10009]unknown type WIDGET in a routine"},
      {"CREATE ROUTINE t2(a INTEGER) AS 'select 1'", "", 0,
       "[E10009]a routine parameter is written as: name IN|OUT|INOUT type, not a INTEGER"},
      {"CREATE ROUTINE t3(a IN INTEGER, A OUT INTEGER) AS 'select 1'", "", 0,
       "[E10009]a routine has two parameters named A"},
      {"CREATE ROUTINE Add(a IN INTEGER) AS 'select 1'", "", 0, "[E10009]a routine named ADD exists"},
      {"EXEC nosuch(?)", a, 1, "[E10009]no routine is named nosuch"},
      {"EXEC add(1, 2)", "", 0, "[E10009]a routine is called as EXEC name(?, ?, ...), one ? for each of its parameters"},
      {"EXEC add(?)", a + b, 2, "[E10009]routine ADD has 2 parameters, the call gives 1 ?"},
      {"EXEC add(?, ?)", a, 1, "[E10003]routine ADD has 2 parameters, 1 were sent"},
      {"EXEC add(?, ?)", a + parameter_record(5, be32(2), "zz"), 2, "[E10003]routine ADD has no parameter named zz"},
      {"EXEC add(?, ?)", a + parameter_record(5, be32(2), "A"), 2, "[E10003]parameter a of ADD gets two values"},
      {"EXEC add(?, ?)", a + parameter_record(5, be32(2), "b", kOut), 2,
       "[E10003]parameter b of ADD is IN, it was sent as OUT"},
      {"EXEC add(?, ?)", parameter_record(5, be16(1), "a") + b, 2,
       "[E10003]parameter a of ADD: a value of type INTEGER takes 4 bytes, not 2"},
      {"EXEC two(?)", out, 1, "[E10009]the body of TWO gives 2 columns for 1 outputs"},
      {"EXEC outref(?)", out, 1, "[E10009]the body of OUTREF has placeholders that name no IN or INOUT parameter"},
      {"EXEC multi(?)", out, 1, "[E10009]the body of MULTI must be one statement"},
      {"EXEC missing(?)", out, 1, "[E10001]no such table: nosuch"},
      {"DROP ROUTINE nosuch", "", 0, "[E10009]no routine is named nosuch"},
      {"DROP ROUTINE add; EXEC add(?, ?)", "", 0, "[E10009]no routine is named add"},
  };
  for (const RoutineError& k : cases) {
    SCOPED_TRACE(k.text);
    c->command(k.text, k.count, k.records);
    Reply r = c->reply();
    ASSERT_TRUE(r.complete);
    ASSERT_EQ(r.letters, "E");
    EXPECT_EQ(r.records[0].text, k.error);
    EXPECT_EQ(c->value("select 7"), be32(7));
  }
}

}  // namespace
}  // namespace zvtest
