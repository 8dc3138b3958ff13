// The records that hold a received result in client memory, and the wire's type codes.
#pragma once
#include <cstdint>
#include "connection/conn_record.h"

enum TypeCode : int32_t {
  TC_UNTYPED = 1,
  TC_BOOL = 2,
  TC_TINYINT = 3,
  TC_SMALLINT = 4,
  TC_INTEGER = 5,
  TC_BIGINT = 6,
  TC_NUMERIC = 7,
  TC_FLOAT = 8,
  TC_DOUBLE = 9,
  TC_DATE = 10,
  TC_TIME = 11,
  TC_TIME_TZ = 12,
  TC_DATETIME = 13,
  TC_DATETIME_TZ = 14,
  TC_INTERVAL_YEAR = 15,
  TC_INTERVAL_YEAR_MONTH = 16,
  TC_INTERVAL_MONTH = 17,
  TC_INTERVAL_DAY = 18,
  TC_INTERVAL_DAY_HOUR = 19,
  TC_INTERVAL_HOUR = 20,
  TC_INTERVAL_DAY_MINUTE = 21,
  TC_INTERVAL_HOUR_MINUTE = 22,
  TC_INTERVAL_MINUTE = 23,
  TC_INTERVAL_DAY_SECOND = 24,
  TC_INTERVAL_HOUR_SECOND = 25,
  TC_INTERVAL_MINUTE_SECOND = 26,
  TC_INTERVAL_SECOND = 27,
  TC_OPAQUE28 = 28,
  TC_OPAQUE29 = 29,
  TC_CHAR = 30,
  TC_OPAQUE31 = 31,
  TC_CLOB = 32,
  TC_BINARY = 33,
  TC_BLOB = 34,
  TC_OPAQUE45 = 45,
  TC_CLOB47 = 47,
  TC_TEXT48 = 48,
  TC_TEXT60 = 60,
  TC_CLOB64 = 64,
  TC_ARRAY_BASE = 10000,  // codes above it are arrays of (code - 10000)
};

enum ResultKind : int32_t {
  RK_INSERT = 1,
  RK_UPDATE = 2,
  RK_DELETE = 3,
  RK_ROWS = 4,
};

// Byte layout of a RowRecord: 4 zero bytes, a 20-byte row-id prefix, then status bits and value slots.
enum {
  ROW_PREFIX_OFFSET = 4,
  ROW_PREFIX_SIZE = 20,
  ROW_HEADER_SIZE = 24,
  MAX_FIELDS = 4000,
  FIELD_REF_SIZE = 16,  // FieldValueRef: int32 length at 0, data pointer at 8
};

struct FieldDesc {
  char* table;  // before the first "." of the received name; null when none
  char* name;
  char* alias;  // behind the first "%"; null when none
  int32_t type;   // TypeCode as received
  int32_t ctype;  // CType worked out from type
  int32_t size;   // declared length
  int32_t detail;
  int32_t offset;  // value slot offset, counted from byte 24 of the row
};

struct ArenaBlock {
  ArenaBlock* next;
  int32_t size;
  int32_t used;
  int32_t free;
  uint8_t* data;
};

struct RowArena {
  ArenaBlock* first;
  ArenaBlock* current;
};

struct ResultRecord {
  int32_t kind;  // HT_RESULT
  int32_t field_count;
  FieldDesc* fields;
  int32_t row_size;
  int32_t row_cursor;
  int64_t row_capacity;
  void** row_table;  // 1024 entries: [0] the block counter cell, [1..256] row-pointer blocks
  int64_t row_count;
  uint8_t* current_row;
  char* message;     // messages between rows, or the last error of a call on this result
  ConnRecord* conn;  // set on records of result_kind RK_ROWS
  ResultRecord* next;
  RowArena* arena;
  int32_t result_kind;
  int32_t effect_count;
  char row_id[32];
};

// Slot width of a TypeCode's value inside a row: 1, 2, 4, 8, or 16 for a FieldValueRef.
int32_t type_slot_width(int32_t type);
// The CType that callers read for a TypeCode.
int32_t type_to_ctype(int32_t type);

// Frees one record with everything it owns; does not follow next. Returns 0.
int32_t free_result(ResultRecord* result);
// Frees a whole chain from result on.
void free_result_chain(ResultRecord* result);
int32_t free_field_descs(FieldDesc* fields, int32_t count);
