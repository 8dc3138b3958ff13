// Server cursors: the smart cursor that carries a query of ZVC_Execute in blocks, and the
// exchanges that named cursors share with it.
#pragma once
#include <cstdint>
#include "connection/conn_record.h"
#include "results/smart_cursor.h"

// The class-4 path of ZVC_Execute: DECLARE (carrying the connection's parameters), OPEN and a
// first FETCH of a block, written together and their replies read in order. A short first block
// sends the CLOSE at once (Drained) and leaves its reply to the next exchange; a full one leaves
// the cursor Open on the connection's list. The FETCH's result, with the cursor in *out; on
// failure nothing is given out: -1 for a refused DECLARE or OPEN, -4, -5, or the FETCH's code.
int32_t open_smart_cursor(ConnRecord* conn, const char* sql, SmartCursor** out);
// The next row of the cursor: 0, or 100 after the last; at the end of a full block the next one
// is fetched first. A failed FETCH gives its code and leaves the cursor without a block; a
// refused CLOSE after a short block gives -1 with the text in the cursor's error.
int32_t smart_next_row(SmartCursor* cursor);
// Closes the server cursor while it is open, then frees the record with its block. A CLOSE the
// server refused gives -1 and leaves the record alive with the text in its error; a link that is
// already down took the server's cursor along and the record is freed.
int32_t close_smart_cursor(SmartCursor* cursor);
// The pieces of open_smart_cursor that a run of queries (ZVC_ExecuteRun) shares:
// A new record named after the connection's counter, with its DECLARE text in *declare_text
// (the caller frees it); null when memory ran out.
SmartCursor* new_smart_cursor(ConnRecord* conn, const char* sql, char** declare_text);
// Puts "OPEN name ;" and "FETCH 20000 FROM name ;" into the send buffer, behind the DECLARE.
void send_open_fetch(ConnRecord* conn, const char* name);
// Reads the replies of DECLARE, OPEN and FETCH in turn, under the semaphore the caller holds.
// A refused one gives -1 with its text in error_text, and the replies behind it are read and
// forgotten; a reply that stopped short leaves the rest unread (the link is out of step), -4.
// The FETCH's block goes to *block; the DECLARE's result, or the failure.
int32_t read_declare_open_fetch(ConnRecord* conn, ResultRecord** block);
// A cursor whose replies are read goes on with its block: on the connection's list, and Drained
// at once after a short block. A FETCH that brought no block closes the cursor at once and frees
// the record: null then.
SmartCursor* take_first_block(ConnRecord* conn, SmartCursor* cursor);
// The error text of the connection becomes the cursor's, leaving the connection's clear.
void take_error(SmartCursor* cursor, ConnRecord* conn);

// Reads the replies of the smart cursors' CLOSEs that went out without their replies being
// read, in the order they went, when there are any: the caller holds the semaphore, and nothing
// else has been sent behind them. A refusal is that cursor's error as when it was read at once,
// and leaves the cursor open for a close to try again; when the cursor's handle is already gone,
// its text goes to the notice hook. A reply cut short drops the link, which forgets the rest.
void settle_close(ConnRecord* conn);
// The same, under the semaphore, when one of them is the cursor's own, before its error or
// attributes are read.
void settle_cursor_close(SmartCursor* cursor);
// The connection is going away: its open smart cursors let go of it. Each keeps its block; its
// next refill reports that the connection was closed.
void detach_smart_cursors(ConnRecord* conn);

// One exchange of text, without parameters, whose reply of rows reader (recv_fetch or
// recv_fetch_all, with row_limit) puts in *head; on a failure or a refusal nothing is left, and
// *head stays as it was. The reader's result.
using RowsReader = int32_t (*)(ConnRecord* conn, int32_t row_limit, ResultRecord** result_out);
int32_t fetch_rows(ConnRecord* conn, const char* text, RowsReader reader, int32_t row_limit, ResultRecord** head);
// One "CLOSE name " exchange: 0; -1 with "[EC027]Error :<server's text> Close Cursor <name>  \n"
// in error_text; -4 when the link failed.
int32_t close_cursor(ConnRecord* conn, const char* name);
// DECLARE text (carrying the connection's parameters), then "OPEN name ;" when the server took
// it. Unlike the smart cursor's, this OPEN waits for the DECLARE's reply: the caller names the
// cursor, so an OPEN behind a refused DECLARE could open a cursor of that name left from before. What the DECLARE brought goes to *declared, also on failure (the caller frees it);
// *declare_ok tells whether the failure, if any, was the OPEN's. The DECLARE's result, or the
// OPEN's failure code.
int32_t declare_and_open(ConnRecord* conn, const char* text, const char* name, ResultRecord** declared,
                         bool* declare_ok);
// True when a caller's cursor name fits the command buffers (ZV_CURSOR_NAME_SIZE with its NUL);
// otherwise false with a text in error_text.
bool cursor_name_ok(ConnRecord* conn, const char* name);
