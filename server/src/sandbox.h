// Keeps a client's SQL inside the served database: no statement may reach other files
// or settings shared with other connections or the whole process.
#pragma once

#include <sqlite3.h>

#include <cstdint>

namespace zv {

// Installs the authorizer and the limits on a client's connection; no string, blob or row
// may be longer than `value_max` bytes.
void confine(sqlite3* db, int64_t value_max);

}  // namespace zv
