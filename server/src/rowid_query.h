// A cursor's query with the row id of its rows as one more, last column, which lets the rows'
// large objects be kept by reference to their row instead of copied.
#pragma once

#include <sqlite3.h>

#include <string>
#include <string_view>

namespace zv {

// "select b from t where ..." gives "select b, _rowid_ from t where ...". Empty where one more
// column could change the rows or is no row id of one table's rows: a text that does not open
// with SELECT, has no FROM, or holds DISTINCT, GROUP BY or a compound select at its top level.
std::string with_rowid_column(std::string_view query);

// `with_rowid` has the columns of `plain`, by name, and as its last one the row id of a table
// of the main database.
bool adds_rowid_column(sqlite3_stmt* plain, sqlite3_stmt* with_rowid);

}  // namespace zv
