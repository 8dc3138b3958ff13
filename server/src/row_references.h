// Large objects kept by reference: the table, row and column a value was read from, read again
// from the database when it is fetched, so that selecting a value of many MiB copies nothing.
// The value a fetch gives stays the one the select read: every link's connection reports its
// row changes here first, and a change to a referenced row copies the old value into the
// reference before it happens.
#pragma once

#include <sqlite3.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "lob_store.h"

namespace zv {

struct RowReference {
  std::string table;
  std::string column;
  int column_index = 0;  // in the table, as the hooks count columns
  int64_t rowid = 0;
  size_t size = 0;
  int schema = 0;  // the schema version the select ran under

  std::mutex lock;                    // guards the two below; hooks of other links set them
  std::unique_ptr<KeptObject> copy;   // the old value, once the row changed
  bool lost = false;                  // the row went without a hook seeing it go
};

// The count of row changes and commits seen on every link when a read began: a reference may
// be taken only when nothing changed or was committed since, and no write is under way.
struct ChangeStamp {
  bool valid = false;
  uint64_t changes = 0;
  uint64_t commits = 0;
};

// Taken just before a statement's first step; valid only when that step begins the reading.
ChangeStamp stamp_changes(sqlite3* db);

// A reference to column `col` of the current row of `stmt`, whose column `rowid_col` holds the
// row id; null when the value cannot be found again exactly (then it is copied).
std::shared_ptr<RowReference> take_reference(sqlite3_stmt* stmt, int col, int rowid_col, const ChangeStamp& stamp);
// The same for a blob of `size` bytes in `column` of row `rowid` of `table`, read by `db`.
std::shared_ptr<RowReference> refer_to_row(sqlite3* db, const std::string& table, const std::string& column,
                                           int64_t rowid, size_t size, const ChangeStamp& stamp);
// Reads the whole value of `size` bytes in `column` of row `rowid` of `table` into `into`;
// false when it is not there with that length.
bool read_row_value(sqlite3* db, const std::string& table, const std::string& column, int64_t rowid, size_t size,
                    char* into);
// Forgets a reference; its owner is releasing it.
void drop_reference(const std::shared_ptr<RowReference>& ref);

// Copies every object kept by reference, process-wide, that has no copy yet, reading them
// through a connection of its own to the database of `db`: for a statement about to change the
// schema, after which references are not read.
void copy_all_references(sqlite3* db);

// The current schema version of the main database, or -1.
int schema_version(sqlite3* db);

// Reports the row changes and commits of one link's connection. Owned by the link, it must
// outlive the connection.
class RowChangeWatch {
 public:
  RowChangeWatch() = default;
  ~RowChangeWatch();
  RowChangeWatch(const RowChangeWatch&) = delete;
  RowChangeWatch& operator=(const RowChangeWatch&) = delete;

  void watch(sqlite3* db);

 private:
  static void on_change(void* self, sqlite3* db, int op, const char* db_name, const char* table, sqlite3_int64 key1,
                        sqlite3_int64 key2);
  static int on_commit(void* self, sqlite3* db, const char* db_name, int pages);
  static void on_rollback(void* self);
  void end_write();

  bool writing_ = false;  // a change of this connection's open transaction was reported
};

}  // namespace zv
