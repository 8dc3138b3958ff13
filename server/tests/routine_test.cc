#include "test_client.h"

namespace zvtest {
namespace {

constexpr int16_t kOut = 2;

TEST_F(ServerTest, ARoutineWithoutARowAnswersNullsAndOneThatChangesRowsKeepsItsChanges) {
  auto c = connect();
  ASSERT_EQ(c->run("create table log(v VARCHAR(10));"
                   "CREATE ROUTINE none(o OUT INTEGER) RETURNS VARCHAR(5) AS 'select 1, ''x'' where 0';"
                   "CREATE ROUTINE nulls(o OUT INTEGER) RETURNS VARCHAR(5) AS 'select null, null';"
                   "CREATE ROUTINE put(v IN VARCHAR(10)) AS 'insert into log values(:v)';")
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
                   "CREATE ROUTINE outref(o OUT INTEGER) AS 'select :o';")
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
      {"CREATE ROUTINE Add(a IN INTEGER) AS 'select 1'", "", 0, "[E10009]a routine named ADD exists"},
      {"EXEC nosuch(?)", a, 1, "[E10009]no routine is named nosuch"},
      {"EXEC add(1, 2)", "", 0, "[E10009]a routine is called as EXEC name(?, ?, ...), one ? for each of its parameters"},
      {"EXEC add(?)", a + b, 2, "[E10009]routine ADD has 2 parameters, the call gives 1 ?"},
      {"EXEC add(?, ?)", a + parameter_record(5, be32(2), "zz"), 2, "[E10003]routine ADD has no parameter named zz"},
      {"EXEC add(?, ?)", a + parameter_record(5, be32(2), "b", kOut), 2,
       "[E10003]parameter b of ADD is IN, it was sent as OUT"},
      {"EXEC two(?)", out, 1, "[E10009]the body of TWO gives 2 columns for 1 outputs"},
      {"EXEC outref(?)", out, 1, "[E10009]the body of OUTREF has placeholders that name no IN or INOUT parameter"},
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
