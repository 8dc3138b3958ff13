// Statements prepared on the server under generated names, and the end of them.
#pragma once
#include <cstdint>
#include "connection/conn_record.h"

// PREPARE's answer when the statement will bring rows; 0 says it will not.
enum { PREPARED_ROWS = 19665 };

// Writes the next generated name ("STC" and the connection's counter) into name, which holds
// ZV_STMT_NAME_SIZE bytes.
void next_statement_name(ConnRecord* conn, char* name);
// One PREPARE exchange. The field descriptions it brings replace conn->results, the parameter
// descriptions conn->params; prepared becomes 1 when the reply ends without an error.
// 0, PREPARED_ROWS, -1 with the server's text, -3 for a name that does not fit, -4 or -5.
int32_t prepare_statement(ConnRecord* conn, const char* sql, const char* name);
// One DEALLOCATE exchange; prepared becomes 0 whenever the reply came whole. 0, -1 with the
// server's text, -3 for a name too long, -4.
int32_t deallocate_statement(ConnRecord* conn, const char* name);
// True when name fits the generated names' room (ZV_STMT_NAME_SIZE with its NUL).
bool statement_name_ok(const char* name);
