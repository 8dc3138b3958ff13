// One exchange with the server: a command and its whole reply, under the connection's
// semaphore, since a reply carries nothing that ties it to its command.
#pragma once
#include "connection/conn_record.h"
#include "statements/param_set.h"

struct Exchange {
  ConnRecord* conn;
  char* text;     // the exchange's own copy of the command text
  ParamSet* set;  // the parameters it carried, taken off the connection; null for none
};

// The connection behind a handle, or null when there is none to talk to.
ConnRecord* conn_of(ConnRecord** handle);
// Copies the text and takes the semaphore; the caller sends the command and what follows it.
// False when the copy cannot be made: the semaphore is not taken then.
bool open_exchange(Exchange* ex, ConnRecord* conn, const char* sql);
// Copies the text, takes the connection's parameter set when with_params is set (so that it goes
// out once), takes the semaphore and sends the command with the set's records. False when the
// copy cannot be made: nothing is taken then.
bool begin_exchange(Exchange* ex, ConnRecord* conn, const char* sql, bool with_params);
// The same, but the command stays in the send buffer, so that commands the caller puts behind it
// go out in the same write; the caller flushes with flush_exchange.
bool queue_exchange(Exchange* ex, ConnRecord* conn, const char* sql, bool with_params);
// Puts a command into the send buffer with set's records (none for a null set), under the
// semaphore the caller holds.
void send_command(ConnRecord* conn, const char* sql, ParamSet* set);
// Sends what the exchange put in the send buffer; CLOSEs held there went out ahead of it, and
// their replies are read here, in order, before the caller reads the exchange's own.
void flush_exchange(ConnRecord* conn);
// After the reply: a reply left before its end drops the link (the next exchange then fails
// cleanly instead of reading the rest of this reply as its own); the semaphore is released; the
// text goes, and the set too unless it is a standing one.
void end_exchange(Exchange* ex);
