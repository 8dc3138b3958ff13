// Reading result-bearing replies into chains of ResultRecords.
#pragma once
#include <cstdint>
#include "results/result_record.h"

int32_t recv_result(ConnRecord* conn, ResultRecord** result_out);
int32_t recv_result_all(ConnRecord* conn, ResultRecord** result_out);
int32_t read_field_descs(ConnRecord* conn, ResultRecord* result);
int32_t read_field_desc(ConnRecord* conn, FieldDesc* desc);
int32_t recv_rows_200(ConnRecord* conn, ResultRecord* result);
int32_t recv_rows_20000(ConnRecord* conn, ResultRecord* result);
int32_t recv_rows_all(ConnRecord* conn, ResultRecord* result);
// 0 with a row in *row_out; 101 when the next letter belongs to the caller (it is pushed back); negative on failure.
int32_t recv_row(ConnRecord* conn, ResultRecord* result, uint8_t** row_out);
