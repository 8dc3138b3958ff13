// Reading result-bearing replies into chains of ResultRecords.
#pragma once
#include <cstdint>
#include "results/result_record.h"

enum {
  MAX_NAME_LEN = 65536,              // a column name on the wire longer than this is a failed read
  MAX_VALUE_LEN = 256 * 1024 * 1024,  // the same for a variable value: room for 64 MiB inline objects
  ROW_BATCH = 20000,                 // rows of one reception batch
  MAX_MESSAGE_LEN = 1024 * 1024,     // server texts between rows kept on a result, at most
};

int32_t read_field_descs(ConnRecord* conn, ResultRecord* result);
int32_t read_field_desc(ConnRecord* conn, FieldDesc* desc);
// Read rows up to their limit and return how many came (a row that the table refuses counts too,
// so that reception stays in step). A row that fails to arrive ends the batch with recv_row's
// negative code; the rows before it stay stored.
int32_t recv_rows_200(ConnRecord* conn, ResultRecord* result);
int32_t recv_rows_20000(ConnRecord* conn, ResultRecord* result);
int32_t recv_rows_all(ConnRecord* conn, ResultRecord* result);
// What recv_row gives when the next letter is not a row's: it is pushed back for the caller.
enum { ROW_NOT_MINE = 101 };
// 0 with a row in *row_out; ROW_NOT_MINE; negative on failure. A row beyond the row_limit of a
// bounded record is a broken reply: -4, with "[EC073]..." in the connection's error_text.
int32_t recv_row(ConnRecord* conn, ResultRecord* result, uint8_t** row_out);
// Reads an int32 length and that many bytes of a row id, keeping the first cap of them in dst, so
// that an over-long id still leaves the stream in step. The id's whole length; -4 on a failed read,
// or a length below 0 or above MAX_NAME_LEN.
int32_t recv_counted_id(ConnRecord* conn, char* dst, int32_t cap);
