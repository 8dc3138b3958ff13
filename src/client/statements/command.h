// The command message and the reply readers of statements that bring no rows or one value.
#pragma once
#include <cstdint>
#include "connection/conn_record.h"

int32_t send_sql_params(ConnRecord* conn, const char* text, int32_t word);
int32_t recv_noQuery(ConnRecord* conn);
int32_t recv_scalar(ConnRecord* conn, void* value_buf, int32_t value_cap, int32_t* type_out);
