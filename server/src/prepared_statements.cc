#include "prepared_statements.h"

#include <utility>

#include "type_codes.h"

namespace zv {

sqlite3_stmt* PreparedStatements::keep(const std::string& name, PreparedStatement p) {
  if (statements_.count(name) == 0 && statements_.size() >= max_) return nullptr;
  PreparedStatement& kept = statements_[name];
  kept = std::move(p);
  return kept.stmt.get();
}

PreparedStatement* PreparedStatements::find(const std::string& name) {
  auto it = statements_.find(name);
  return it == statements_.end() ? nullptr : &it->second;
}

void write_parameter_descriptions(sqlite3_stmt* stmt, ReplyWriter& out) {
  const int count = sqlite3_bind_parameter_count(stmt);
  out.letter('$');
  out.int32(count);
  for (int i = 1; i <= count; ++i) {
    // "?" and "?NNN" placeholders have no name; the others keep theirs without the mark.
    const char* name = sqlite3_bind_parameter_name(stmt, i);
    out.string(name && name[0] != '?' ? name + 1 : "");
    out.int32(i);
    out.int32(kChar);
    out.int32(0);
  }
}

}  // namespace zv
