#include "row_references.h"

#include <atomic>
#include <cstring>
#include <map>
#include <utility>

#include "sqlite_handles.h"
#include "write_turns.h"

namespace zv {
namespace {

// SQLite's own threshold for moving the write-ahead log into the database, which the commit
// hook below takes over.
constexpr int kCheckpointPages = 1000;

struct Registry {
  std::mutex lock;
  std::multimap<std::pair<std::string, int64_t>, RowReference*> refs;  // by table and row id
  // Changed by every link's hooks, read by a link that takes a reference. A hook counts a change
  // before it looks for references; a link counts its reference before it looks at the changes:
  // so either the hook finds the reference or the link sees the change.
  std::atomic<size_t> count{0};
  std::atomic<uint64_t> changes{0};
  std::atomic<uint64_t> commits{0};
  std::atomic<int64_t> writers{0};  // connections whose open transaction changed a row
};

Registry& registry() {
  static Registry* r = new Registry;  // never destroyed: links may outlive main's objects
  return *r;
}

bool is_main(const char* name) { return name && std::strcmp(name, "main") == 0; }

int column_index(sqlite3* db, const char* table, const char* column) {
  sqlite3_stmt* raw = nullptr;
  StmtPtr stmt;
  if (sqlite3_prepare_v2(db, "SELECT cid FROM pragma_table_xinfo(?1, 'main') WHERE name = ?2", -1, &raw, nullptr) !=
      SQLITE_OK) {
    sqlite3_finalize(raw);
    return -1;
  }
  stmt.reset(raw);
  sqlite3_bind_text(raw, 1, table, -1, SQLITE_STATIC);
  sqlite3_bind_text(raw, 2, column, -1, SQLITE_STATIC);
  return sqlite3_step(raw) == SQLITE_ROW ? sqlite3_column_int(raw, 0) : -1;
}

// The value lies at the reference's place, with its length, under the select's own read.
bool found_again(sqlite3* db, const RowReference& ref) {
  sqlite3_blob* blob = nullptr;
  bool found = sqlite3_blob_open(db, "main", ref.table.c_str(), ref.column.c_str(), ref.rowid, 0, &blob) == SQLITE_OK &&
               static_cast<size_t>(sqlite3_blob_bytes(blob)) == ref.size;
  sqlite3_blob_close(blob);
  return found;
}

// Called with the registry's lock held, before `db` changes row `rowid` of `table`.
void copy_before_change(Registry& reg, sqlite3* db, int op, const char* table, int64_t rowid) {
  auto range = reg.refs.equal_range({table, rowid});
  for (auto it = range.first; it != range.second; ++it) {
    RowReference& ref = *it->second;
    std::lock_guard<std::mutex> guard(ref.lock);
    if (ref.copy || ref.lost) continue;
    sqlite3_value* old = nullptr;
    // A row inserted where a referenced one stood: that one went without a hook (a dropped table).
    if (op != SQLITE_INSERT && sqlite3_preupdate_old(db, ref.column_index, &old) == SQLITE_OK &&
        sqlite3_value_type(old) == SQLITE_BLOB && static_cast<size_t>(sqlite3_value_bytes(old)) == ref.size) {
      ref.copy = std::make_unique<KeptObject>(sqlite3_value_blob(old), ref.size);
    } else {
      ref.lost = true;
    }
  }
}

// The bytes of the reference's row through `reader`, into a copy; false when they cannot be read.
bool copy_from_row(sqlite3* reader, RowReference& ref) {
  std::string bytes(ref.size, '\0');
  bool read = read_row_value(reader, ref.table, ref.column, ref.rowid, ref.size, bytes.data());
  if (read) ref.copy = std::make_unique<KeptObject>(bytes.data(), ref.size);
  return read;
}

}  // namespace

void copy_all_references(sqlite3* db) {
  Registry& reg = registry();
  if (reg.count.load() == 0) return;
  // The connection that compiles the statement may not be used meanwhile; a reader of its own
  // sees the last committed rows, which a referenced row still holds (a change would have copied it).
  const char* vfs = nullptr;
  sqlite3_file_control(db, "main", SQLITE_FCNTL_VFSNAME, &vfs);
  sqlite3* raw = nullptr;
  int rc = sqlite3_open_v2(sqlite3_db_filename(db, "main"), &raw, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX,
                           vfs && std::strncmp(vfs, "unix-excl", 9) == 0 ? "unix-excl" : nullptr);
  sqlite3_free(const_cast<char*>(vfs));
  DbPtr reader(raw);
  if (rc != SQLITE_OK) return;
  std::lock_guard<std::mutex> guard(reg.lock);
  for (auto& [key, ref] : reg.refs) {
    std::lock_guard<std::mutex> ref_guard(ref->lock);
    if (!ref->copy && !ref->lost) ref->lost = !copy_from_row(reader.get(), *ref);
  }
}

ChangeStamp stamp_changes(sqlite3* db) {
  // With a read under way, the statement's rows may come from before the stamp.
  if (sqlite3_txn_state(db, "main") != SQLITE_TXN_NONE) return {};
  Registry& reg = registry();
  return {true, reg.changes.load(), reg.commits.load()};
}

int schema_version(sqlite3* db) {
  sqlite3_stmt* raw = nullptr;
  int version = -1;
  if (sqlite3_prepare_v2(db, "PRAGMA main.schema_version", -1, &raw, nullptr) == SQLITE_OK &&
      sqlite3_step(raw) == SQLITE_ROW) {
    version = sqlite3_column_int(raw, 0);
  }
  sqlite3_finalize(raw);
  return version;
}

std::shared_ptr<RowReference> take_reference(sqlite3_stmt* stmt, int col, int rowid_col, const ChangeStamp& stamp) {
  if (!stamp.valid || rowid_col < 0 || sqlite3_column_type(stmt, col) != SQLITE_BLOB ||
      sqlite3_column_type(stmt, rowid_col) != SQLITE_INTEGER) {
    return nullptr;
  }
  const char* table = sqlite3_column_table_name(stmt, col);
  const char* origin = sqlite3_column_origin_name(stmt, col);
  const char* rowid_table = sqlite3_column_table_name(stmt, rowid_col);
  if (!table || !origin || !is_main(sqlite3_column_database_name(stmt, col)) || !rowid_table ||
      std::strcmp(table, rowid_table) != 0) {
    return nullptr;
  }
  return refer_to_row(sqlite3_db_handle(stmt), table, origin, sqlite3_column_int64(stmt, rowid_col),
                      static_cast<size_t>(sqlite3_column_bytes(stmt, col)), stamp);
}

std::shared_ptr<RowReference> refer_to_row(sqlite3* db, const std::string& table, const std::string& column,
                                           int64_t rowid, size_t size, const ChangeStamp& stamp) {
  if (!stamp.valid) return nullptr;
  auto ref = std::make_shared<RowReference>();
  ref->table = table;
  ref->column = column;
  ref->rowid = rowid;
  ref->size = size;
  ref->column_index = column_index(db, table.c_str(), column.c_str());
  ref->schema = schema_version(db);
  if (ref->column_index < 0 || ref->schema < 0 || !found_again(db, *ref)) return nullptr;
  Registry& reg = registry();
  std::lock_guard<std::mutex> guard(reg.lock);
  reg.count.fetch_add(1);
  // A write under way or a change since the read began may be missing from the read.
  if (reg.writers.load() != 0 || reg.commits.load() != stamp.commits || reg.changes.load() != stamp.changes) {
    reg.count.fetch_sub(1);
    return nullptr;
  }
  reg.refs.emplace(std::make_pair(ref->table, ref->rowid), ref.get());
  return ref;
}

bool read_row_value(sqlite3* db, const std::string& table, const std::string& column, int64_t rowid, size_t size,
                    char* into) {
  sqlite3_blob* blob = nullptr;
  bool read = sqlite3_blob_open(db, "main", table.c_str(), column.c_str(), rowid, 0, &blob) == SQLITE_OK &&
              static_cast<size_t>(sqlite3_blob_bytes(blob)) == size &&
              sqlite3_blob_read(blob, into, static_cast<int>(size), 0) == SQLITE_OK;
  sqlite3_blob_close(blob);
  return read;
}

void drop_reference(const std::shared_ptr<RowReference>& ref) {
  Registry& reg = registry();
  std::lock_guard<std::mutex> guard(reg.lock);
  auto range = reg.refs.equal_range({ref->table, ref->rowid});
  for (auto it = range.first; it != range.second; ++it) {
    if (it->second == ref.get()) {
      reg.refs.erase(it);
      reg.count.fetch_sub(1);
      return;
    }
  }
}

RowChangeWatch::~RowChangeWatch() { end_write(); }

void RowChangeWatch::watch(sqlite3* db) {
  sqlite3_preupdate_hook(db, on_change, this);
  sqlite3_wal_hook(db, on_commit, this);
  sqlite3_rollback_hook(db, on_rollback, this);
}

void RowChangeWatch::on_change(void* self, sqlite3* db, int op, const char* db_name, const char* table,
                               sqlite3_int64 key1, sqlite3_int64 key2) {
  if (!is_main(db_name)) return;
  auto* watch = static_cast<RowChangeWatch*>(self);
  Registry& reg = registry();
  if (!watch->writing_) {
    watch->writing_ = true;
    reg.writers.fetch_add(1);
  }
  reg.changes.fetch_add(1);
  if (reg.count.load() == 0) return;
  std::lock_guard<std::mutex> guard(reg.lock);
  copy_before_change(reg, db, op, table, op == SQLITE_INSERT ? key2 : key1);
}

// Runs once a commit is in the log, so a read that begins later sees it.
int RowChangeWatch::on_commit(void* self, sqlite3* db, const char* db_name, int pages) {
  registry().commits.fetch_add(1);
  static_cast<RowChangeWatch*>(self)->end_write();
  wake_writers();
  if (pages >= kCheckpointPages) sqlite3_wal_checkpoint(db, db_name);
  return SQLITE_OK;
}

void RowChangeWatch::on_rollback(void* self) { static_cast<RowChangeWatch*>(self)->end_write(); }

void RowChangeWatch::end_write() {
  if (!writing_) return;
  writing_ = false;
  registry().writers.fetch_sub(1);
}

}  // namespace zv
