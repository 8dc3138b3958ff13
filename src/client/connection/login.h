// Making the link and telling the server who calls.
#pragma once
#include <cstddef>
#include "connection/conn_record.h"

enum { LOCK_TIMEOUT_DEFAULT = 300, LTIMEOUT_DEFAULT = 1800000, CONNECT_TIMEOUT_DEFAULT = 10000 };

// Connects to server_ip and port, and starts the deadline of connect_timeout that the login
// which must follow shares.
bool net_connect(ConnRecord* conn);
// Closes the socket and forgets everything buffered on it, so that a later read fails cleanly
// and a new link starts with nothing of the old one.
void drop_link(ConnRecord* conn);
// Closes the link and frees the record with what the connection layer gave it; the statement
// layer frees its own parts first.
void free_conn_record(ConnRecord* conn);
// The connection's mutex, open; false when it cannot be made.
bool create_conn_lock(ConnRecord* conn);
// How a login ended. Every failure leaves the link closed with its text on the record; a refusal
// of the client's own (a quote in a value, a text too long) has a text that must stay.
enum LoginResult { LOGIN_OK, LOGIN_FAILED, LOGIN_NO_ANSWER, LOGIN_REFUSED_HERE };
// The login on the link net_connect made, within what is left of its deadline, which ends here.
LoginResult login_dialogue(ConnRecord* conn);
// True, with the record's error text set to the reason, when its connection string was refused.
bool conn_string_refused(ConnRecord* conn);
// The login on a new link: success when it went through; else -9 with failed_text, or with the
// client's own refusal where it refused the login text itself.
int32_t login_outcome(ConnRecord* conn, const char* failed_text, int32_t success);
// The plain login text into out (cap bytes); false when it does not fit or a value holds a quote.
bool build_login_text(const ConnRecord* conn, bool enciphered, char* out, size_t cap);
