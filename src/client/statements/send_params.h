// Parameters on the wire, behind the command message.
#pragma once
#include <cstdint>
#include "statements/param_set.h"

// The command's parameter word for a set: the number of records that follow, its count less its
// return values, which have no record.
int32_t param_word(const ParamSet* set);
// The head of parameter i's record: name, direction, type and data length.
void send_param_header(ConnRecord* conn, const ParamSet* set, int32_t i, int32_t type, int32_t data_len);
// Writes the records of a one-row set and, unless the set is a standing one, releases what
// free_params releases. 0, or -1 when a BLOB chunk could not be sent.
int32_t send_params(ConnRecord* conn, ParamSet* set);
// Writes an array-bound set behind a batch's command: row 0 as records, the other rows packed
// into blocks of whole rows, with a type byte in front of each value unless the server speaks
// version 201. Then the set's tables and copies go, whatever its origin: an array set goes out
// once. 0, or -5 when a row could not be packed (the batch is then cut short).
int32_t send_params_array(ConnRecord* conn, ParamSet* set);
