// The error record text of a failed SQLite call.
#pragma once

#include <sqlite3.h>

#include <string>

namespace zv {

// "[E10001]" and SQLite's message for the connection's latest failure.
std::string sqlite_error_text(sqlite3* db);

}  // namespace zv
