#include "type_codes.h"

#include <sqlite3.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "text_util.h"

namespace zv {
namespace {

struct NamedType {
  const char* name;
  int32_t code;
};

constexpr NamedType kNames[] = {
    {"BOOLEAN", kBool},
    {"BOOL", kBool},
    {"TINYINT", kTinyInt},
    {"SMALLINT", kSmallInt},
    {"INTEGER", kInteger},
    {"INT", kInteger},
    {"BIGINT", kBigInt},
    {"NUMERIC", kNumeric},
    {"DECIMAL", kNumeric},
    {"FLOAT", kFloat},
    {"REAL", kFloat},
    {"DOUBLE", kDouble},
    {"DOUBLE PRECISION", kDouble},
    {"DATE", kDate},
    {"TIME", kTime},
    {"TIME WITH TIME ZONE", kTimeTz},
    {"DATETIME", kDateTime},
    {"TIMESTAMP", kDateTime},
    {"DATETIME WITH TIME ZONE", kDateTimeTz},
    {"TIMESTAMP WITH TIME ZONE", kDateTimeTz},
    {"INTERVAL YEAR", 15},
    {"INTERVAL YEAR TO MONTH", 16},
    {"INTERVAL MONTH", 17},
    {"INTERVAL DAY", 18},
    {"INTERVAL DAY TO HOUR", 19},
    {"INTERVAL HOUR", 20},
    {"INTERVAL DAY TO MINUTE", 21},
    {"INTERVAL HOUR TO MINUTE", 22},
    {"INTERVAL MINUTE", 23},
    {"INTERVAL DAY TO SECOND", 24},
    {"INTERVAL HOUR TO SECOND", 25},
    {"INTERVAL MINUTE TO SECOND", 26},
    {"INTERVAL SECOND", 27},
    {"CHAR", kChar},
    {"CHARACTER", kChar},
    {"VARCHAR", kChar},
    {"CHARACTER VARYING", kChar},
    {"TEXT", kChar},
    {"CLOB", kClob},
    {"BINARY", kBinary},
    {"VARBINARY", kBinary},
    {"BLOB", kBlob},
};

// Splits "DECIMAL(10, 2)" into the words "DECIMAL" and the numbers 10 and 2; words are
// upper-cased and joined by single blanks, every parenthesised group is left out.
std::string type_words(const char* declared, int32_t numbers[2]) {
  std::string words;
  bool first_group = true;
  for (const char* p = declared; *p;) {
    if (*p == '(') {
      const char* close = std::strchr(p, ')');
      if (!close) break;
      if (first_group) {
        char* end = nullptr;
        numbers[0] = static_cast<int32_t>(std::strtol(p + 1, &end, 10));
        if (end && *end == ',') numbers[1] = static_cast<int32_t>(std::strtol(end + 1, nullptr, 10));
        first_group = false;
      }
      p = close + 1;
      continue;
    }
    if (is_space(*p)) {
      if (!words.empty() && words.back() != ' ') words += ' ';
    } else {
      words += static_cast<char>(std::toupper(static_cast<unsigned char>(*p)));
    }
    ++p;
  }
  while (!words.empty() && words.back() == ' ') words.pop_back();
  return words;
}

}  // namespace

ColumnType type_from_declared(const char* declared) {
  ColumnType t;
  if (!declared) return t;
  int32_t numbers[2] = {0, 0};
  std::string words = type_words(declared, numbers);
  for (const NamedType& n : kNames) {
    if (words == n.name) {
      t.code = n.code;
      t.size = numbers[0] > 0 ? numbers[0] : 0;
      t.detail = n.code == kNumeric && numbers[1] > 0 ? numbers[1] : 0;
      return t;
    }
  }
  return t;
}

ColumnType type_from_value(int storage_class, int64_t int_value) {
  ColumnType t;
  switch (storage_class) {
    case SQLITE_INTEGER:
      t.code = int_value >= INT32_MIN && int_value <= INT32_MAX ? kInteger : kBigInt;
      break;
    case SQLITE_FLOAT:
      t.code = kDouble;
      break;
    case SQLITE_BLOB:
      t.code = kBinary;
      break;
    default:
      t.code = kChar;
      break;
  }
  return t;
}

bool is_interval(int32_t code) { return code >= kIntervalYear && code <= kIntervalSecond; }

}  // namespace zv
