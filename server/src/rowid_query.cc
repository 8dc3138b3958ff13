#include "rowid_query.h"

#include <cctype>
#include <cstring>

#include "text_util.h"

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

}  // namespace zv
