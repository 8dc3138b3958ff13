#include "routine_catalogue.h"

#include "sqlite_error.h"
#include "sqlite_handles.h"

namespace zv {
namespace {

// Prepares `sql` and binds the texts to its placeholders in order.
StmtPtr statement(sqlite3* db, const char* sql, std::initializer_list<std::string_view> texts) {
  sqlite3_stmt* raw = nullptr;
  sqlite3_prepare_v2(db, sql, -1, &raw, nullptr);
  StmtPtr stmt(raw);
  int index = 0;
  for (std::string_view t : texts) {
    sqlite3_bind_text64(raw, ++index, t.data(), t.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
  }
  return stmt;
}

std::string no_routine(std::string_view name) { return "[E10009]no routine is named " + std::string(name); }

}  // namespace

bool store_routine(sqlite3* db, const RoutineText& r, std::string& error) {
  StmtPtr stmt = statement(db, "INSERT INTO zanvo_routines VALUES(?, ?, ?, ?)", {r.name, r.parameters, r.returns, r.body});
  int rc = stmt ? sqlite3_step(stmt.get()) : sqlite3_errcode(db);
  if (rc == SQLITE_DONE) return true;
  error = sqlite3_extended_errcode(db) == SQLITE_CONSTRAINT_PRIMARYKEY ? "[E10009]a routine named " + r.name + " exists"
                                                                       : sqlite_error_text(db);
  return false;
}

bool drop_routine(sqlite3* db, std::string_view name, std::string& error) {
  StmtPtr stmt = statement(db, "DELETE FROM zanvo_routines WHERE name = ?", {name});
  if (!stmt || sqlite3_step(stmt.get()) != SQLITE_DONE) {
    error = sqlite_error_text(db);
    return false;
  }
  if (sqlite3_changes(db) == 1) return true;
  error = no_routine(name);
  return false;
}

bool load_routine(sqlite3* db, std::string_view name, RoutineText& out, std::string& error) {
  StmtPtr stmt = statement(db, "SELECT name, parameters, returns, body FROM zanvo_routines WHERE name = ?", {name});
  int rc = stmt ? sqlite3_step(stmt.get()) : sqlite3_errcode(db);
  if (rc == SQLITE_ROW) {
    std::string* parts[] = {&out.name, &out.parameters, &out.returns, &out.body};
    for (int col = 0; col < 4; ++col) {
      const unsigned char* text = sqlite3_column_text(stmt.get(), col);
      *parts[col] = text ? reinterpret_cast<const char*>(text) : "";
    }
    return true;
  }
  error = rc == SQLITE_DONE ? no_routine(name) : sqlite_error_text(db);
  return false;
}

}  // namespace zv
