// A statement's outcome decoded on the exchange thread into plain memory: the fields, every
// row's values as cells over one byte arena, and the counts. The script thread turns it into
// script values later (async_result.cc), so the exchange thread never touches a script value.
#pragma once
#include <cstdint>
#include <deque>
#include <string>
#include <vector>

namespace zvdbms {

// CELL_INT is a column of 32 bits or fewer; CELL_INT64 one of 64, which a number may not hold.
enum CellKind : uint8_t { CELL_NULL, CELL_INT, CELL_INT64, CELL_DOUBLE, CELL_BOOL, CELL_DATE, CELL_TEXT, CELL_BYTES };

// 16 bytes: a 1,000,000-row result of 8 columns holds 128 MB of cells besides its texts.
struct Cell {
  union {
    int64_t i;        // CELL_INT, CELL_INT64, CELL_BOOL
    double d;         // CELL_DOUBLE, CELL_DATE (epoch milliseconds)
    uint64_t offset;  // CELL_TEXT, CELL_BYTES: where the bytes start in the arena
  };
  uint32_t length;    // CELL_TEXT, CELL_BYTES: how many
  CellKind kind;
};

struct DecodedField {
  std::string name;
  int32_t ctype;
};

struct DecodedResult {
  std::vector<DecodedField> fields;
  // Rows one after the other, fields.size() cells each; a deque grows without copying what
  // it holds, which for a large result would briefly need twice its memory.
  std::deque<Cell> cells;
  std::string arena;
  uint64_t row_count = 0;   // rows held
  int64_t changed = -1;     // rows an UPDATE or DELETE changed; -1 when none were counted
  std::string row_id;       // the row id an INSERT made; empty when none
};

// Rows decoded in one part of a result: a block of the smart cursor, so that the script can
// make the rows of one part while the next is read.
enum { PART_ROWS = 20000 };

enum DecodeStatus { DECODE_FAILED, DECODE_MORE, DECODE_DONE };

// Decodes the result in *p_res from its current row on, at most max_rows rows, fetching
// further blocks of a server cursor as it goes: DECODE_MORE when it stopped at max_rows,
// DECODE_DONE at the result's end. local: a zone-less datetime is the wall clock of the local
// zone (else of UTC). DECODE_FAILED, with the failure text, when a row or a block could not be
// read: an incomplete result is never passed on.
DecodeStatus decode_rows(void** p_res, bool local, uint64_t max_rows, DecodedResult* out, std::string* error);

// The readable name of a field's type.
const char* type_name(int32_t ctype);

}  // namespace zvdbms
