#include "batch_runner.h"

#include <algorithm>
#include <string>
#include <vector>

#include "parameter_binding.h"
#include "parameter_values.h"
#include "sqlite_error.h"
#include "text_util.h"

namespace zv {
namespace {

// "[E10001]text" becomes "[E10001]row 3 of the batch: text".
std::string in_row(const std::string& error, size_t row) {
  constexpr size_t kCode = 8;  // "[E10001]"
  return error.substr(0, kCode) + "row " + std::to_string(row + 1) + " of the batch: " + error.substr(kCode);
}

// The placeholder that each parameter fills. Row 0 went through bind_row, which checked the
// count, the names, the directions and that no placeholder gets two values, so the later rows
// only bind their values.
std::vector<int> placeholder_indexes(sqlite3_stmt* stmt, const Parameters& params) {
  std::vector<int> indexes;
  for (size_t i = 0; i < params.count(); ++i) {
    const std::string& name = params.records[i].name;
    indexes.push_back(name.empty() ? static_cast<int>(i) + 1 : placeholder_index(stmt, name));
  }
  return indexes;
}

bool bind_later_row(sqlite3_stmt* stmt, const Parameters& params, const std::vector<int>& indexes, size_t row,
                    std::string& error) {
  for (size_t i = 0; i < indexes.size(); ++i) {
    if (!bind_value(stmt, indexes[i], params.value(row, i), error)) {
      error = "[E10003]parameter " + std::to_string(i + 1) + ": " + error;
      return false;
    }
  }
  return true;
}

// The row's values, then the statement to its end; the rows it changed go to `changed`.
bool run_row(sqlite3* db, sqlite3_stmt* stmt, const Parameters& params, const std::vector<int>& indexes, size_t row,
             int64_t& changed, std::string& error) {
  sqlite3_reset(stmt);
  if (!(row == 0 ? bind_row(stmt, params, row, error) : bind_later_row(stmt, params, indexes, row, error)))
    return false;
  int rc;
  while ((rc = sqlite3_step(stmt)) == SQLITE_ROW) {
  }
  if (rc != SQLITE_DONE) {
    error = sqlite_error_text(db);
    return false;
  }
  changed += sqlite3_changes64(db);
  return true;
}

// Undoes every row of the batch and ends its savepoint.
void roll_back(sqlite3* db, sqlite3_stmt* stmt) {
  sqlite3_reset(stmt);  // a statement still running would keep the rollback from ending it
  sqlite3_exec(db, "ROLLBACK TO zanvo_batch; RELEASE zanvo_batch", nullptr, nullptr, nullptr);
}

}  // namespace

bool run_batch(sqlite3* db, sqlite3_stmt* stmt, std::string_view verb, const Parameters& params, ReplyWriter& out) {
  if (sqlite3_column_count(stmt) > 0) {
    out.error("[E10003]an array batch runs a statement that changes rows and returns none");
    return false;
  }
  if (sqlite3_exec(db, "SAVEPOINT zanvo_batch", nullptr, nullptr, nullptr) != SQLITE_OK) {
    out.error(sqlite_error_text(db));
    return false;
  }
  int64_t changed = 0;
  std::string error;
  const std::vector<int> indexes = placeholder_indexes(stmt, params);
  for (size_t row = 0; row < params.rows(); ++row) {
    if (!run_row(db, stmt, params, indexes, row, changed, error)) {
      roll_back(db, stmt);
      out.error(in_row(error, row));
      return false;
    }
  }
  // Outside a transaction the release commits, and a commit can fail.
  if (sqlite3_exec(db, "RELEASE zanvo_batch", nullptr, nullptr, nullptr) != SQLITE_OK) {
    out.error(sqlite_error_text(db));
    roll_back(db, stmt);
    return false;
  }
  out.letter(iequals(verb, "DELETE") ? 'D' : 'U');
  out.int32(static_cast<int32_t>(std::min<int64_t>(changed, INT32_MAX)));
  return true;
}

}  // namespace zv
