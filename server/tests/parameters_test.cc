#include "test_client.h"

namespace zvtest {
namespace {

struct BoundCase {
  int16_t code;         // type code sent
  std::string payload;  // the value as sent
  const char* declared; // the column it goes into
  const char* stored;   // quote() of what SQLite keeps
  Value wire;           // the value as the column sends it back
};

const BoundCase kBound[] = {
    {2, "\x01", "BOOLEAN", "1", "T"},
    {2, "F", "BOOLEAN", "0", "F"},
    {3, "\xfb", "TINYINT", "-5", "\xfb"},
    {4, be16(-300), "SMALLINT", "-300", be16(-300)},
    {5, be32(-70000), "INTEGER", "-70000", be32(-70000)},
    {6, be64(-5000000000LL), "BIGINT", "-5000000000", be64(-5000000000LL)},
    {8, be32(static_cast<int32_t>(0xBE800000)), "REAL", "-0.25", be32(static_cast<int32_t>(0xBE800000))},
    {9, be64(0x3FB999999999999A), "DOUBLE", "0.1", be64(0x3FB999999999999A)},
    {13, be64(1767261600123LL), "DATETIME", "'2026-01-01 10:00:00.123'", be64(1767261600123LL)},
    {13, be64(-62135596800000LL), "DATETIME", "'0001-01-01 00:00:00.000'", be64(-62135596800000LL)},
    {13, be64(-1), "DATETIME", "'1969-12-31 23:59:59.999'", be64(-1)},
    {30, "h\xC3\xA9llo", "VARCHAR(10)", "'h\xC3\xA9llo'", "h\xC3\xA9llo"},
    {30, "2026-01-02", "DATE", "'2026-01-02'", be32(20455)},
    {32, "clob text", "CLOB", "'clob text'", "clob text"},
    {33, std::string("\x00\x01\xff", 3), "BINARY", "X'0001FF'", std::string("\x00\x01\xff", 3)},
    {34, std::string("\xff\x00", 2), "BLOB", "X'FF00'", std::string("\xff\x00", 2)},
    {47, "clob 47", "CLOB", "'clob 47'", "clob 47"},
    {64, "clob 64", "CLOB", "'clob 64'", "clob 64"},
    {1008, "", "VARCHAR(4)", "NULL", std::nullopt},
    {30, "", "VARCHAR(4)", "NULL", std::nullopt},
};

// Each case in a column of its own type, bound by position or by a name in upper case (case
// does not count), read back as SQLite keeps it and as the column sends it.
TEST_F(ServerTest, EveryTypeCodeIsBoundByPositionOrByNameAndComesBackExactly) {
  auto c = connect();
  for (const std::string mark : {"?", ":", "@", "$"}) {
    const bool named = mark != "?";
    for (const BoundCase& k : kBound) {
      SCOPED_TRACE(mark + k.declared);
      ASSERT_EQ(c->run(std::string("drop table if exists p; create table p(c ") + k.declared + ")").letters, "");
      c->command("insert into p values(" + mark + (named ? "c" : "") + ")", 1,
                 parameter_record(k.code, k.payload, named ? "C" : ""));
      ASSERT_EQ(c->reply().letters, "I");
      EXPECT_EQ(c->run("select quote(c), c from p").records.at(0).rows.at(0), Row({k.stored, k.wire}));
    }
  }
}

struct Refusal {
  std::string sql;
  std::string records;
  int32_t count;
  std::string letters, error;
};

TEST_F(ServerTest, ParametersThatDoNotFitTheStatementAreRefusedAndTheLinkStaysInStep) {
  auto c = connect();
  const Refusal cases[] = {
      {"select ?, ?", parameter_record(5, be32(1)), 1, "E",
       "[E10003]the statement has 2 placeholders, 1 parameters were sent"},
      {"select :a, :b", parameter_record(5, be32(1), "a") + parameter_record(5, be32(2), "zz"), 2, "E",
       "[E10003]no placeholder is named zz"},
      {"select :a, ?", parameter_record(5, be32(1)) + parameter_record(5, be32(2), "a"), 2, "E",
       "[E10003]placeholder :a gets two values"},
      {"select ?", parameter_record(5, be32(1), "", 2), 1, "E",
       "[E10003]parameter 1 has direction 2: only a routine call takes outputs"},
      {"select ?, ?", parameter_record(5, be32(1)) + parameter_record(5, be16(1)), 2, "E",
       "[E10003]parameter 2: a value of type INTEGER takes 4 bytes, not 2"},
      {"select ?", parameter_record(2, "x"), 1, "E", "[E10003]parameter 1: a BOOLEAN value is the byte 0, 1, 'F' or 'T'"},
      {"select ?", parameter_record(13, be64(253402300800000LL)), 1, "E",
       "[E10003]parameter 1: a DATETIME value outside the years 1 to 9999"},
      {"select ?; select 2", parameter_record(5, be32(1)), 1, "AE",
       "[E10003]parameters go with a text of one statement: the statements behind the first were not run"},
      {"SHOW AUTO_COMMIT", parameter_record(5, be32(1)), 1, "E", "[E10003]this statement takes no parameters"},
  };
  for (const Refusal& k : cases) {
    SCOPED_TRACE(k.sql);
    c->command(k.sql, k.count, k.records);
    Reply r = c->reply();
    ASSERT_TRUE(r.complete);
    ASSERT_EQ(r.letters, k.letters);
    EXPECT_EQ(r.records.back().text, k.error);
    EXPECT_EQ(c->value("select 7"), be32(7));
  }
}

}  // namespace
}  // namespace zvtest
