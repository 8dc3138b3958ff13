// A cursor's query with the row id of its rows as one more, last column, which lets the rows'
// large objects be kept by reference to their row instead of copied.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace zv {

// "select b from t where ..." gives "select b, _rowid_ from t where ...". Empty where one more
// column could change the rows or is no row id of one table's rows: a text that does not open
// with SELECT, has no FROM, or holds DISTINCT, GROUP BY or a compound select at its top level.
std::string with_rowid_column(std::string_view query);

// `with_rowid` has the columns of `plain`, by name, and as its last one the row id of a table
// of the main database.
bool adds_rowid_column(sqlite3_stmt* plain, sqlite3_stmt* with_rowid);

// A BLOB column of the rows' table whose large values a query leaves unread: its place among
// the query's columns, the place of the column that gives such a value's length instead, and
// the table and column it is read from.
struct UnreadBlob {
  int col = 0;
  int length_col = 0;
  std::string table;
  std::string column;
};

// For `with_rowid`, a statement of adds_rowid_column compiled from `text`: a query with the
// same columns in the same places, the row id right after them, that leaves each value of a
// BLOB column of the row id's table unread when it is a blob of `min_bytes` or more: null in
// its place, and its length in a column of its own after the row id (null for every other
// value). SQLite then reads no byte of such a value at the select, only when it is fetched.
// Empty when no column qualifies; `unread` receives those that do.
std::string with_unread_blobs(std::string_view text, sqlite3_stmt* with_rowid, int64_t min_bytes,
                              std::vector<UnreadBlob>& unread);

}  // namespace zv
