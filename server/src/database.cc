#include "database.h"

#include <dirent.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "routine_catalogue.h"
#include "sandbox.h"
#include "sqlite_memory.h"
#include "write_turns.h"

namespace zv {
namespace {

// The private database is a file in memory-backed /dev/shm where there is one: a file,
// unlike SQLite's shared in-memory databases, can run in WAL mode, where readers see the
// last committed state without waiting for writers.
std::string private_directory() {
  struct stat st;
  if (::stat("/dev/shm", &st) == 0 && S_ISDIR(st.st_mode) && ::access("/dev/shm", W_OK) == 0) return "/dev/shm";
  const char* tmp = std::getenv("TMPDIR");
  return tmp && *tmp ? tmp : "/tmp";
}

constexpr const char* kPrivatePrefix = "zanvo-server-";

// A private database is this process's alone. SQLite's "unix-excl" locks its files once for the
// whole process and then settles the locks of the process's own connections in memory, with
// its wal-index in memory too: no file-lock system call for each transaction.
const char* vfs_for(bool is_private) { return is_private ? "unix-excl" : nullptr; }

// A server that was killed could not remove its private files; the process id in their
// names tells whether their owner is gone.
void remove_stale_private_files(const std::string& dir) {
  DIR* d = ::opendir(dir.c_str());
  if (!d) return;
  const size_t prefix_len = std::strlen(kPrivatePrefix);
  while (dirent* entry = ::readdir(d)) {
    if (std::strncmp(entry->d_name, kPrivatePrefix, prefix_len) != 0) continue;
    char* end = nullptr;
    long pid = std::strtol(entry->d_name + prefix_len, &end, 10);
    if (pid <= 0 || *end != '-') continue;
    if (::kill(static_cast<pid_t>(pid), 0) != 0 && errno == ESRCH) std::remove((dir + "/" + entry->d_name).c_str());
  }
  ::closedir(d);
}

std::string create_private_file(std::string& error) {
  remove_stale_private_files(private_directory());
  std::string path = private_directory() + "/" + kPrivatePrefix + std::to_string(::getpid()) + "-XXXXXX";
  int fd = ::mkstemp(path.data());
  if (fd < 0) {
    error = "cannot create a private database file in " + private_directory();
    return {};
  }
  ::close(fd);
  return path;
}

bool exec(sqlite3* db, const char* sql, std::string& error) {
  char* message = nullptr;
  if (sqlite3_exec(db, sql, nullptr, nullptr, &message) == SQLITE_OK) return true;
  error = message ? message : sqlite3_errmsg(db);
  sqlite3_free(message);
  return false;
}

}  // namespace

std::unique_ptr<Database> Database::open(const std::string& path, std::string& error) {
  // SQLite's count of the memory it uses takes a process-wide lock on every allocation, and
  // nothing here reads the count: without it the links' threads do not wait on one another.
  // Only possible before SQLite is first used; later it is refused, and nothing changes.
  sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0);
  use_warm_memory_for_sqlite();
  bool is_private = path.empty();
  std::string file = is_private ? create_private_file(error) : path;
  if (file.empty()) return nullptr;
  std::unique_ptr<Database> database(new Database(file, is_private));
  sqlite3* raw = nullptr;
  int rc = sqlite3_open_v2(file.c_str(), &raw, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, vfs_for(is_private));
  DbPtr db(raw);
  if (rc != SQLITE_OK) {
    error = "cannot open " + file + ": " + (raw ? sqlite3_errmsg(raw) : "out of memory");
    return nullptr;
  }
  sqlite3_busy_timeout(db.get(), 5000);
  if (!exec(db.get(), "PRAGMA journal_mode=WAL", error) ||
      !exec(db.get(),
            "CREATE TABLE IF NOT EXISTS dual(dummy VARCHAR(1));"
            "INSERT INTO dual SELECT 'X' WHERE NOT EXISTS (SELECT 1 FROM dual);",
            error) ||
      !exec(db.get(), kRoutineTable, error)) {
    error = "cannot prepare " + file + ": " + error;
    return nullptr;
  }
  return database;
}

Database::~Database() {
  if (!private_) return;
  for (const char* suffix : {"", "-wal", "-shm", "-journal"}) std::remove((path_ + suffix).c_str());
}

DbPtr Database::connect(int busy_timeout_ms, int64_t value_max, std::string& error) const {
  sqlite3* raw = nullptr;
  // A link's connection is used by its own thread alone, so SQLite's per-call mutex is not needed.
  int rc = sqlite3_open_v2(path_.c_str(), &raw, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, vfs_for(private_));
  DbPtr db(raw);
  if (rc != SQLITE_OK) {
    error = raw ? sqlite3_errmsg(raw) : "out of memory";
    return nullptr;
  }
  wait_for_writers(db.get(), busy_timeout_ms);
  // A private database dies with the server, so nothing is gained by waiting for the disk. Its
  // files are the server's alone, in memory, so SQLite reads its pages through a mapping
  // instead of a system call for each page.
  const char* setup = private_ ? "PRAGMA synchronous=OFF; PRAGMA mmap_size=1073741824" : "PRAGMA synchronous=NORMAL";
  if (!exec(db.get(), setup, error)) return nullptr;
  confine(db.get(), value_max);
  return db;
}

}  // namespace zv
