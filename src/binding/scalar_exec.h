// Running a statement whose reply brings one value.
#pragma once
#include <cstdint>

struct ConnRecord;

namespace zvdbms {

// Large enough for a row id, a count, or the text of a first column.
enum { SCALAR_BUF = 72 };

// ZVC_ExecScalar into value (SCALAR_BUF bytes, zeroed here). A first column too long to be
// rendered in place comes back as a heap copy; its head is taken into value and the copy
// freed, so the caller always finds a terminated text or the count's int32 at the start.
int32_t exec_scalar(ConnRecord** handle, const char* sql, uint8_t* value);

}  // namespace zvdbms
