// The record behind a handle of kind 6: a query read through a server cursor, one block of rows
// at a time. The calls that read a held result work on the block in hand; the exchanges that
// refill and close it live in the statement layer.
#pragma once
#include <cstdint>
#include "results/result_record.h"

// Rows asked for by each FETCH; a block of fewer ends the cursor.
enum { SMART_BLOCK_ROWS = 20000 };

// Open: open and more are 1 and the server cursor stands. Drained: both 0, name empty, the last
// block still readable to its end. Closed: the record is freed.
struct SmartCursor {
  int32_t kind;  // HT_SMART_CURSOR
  uint8_t open;  // 1 while the server cursor stands and must be closed
  ResultRecord* result;  // the block of rows in hand; owned; null after a failed refill
  char name[ZV_CURSOR_NAME_SIZE];  // "STC<n>_SMARTCUR" while open, else empty
  uint8_t more;      // 1: the last FETCH came back full, so another may bring rows
  ConnRecord* conn;  // the connection; set while open is 1
  char* error;       // the error of a failed refill or CLOSE; owned
  SmartCursor* next_open;  // the next open cursor of the same connection (conn->open_cursors)
};
