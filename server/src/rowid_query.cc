#include "rowid_query.h"

#include <cctype>
#include <cstring>

#include "text_util.h"
#include "type_codes.h"

namespace zv {
namespace {

bool is_word_char(char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '_' || c == '$'; }

bool changes_rows(std::string_view word) {
  for (const char* w : {"DISTINCT", "GROUP", "UNION", "INTERSECT", "EXCEPT", "VALUES"}) {
    if (iequals(word, w)) return true;
  }
  return false;
}

}  // namespace

std::string with_rowid_column(std::string_view query) {
  size_t from = std::string_view::npos;
  int depth = 0;
  bool first = true;
  for (size_t pos = 0; pos < query.size();) {
    size_t skipped = skip_unparsed(query, pos);
    char c = query[pos];
    if (skipped != pos || !is_word_char(c)) {
      depth += c == '(' ? 1 : c == ')' ? -1 : 0;
      pos = skipped != pos ? skipped : pos + 1;
      continue;
    }
    size_t start = pos;
    while (pos < query.size() && is_word_char(query[pos])) ++pos;
    if (depth != 0) continue;
    std::string_view word = query.substr(start, pos - start);
    if ((first && !iequals(word, "SELECT")) || changes_rows(word)) return {};
    first = false;
    if (from == std::string_view::npos && iequals(word, "FROM")) from = start;
  }
  if (from == std::string_view::npos) return {};
  return std::string(query.substr(0, from)) + ", _rowid_ " + std::string(query.substr(from));
}

bool adds_rowid_column(sqlite3_stmt* plain, sqlite3_stmt* with_rowid) {
  const int count = sqlite3_column_count(plain);
  if (sqlite3_column_count(with_rowid) != count + 1) return false;
  for (int col = 0; col < count; ++col) {
    const char* a = sqlite3_column_name(plain, col);
    const char* b = sqlite3_column_name(with_rowid, col);
    if (!a || !b || std::strcmp(a, b) != 0) return false;
  }
  // A column of the table's own named "_rowid_" hides the row id.
  const char* db = sqlite3_column_database_name(with_rowid, count);
  const char* origin = sqlite3_column_origin_name(with_rowid, count);
  return db && std::strcmp(db, "main") == 0 && origin && !iequals(origin, "_rowid_") &&
         sqlite3_column_table_name(with_rowid, count);
}

std::string with_unread_blobs(std::string_view text, sqlite3_stmt* with_rowid, int64_t min_bytes,
                              std::vector<UnreadBlob>& unread) {
  unread.clear();
  const int rowid_col = sqlite3_column_count(with_rowid) - 1;
  const char* rowid_table = sqlite3_column_table_name(with_rowid, rowid_col);
  for (int col = 0; col < rowid_col; ++col) {
    const char* table = sqlite3_column_table_name(with_rowid, col);
    const char* origin = sqlite3_column_origin_name(with_rowid, col);
    const char* db = sqlite3_column_database_name(with_rowid, col);
    if (type_from_declared(sqlite3_column_decltype(with_rowid, col)).code == kBlob && table && origin && db &&
        std::strcmp(db, "main") == 0 && rowid_table && std::strcmp(table, rowid_table) == 0) {
      unread.push_back({col, rowid_col + 1 + static_cast<int>(unread.size()), table, origin});
    }
  }
  if (unread.empty()) return {};
  // The query runs as a common table expression whose columns are named by place, so that
  // no name of the query's own is needed; SQLite flattens it into the outer select, where
  // typeof() and length() of a blob read only its header.
  std::string names;
  std::string columns;
  std::string lengths;
  const std::string large = ") = 'blob' AND length(";
  for (int col = 0, next = 0; col <= rowid_col; ++col) {
    const std::string c = "c" + std::to_string(col);
    names += (col ? ", " : "") + c;
    columns += col ? ", " : "";
    const bool is_unread = next < static_cast<int>(unread.size()) && unread[static_cast<size_t>(next)].col == col;
    if (!is_unread) {
      columns += c;
      continue;
    }
    ++next;
    const std::string when = "CASE WHEN typeof(" + c + large + c + ") >= " + std::to_string(min_bytes) + " THEN ";
    columns += when + "NULL ELSE " + c + " END";
    lengths += ", " + when + "length(" + c + ") END";
  }
  // The query's text ends on a line of its own, so that a comment at its end closes there.
  std::string_view query = trim(text);
  while (!query.empty() && query.back() == ';') query = trim(query.substr(0, query.size() - 1));
  return "WITH zv_rows(" + names + ") AS (" + std::string(query) + "\n) SELECT " + columns + lengths + " FROM zv_rows";
}

}  // namespace zv
