// One exchange with the server: a command and its whole reply, under the connection's
// semaphore, since a reply carries nothing that ties it to its command.
#pragma once
#include "connection/conn_record.h"

// Takes the semaphore and sends the command; the caller reads the reply and then calls
// end_exchange. The exchange works on its own copy of the text, which end_exchange frees.
// Null when the copy cannot be made (the semaphore is not taken then).
char* begin_exchange(ConnRecord* conn, const char* sql);
// Releases the semaphore. A reply that was left before its end drops the link: the next
// exchange then fails cleanly instead of reading the rest of this reply as its own.
void end_exchange(ConnRecord* conn, char* text);
