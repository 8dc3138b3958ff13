#include "sandbox.h"

#include <cstring>

#include "row_references.h"

namespace zv {
namespace {

// Pragmas that act on this connection alone or only describe the database. The others
// reach files (temp_store_directory), the database's form as every connection sees it
// (journal_mode, writable_schema, schema_version) or the whole process (soft_heap_limit).
constexpr const char* kHarmlessPragmas[] = {
    "application_id", "automatic_index", "busy_timeout", "cache_size", "cache_spill", "case_sensitive_like",
    "collation_list", "compile_options", "count_changes", "data_version", "database_list", "defer_foreign_keys",
    "encoding", "foreign_key_check", "foreign_key_list", "foreign_keys", "freelist_count", "full_column_names",
    "function_list", "ignore_check_constraints", "index_info", "index_list", "index_xinfo", "integrity_check",
    "module_list", "optimize", "page_count", "page_size", "pragma_list", "query_only", "quick_check",
    "read_uncommitted", "recursive_triggers", "reverse_unordered_selects", "short_column_names", "synchronous",
    "table_info", "table_list", "table_xinfo", "temp_store", "user_version",
};

bool harmless_pragma(const char* name) {
  for (const char* p : kHarmlessPragmas) {
    if (sqlite3_stricmp(p, name) == 0) return true;
  }
  return false;
}

// A statement that changes the main database's schema (CREATE, DROP, ALTER).
bool changes_schema(int action, const char* database) {
  switch (action) {
    case SQLITE_CREATE_INDEX:
    case SQLITE_CREATE_TABLE:
    case SQLITE_CREATE_TRIGGER:
    case SQLITE_CREATE_VIEW:
    case SQLITE_CREATE_VTABLE:
    case SQLITE_DROP_INDEX:
    case SQLITE_DROP_TABLE:
    case SQLITE_DROP_TRIGGER:
    case SQLITE_DROP_VIEW:
    case SQLITE_DROP_VTABLE:
    case SQLITE_ALTER_TABLE:
      return !database || std::strcmp(database, "temp") != 0;
    default:
      return false;
  }
}

// ATTACH also stands for VACUUM, which attaches its target (a file of the client's
// choosing for VACUUM INTO) while it runs.
int authorize(void* db, int action, const char* first, const char* second, const char* database, const char*) {
  // Large objects kept by reference are not read past a change of the schema: they are copied
  // now, as this statement is compiled.
  if (changes_schema(action, database)) copy_all_references(static_cast<sqlite3*>(db));
  switch (action) {
    case SQLITE_ATTACH:
    case SQLITE_DETACH:
      return SQLITE_DENY;
    case SQLITE_PRAGMA:
      // Reading the schema version is harmless; the server checks it for large objects kept by reference.
      if (!second && sqlite3_stricmp(first, "schema_version") == 0) return SQLITE_OK;
      return harmless_pragma(first) ? SQLITE_OK : SQLITE_DENY;
    case SQLITE_FUNCTION:
      return sqlite3_stricmp(second, "load_extension") == 0 ? SQLITE_DENY : SQLITE_OK;
    default:
      return SQLITE_OK;
  }
}

}  // namespace

void confine(sqlite3* db, int64_t value_max) {
  sqlite3_set_authorizer(db, authorize, db);
  sqlite3_limit(db, SQLITE_LIMIT_LENGTH, static_cast<int>(value_max));
  sqlite3_limit(db, SQLITE_LIMIT_ATTACHED, 0);
  sqlite3_db_config(db, SQLITE_DBCONFIG_ENABLE_LOAD_EXTENSION, 0, nullptr);
  sqlite3_db_config(db, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
}

}  // namespace zv
