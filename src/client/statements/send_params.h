// Parameters on the wire, behind the command message.
#pragma once
#include <cstdint>
#include "statements/param_set.h"

// The command's parameter word for a set: the number of records that follow, its count less its
// return values, which have no record.
int32_t param_word(const ParamSet* set);
// Writes the records of a one-row set and, unless the set is a standing one, releases what
// free_params releases. 0, or -1 when a BLOB chunk could not be sent.
int32_t send_params(ConnRecord* conn, ParamSet* set);
