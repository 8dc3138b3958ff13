// Running a statement whose reply brings one value.
#pragma once
#include <cstdint>

struct ConnRecord;

namespace zvdbms {

// Large enough for a row id, a count, or the text of a first column.
enum { SCALAR_BUF = 72 };

// ZVC_ExecScalar into value (SCALAR_BUF bytes, zeroed here): the caller finds a terminated text
// (a first column too long for the buffer is cut) or the count's int32 at the start. *type is
// the first column's type code when a result answered, and stays 0 for a count or a row id.
int32_t exec_scalar(ConnRecord** handle, const char* sql, uint8_t* value, int32_t* type);

}  // namespace zvdbms
