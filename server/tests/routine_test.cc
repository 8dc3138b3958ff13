#include "test_client.h"

namespace zvtest {
namespace {

constexpr int16_t kOut = 2, kInOut = 3;

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
