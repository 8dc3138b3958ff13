// The routines of a database, kept in its table zanvo_routines so that every connection
// sees them.
#pragma once

#include <sqlite3.h>

#include <string>
#include <string_view>

#include "routine_definition.h"

namespace zv {

// The statement that makes the table; run when the database is opened.
constexpr const char* kRoutineTable =
    "CREATE TABLE IF NOT EXISTS zanvo_routines(name TEXT PRIMARY KEY COLLATE NOCASE, parameters TEXT NOT NULL, "
    "returns TEXT NOT NULL, body TEXT NOT NULL);";

// Each is false with the reason in `error`: "[E10009]" for a routine that exists already or
// is missing, "[E10001]" for SQLite's own failures.
bool store_routine(sqlite3* db, const RoutineText& routine, std::string& error);
bool drop_routine(sqlite3* db, std::string_view name, std::string& error);
bool load_routine(sqlite3* db, std::string_view name, RoutineText& out, std::string& error);

}  // namespace zv
