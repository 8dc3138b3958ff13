// The command message and the reply readers.
#pragma once
#include <cstdint>
#include "connection/conn_record.h"
#include "results/result_record.h"
#include "statements/param_set.h"

int32_t send_sql_params(ConnRecord* conn, const char* text, int32_t word);
int32_t recv_noQuery(ConnRecord* conn);
// A call's reply: output values and the return value go into set's bound buffers, and rows it
// brings (all of them, their count the status) into *result_out. Returns as recv_noQuery, -12
// when an output value was cut to its buffer, -59 when no parameter was bound for one.
int32_t recv_noQuery_OP(ConnRecord* conn, ParamSet* set, ResultRecord** result_out);
int32_t recv_scalar(ConnRecord* conn, void* value_buf, int32_t value_cap, int32_t* type_out);
// Replies that bring rows. A read that fails gives its code, leaves *result_out as it was and
// frees whatever was built of the reply. An error letter (E, F) is no failure: it only sets the
// status that the end reports.
int32_t recv_result(ConnRecord* conn, ResultRecord** result_out);
int32_t recv_result_all(ConnRecord* conn, ResultRecord** result_out);
// The same for the reply to a FETCH of row_limit rows (NO_ROW_LIMIT: no bound). A result with a row beyond
// the limit breaks the reply: -4 with "[EC073]Error the server sent more rows than the <n> a FETCH
// asked for\n" in error_text, nothing handed out, and the link marked out of step, so that its
// exchange drops it rather than hold whatever more the server sends.
enum { NO_ROW_LIMIT = -1 };
int32_t recv_fetch(ConnRecord* conn, int32_t row_limit, ResultRecord** result_out);
int32_t recv_fetch_all(ConnRecord* conn, int32_t row_limit, ResultRecord** result_out);
