// Pieces of a reply that recv_noQuery and recv_scalar read alike.
#pragma once
#include <cstdint>
#include "connection/conn_record.h"

// Room for a row id with its NUL: the size of last_rowid.
enum { ROWID_BUF_SIZE = 32 };

// After "I", "U", "D" or a result: 1 when a "K" ends the reply, 0 when another letter was
// handed back (pushback) for the reader's loop, -4 on a failed read.
int32_t peek_reply_end(ConnRecord* conn);
// Reads a string and makes it the connection's error_text. 0, or the code of recv_string.
int32_t recv_reply_text(ConnRecord* conn);
// The body of "O" (with_index false) or "P" (true): index, type, length and the value, all
// dropped; error_text then tells that output values need bound parameters. 0, or -4 on a
// failed read or an impossible length.
int32_t drop_out_value(ConnRecord* conn, bool with_index);
// The field descriptions and rows of an "A" that nobody asked for, read and dropped so that
// the reply stays in step. 0, or the failing read's code.
int32_t drop_result(ConnRecord* conn);
