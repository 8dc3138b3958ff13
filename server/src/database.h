// The database all connections of a server share, and the opening of connections to it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "sqlite_handles.h"

namespace zv {

class Database {
 public:
  // Opens the file at `path`, or a private database when `path` is empty; makes sure
  // that the one-row table `dual` and the routine catalogue exist. Null with a reason in `error` on failure.
  static std::unique_ptr<Database> open(const std::string& path, std::string& error);
  ~Database();

  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  // A connection for one client. A lock held by another connection is waited for up to
  // `busy_timeout_ms`; no string, blob or row may be longer than `value_max` bytes.
  DbPtr connect(int busy_timeout_ms, int64_t value_max, std::string& error) const;
  const std::string& path() const { return path_; }

 private:
  Database(std::string path, bool is_private) : path_(std::move(path)), private_(is_private) {}

  std::string path_;
  bool private_;
};

}  // namespace zv
