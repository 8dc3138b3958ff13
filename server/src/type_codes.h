// The wire's type codes and how a result column gets one.
#pragma once

#include <cstdint>

namespace zv {

enum TypeCode : int32_t {
  kUndeclared = 0,
  kBool = 2,
  kTinyInt = 3,
  kSmallInt = 4,
  kInteger = 5,
  kBigInt = 6,
  kNumeric = 7,
  kFloat = 8,
  kDouble = 9,
  kDate = 10,
  kTime = 11,
  kTimeTz = 12,
  kDateTime = 13,
  kDateTimeTz = 14,
  kIntervalYear = 15,  // 15..27: YEAR, YEAR TO MONTH, MONTH, DAY, DAY TO HOUR, HOUR,
  kIntervalSecond = 27,  // DAY TO MINUTE, HOUR TO MINUTE, MINUTE, DAY TO SECOND, ..., SECOND
  kChar = 30,
  kClob = 32,
  kBinary = 33,
  kBlob = 34,
};

struct ColumnType {
  int32_t code = kUndeclared;
  int32_t size = 0;    // declared length or precision, 0 when none
  int32_t detail = 0;  // declared scale of a NUMERIC/DECIMAL, else 0
};

// The type of a declared column type such as "VARCHAR(32)" or "INTERVAL DAY TO SECOND";
// code kUndeclared for a missing or unknown declaration.
ColumnType type_from_declared(const char* declared);

// The type of an expression column, from the storage class (SQLITE_INTEGER, ...) of its
// first value and, for an integer, its magnitude.
ColumnType type_from_value(int storage_class, int64_t int_value);

bool is_interval(int32_t code);

}  // namespace zv
