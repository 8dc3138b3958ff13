#include <tuple>

#include "test_client.h"

namespace zvtest {
namespace {

struct TypeCase {
  const char* declared;
  const char* stored;  // SQL literal
  int32_t code, size, detail;
  std::string wire;
};

const TypeCase kTypes[] = {
    {"BOOLEAN", "'true'", 2, 0, 0, "T"},
    {"BOOL", "0", 2, 0, 0, "F"},
    {"TINYINT", "-5", 3, 0, 0, "\xfb"},
    {"SMALLINT", "300", 4, 0, 0, be16(300)},
    {"INT", "'77'", 5, 0, 0, be32(77)},
    {"INTEGER", "2147483647", 5, 0, 0, be32(INT32_MAX)},
    {"INTEGER", "-2147483648", 5, 0, 0, be32(INT32_MIN)},
    {"BIGINT", "5000000000", 6, 0, 0, be64(5000000000LL)},
    {"NUMERIC(10,2)", "12.5", 7, 10, 2, "12.50"},
    {"DECIMAL", "'3.25'", 7, 0, 0, "3.25"},
    {"REAL", "-0.25", 8, 0, 0, be32(static_cast<int32_t>(0xBE800000))},
    {"DOUBLE PRECISION", "'1e3'", 9, 0, 0, be64(0x408F400000000000)},
    {"DATE", "'1969-12-31'", 10, 0, 0, be32(-1)},
    {"DATE", "'2000-02-29'", 10, 0, 0, be32(11016)},
    {"DATE", "'9999-12-31'", 10, 0, 0, be32(2932896)},
    {"TIME", "'10:00:00.123'", 11, 0, 0, be32(36000123)},
    {"time  with  Time Zone", "'01:30:00-05:30'", 12, 0, 0, be32(25200000) + be16(-330)},
    {"DATETIME", "'1969-12-31 23:59:59.999'", 13, 0, 0, be64(-1)},
    {"TIMESTAMP WITH TIME ZONE", "'2026-01-01 10:00:00.5+08:00'", 14, 0, 0, be64(1767232800500000LL) + be16(480)},
    {"INTERVAL YEAR", "'3'", 15, 0, 0, be32(3)},
    {"INTERVAL YEAR TO MONTH", "'-1-02'", 16, 0, 0, be32(-14)},
    {"INTERVAL MONTH", "5", 17, 0, 0, be32(5)},
    {"INTERVAL DAY", "'10'", 18, 0, 0, be32(10)},
    {"INTERVAL DAY TO HOUR", "'1 01'", 19, 0, 0, be32(25)},
    {"INTERVAL HOUR", "7", 20, 0, 0, be32(7)},
    {"INTERVAL DAY TO MINUTE", "'1 02:03'", 21, 0, 0, be32(1563)},
    {"INTERVAL HOUR TO MINUTE", "'2:30'", 22, 0, 0, be32(150)},
    {"INTERVAL MINUTE", "'45'", 23, 0, 0, be32(45)},
    {"INTERVAL DAY(3) TO SECOND(6)", "'3 04:05:06.5'", 24, 3, 0, be64(273906500000LL)},
    {"INTERVAL HOUR TO SECOND", "'1:00:00.5'", 25, 0, 0, be64(3600500000LL)},
    {"INTERVAL MINUTE TO SECOND", "'2:03'", 26, 0, 0, be64(123000000)},
    {"INTERVAL SECOND", "7.25", 27, 0, 0, be64(7250000)},
    {"VARCHAR(32)", "'hello'", 30, 32, 0, "hello"},
    {"CLOB", "'long text'", 32, 0, 0, "long text"},
    {"BINARY(2)", "x'0102'", 33, 2, 0, std::string("\x01\x02", 2)},
    {"BLOB", "x'ff00'", 34, 0, 0, std::string("\xff\x00", 2)},
};

TEST_F(ServerTest, EveryDeclaredTypeArrivesWithItsCodeSizeAndWireForm) {
  auto c = connect();
  const size_t n = std::size(kTypes);
  std::string create = "create table t(c0 ", values = "(", nulls = "(null";
  for (size_t i = 0; i < n; ++i) {
    create += (i ? ", c" + std::to_string(i) + " " : "") + kTypes[i].declared;
    values += (i ? ", " : "") + std::string(kTypes[i].stored);
    nulls += i ? ", null" : "";
  }
  Reply r = c->run(create + "); insert into t values" + values + "), " + nulls + "); select * from t");
  ASSERT_EQ(r.letters, "IA") << r.records.back().text;
  const Record& a = r.records[1];
  ASSERT_EQ(a.fields.size(), n);
  ASSERT_EQ(a.rows.size(), 2u);
  EXPECT_EQ(a.rows[1], Row(n, std::nullopt));
  for (size_t i = 0; i < n; ++i) {
    SCOPED_TRACE(kTypes[i].declared);
    const Field& f = a.fields[i];
    EXPECT_EQ(f.name, "c" + std::to_string(i));
    EXPECT_EQ(std::tuple(f.type, f.size, f.detail), std::tuple(kTypes[i].code, kTypes[i].size, kTypes[i].detail));
    EXPECT_EQ(a.rows[0][i], kTypes[i].wire);
  }
}

TEST_F(ServerTest, EmptyValuesAreNotNullAndValuesNotOfTheirColumnsTypeAreNullWithAWarning) {
  auto c = connect();
  Reply r = c->run(
      "create table e(a VARCHAR(5), b BLOB, c CLOB, d BINARY, e DATE, f SMALLINT, g BOOLEAN, h DATETIME, "
      "i INTERVAL YEAR TO MONTH, j TIME, k INTEGER);"
      "insert into e values('', x'', '', zeroblob(0), 'someday', 70000, 'maybe', '2026-01-01 24:00:00', '1-12', "
      "'10:00:61', 2147483648), (null, null, null, null, '1900-02-29', 1, 'F', '2019-02-29 10:00:00', '0-11', "
      "'23:59:59.5', -2147483649);"
      "select * from e");
  ASSERT_EQ(r.letters, "IAW");
  EXPECT_EQ(r.records[1].rows,
            std::vector<Row>({{"", "", "", "", std::nullopt, std::nullopt, std::nullopt, std::nullopt, std::nullopt,
                               std::nullopt, std::nullopt},
                              {std::nullopt, std::nullopt, std::nullopt, std::nullopt, std::nullopt, be16(1), "F",
                               std::nullopt, be32(11), be32(86399500), std::nullopt}}));
  EXPECT_EQ(r.records[2].text,
            "[W10001]10 stored values could not be read as their column's type and were sent as null");
}

}  // namespace
}  // namespace zvtest
