// The records that hold a received result in client memory, and the wire's type codes.
#pragma once
#include <cstdint>
#include "connection/conn_record.h"


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
  size_t owned;  // bytes of the allocation that data starts, 0 when data lies in another block's run
};

struct RowArena {
  ArenaBlock* first;
  ArenaBlock* current;
  int32_t block_count;  // blocks made so far: the first of 4096 bytes, the others of 65536
  uint8_t* run_next;    // the part of the current run not yet handed out as blocks
  uint8_t* run_end;
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
  size_t message_len;  // bytes of the texts joined in message, and the room it has
  size_t message_cap;
  int32_t message_has_error;  // an E or F came among the rows
  // Set on the record of a FETCH's reply: the server was asked for row_limit rows, and a row
  // beyond them breaks the reply.
  uint8_t row_bound;
  int32_t row_limit;
};

// Slot width of a TypeCode's value inside a row: 1, 2, 4, 8, or 16 for a FieldValueRef.
int32_t type_slot_width(int32_t type);
// The CType that callers read for a TypeCode.
int32_t type_to_ctype(int32_t type);

// The row count for the calls that report it as an int32: a count beyond that range reads as
// INT32_MAX, never as a wrapped number; the row-count attribute gives the whole int64.
int32_t row_count_int32(const ResultRecord* result);
// Replaces the result's message with a copy of text, keeping its length and room in step.
void set_result_message(ResultRecord* result, const char* text);
// Frees one record with everything it owns; does not follow next. Returns 0.
int32_t free_result(ResultRecord* result);
// Frees a whole chain from result on.
void free_result_chain(ResultRecord* result);
int32_t free_field_descs(FieldDesc* fields, int32_t count);
