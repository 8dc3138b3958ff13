// Output values and return values of a reply ("O", "P"), stored into the caller's bound buffers.
#pragma once
#include <cstdint>
#include "statements/param_set.h"

// Reads the body of an "O" (is_return) or "P" record and stores its value into set. Returns 0,
// -12 when a value was cut to its buffer, -59 when no parameter was bound for it (its text goes
// to the connection), or a failed read's code.
int32_t recv_out_value(ConnRecord* conn, ParamSet* set, bool is_return);
