// Keeps a client's SQL inside the served database: no statement may reach other files
// or settings shared with other connections or the whole process.
#pragma once

#include <sqlite3.h>

namespace zv {

// Installs the authorizer and the limits on a client's connection.
void confine(sqlite3* db);

}  // namespace zv
