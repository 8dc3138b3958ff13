// The statements a link has prepared by name, which "? name" runs again and again.
#pragma once

#include <cstddef>
#include <map>
#include <string>

#include "reply_writer.h"
#include "sqlite_handles.h"

namespace zv {

struct PreparedStatement {
  StmtPtr stmt;
  std::string verb;  // the statement's first word, which decides its reply record
  size_t kept = 0;   // bytes of its name and text, which count against the link's cap
};

class PreparedStatements {
 public:
  explicit PreparedStatements(size_t max) : max_(max) {}

  // Keeps `p` under `name`, in place of one prepared under that name before. Null, with
  // nothing kept, when a new name would pass the cap; else the statement now kept.
  sqlite3_stmt* keep(const std::string& name, PreparedStatement p);
  // Null when nothing is prepared under `name`.
  PreparedStatement* find(const std::string& name);
  void forget(const std::string& name) { statements_.erase(name); }
  size_t max() const { return max_; }

 private:
  size_t max_;
  std::map<std::string, PreparedStatement> statements_;
};

// "$", the count of the placeholders of `stmt` and for each its name without its mark (empty
// for "?"), its position from 1, type code CHAR and size 0: SQLite declares no types.
void write_parameter_descriptions(sqlite3_stmt* stmt, ReplyWriter& out);

}  // namespace zv
