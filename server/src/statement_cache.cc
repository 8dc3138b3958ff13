#include "statement_cache.h"

#include <utility>

#include "text_util.h"

namespace zv {
namespace {

bool is_pragma(std::string_view text) {
  std::string_view t = trim(text);
  return t.size() >= 6 && iequals(t.substr(0, 6), "PRAGMA");
}

}  // namespace

StatementCache::Entry* StatementCache::find(std::string_view text) {
  for (Entry& e : entries_) {
    if (e.text.size() == text.size() && e.text == text) return &e;
  }
  return nullptr;
}

bool StatementCache::take(std::string_view text, StmtPtr& stmt, size_t& used) {
  if (text.size() > kMaxText) return false;
  Entry* e = find(text);
  if (!e || !e->stmt) return false;
  stmt = std::move(e->stmt);
  used = e->used;
  e->last_use = ++uses_;
  return true;
}

void StatementCache::give_back(std::string_view text, StmtPtr stmt, size_t used) {
  if (!stmt || max_entries_ == 0 || text.size() > kMaxText || is_pragma(text)) return;
  sqlite3_reset(stmt.get());
  sqlite3_clear_bindings(stmt.get());
  Entry* e = find(text);
  if (!e && entries_.size() < max_entries_) e = &entries_.emplace_back();
  if (!e) {
    e = &entries_.front();
    for (Entry& other : entries_) {
      if (other.last_use < e->last_use) e = &other;
    }
  }
  if (e->text != text) e->text.assign(text);
  e->stmt = std::move(stmt);
  e->used = used;
  e->last_use = ++uses_;
}

}  // namespace zv
