#include "sqlite_error.h"

namespace zv {

std::string sqlite_error_text(sqlite3* db) {
  // SQLite says only "not authorized" for a statement the sandbox refused.
  if (sqlite3_errcode(db) == SQLITE_AUTH) {
    return "[E10001]not authorized: this server refuses ATTACH, DETACH, VACUUM and pragmas that reach files or "
           "other connections";
  }
  return std::string("[E10001]") + sqlite3_errmsg(db);
}

}  // namespace zv
