// Making the link and telling the server who calls.
#pragma once
#include <cstddef>
#include "connection/conn_record.h"

enum { LOCK_TIMEOUT_DEFAULT = 300, LTIMEOUT_DEFAULT = 1800000, CONNECT_TIMEOUT_DEFAULT = 10000 };

bool net_connect(ConnRecord* conn);
// Closes the socket and forgets everything buffered on it, so that a later read fails cleanly
// and a new link starts with nothing of the old one.
void drop_link(ConnRecord* conn);
// Closes the link and frees the record with what the connection layer gave it; the statement
// layer frees its own parts first.
void free_conn_record(ConnRecord* conn);
// The connection's mutex, open; false when it cannot be made.
bool create_conn_lock(ConnRecord* conn);
bool login_dialogue(ConnRecord* conn);
// The plain login text into out (cap bytes); false when it does not fit or a value holds a quote.
bool build_login_text(const ConnRecord* conn, bool enciphered, char* out, size_t cap);
