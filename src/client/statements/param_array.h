// Arrays of values bound for a batch: how each CType's values lie in the caller's block, how they
// go on the wire, and which blocks the set holds a copy of.
#pragma once
#include <cstddef>
#include <cstdint>
#include "statements/param_set.h"

// How the walk steps from one row's value to the next.
enum ArrayStride {
  STRIDE_FIXED,   // the type's width; the value is one number of that width
  STRIDE_PREFIX,  // an int32 length prefix and the bytes behind it
  STRIDE_ROOM,    // lengths[row] + 4 bytes: an int32 length prefix and the bytes behind it
  STRIDE_LENGTH,  // lengths[row] bytes, the value itself
};

struct ArrayType {
  int32_t ctype;
  int32_t wire_type;  // the TypeCode of its record and of its utp byte
  int32_t stride;     // ArrayStride
  int32_t width;      // bytes per row of a block that is array_size rows wide; 0 for blocks of buf_size
};

// The layout of a CType that can go out in a batch; null for any other.
const ArrayType* array_type_of(int32_t ctype);
// Whether the set holds a copy of the block of a type, bound by name or by position: fixed-size
// values, texts behind a prefix, and binary rows bound by position.
bool array_block_copied(const ArrayType* t, bool by_name);

// The int32 length prefix at p, in machine order.
int32_t array_prefix(const uint8_t* p);

// One row's value as it goes out: its TypeCode, its bytes and their count (0 for a null), and
// the width of a fixed-size number (0 when the bytes go as they are).
struct ArrayValue {
  int32_t wire_type;
  const uint8_t* bytes;
  int32_t length;
  int32_t width;
};

// The layout of slot i's values; null for a slot that was never bound.
const ArrayType* array_slot_type(const ParamSet* set, int32_t i);
// The value of parameter i in row, t being array_slot_type(set, i), looked up once for all rows;
// a slot that was never bound goes out as a null text.
ArrayValue array_value(const ParamSet* set, const ArrayType* t, int32_t i, int32_t row);
// Puts v in network order at buf + *cursor and advances the cursor.
void put_array_value(uint8_t* buf, int32_t* cursor, ArrayValue v);

// The bytes taken from the block cache for the copy of a block of rows rows of type t (the
// type's width a row, else buf_size), for a lengths table, for the table of row pointers and for
// the block of every row's value pointers of a set of rows rows and slots slots.
size_t array_block_bytes(const ArrayType* t, int32_t rows, int32_t buf_size);
size_t array_lengths_bytes(int32_t rows);
size_t array_row_table_bytes(int32_t rows);
size_t array_row_block_bytes(int32_t rows, int32_t slots);

// Releases the copy of slot i's block, when the set holds one, and its lengths table.
void release_array_slot(ParamSet* set, int32_t i);
