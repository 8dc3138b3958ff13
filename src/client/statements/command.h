// The command message and the reply readers of statements that bring no rows or one value.
#pragma once
#include <cstdint>
#include "connection/conn_record.h"

int32_t send_sql(ConnRecord* conn, const char* text);
int32_t send_sql_params(ConnRecord* conn, const char* text, int32_t word);
int32_t recv_noQuery(ConnRecord* conn);
int32_t recv_scalar(ConnRecord* conn, void* value_buf, int32_t* type_out);
// The short reply of DEALLOCATE, CLOSE and OPEN: 0 on "K"; -1 with the server's text in
// error_text for any other letter; -4 when the read fails.
int32_t recv_short_form(ConnRecord* conn);
int32_t classify_sql(const char* text);
