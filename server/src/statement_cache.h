// The statements a link ran lately, kept compiled under their text, so that a text sent
// again is not parsed again. SQLite recompiles a kept statement by itself when the schema
// under it changed, so a kept statement always runs against the tables as they are now.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "sqlite_handles.h"

namespace zv {

class StatementCache {
 public:
  static constexpr size_t kMaxEntries = 64;
  // Longer texts are seldom sent twice; they are not kept, which also bounds the memory.
  static constexpr size_t kMaxText = 4096;

  explicit StatementCache(size_t max_entries = kMaxEntries) : max_entries_(max_entries) {}

  // Takes out the statement kept for exactly `text`, with `used`, the length of the text
  // that SQLite compiled into it. False, with nothing taken, when none is kept.
  bool take(std::string_view text, StmtPtr& stmt, size_t& used);
  // Resets `stmt`, drops its bound values and keeps it under `text`, in place of the
  // statement used longest ago when the cache is full. A PRAGMA is not kept (some compile
  // their answer into the statement), nor a text longer than kMaxText: they are finalized.
  void give_back(std::string_view text, StmtPtr stmt, size_t used);

 private:
  struct Entry {
    std::string text;
    StmtPtr stmt;  // null while taken out
    size_t used = 0;
    uint64_t last_use = 0;
  };
  Entry* find(std::string_view text);

  size_t max_entries_;
  uint64_t uses_ = 0;
  std::vector<Entry> entries_;
};

}  // namespace zv
