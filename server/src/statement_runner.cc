#include "statement_runner.h"

#include <algorithm>
#include <cctype>

#include "batch_runner.h"
#include "interval_type_quoting.h"
#include "large_blocks.h"
#include "parameter_binding.h"
#include "routine_call.h"
#include "routine_catalogue.h"
#include "rowid_query.h"
#include "sqlite_error.h"
#include "text_util.h"

namespace zv {
namespace {

constexpr int64_t kAllRows = INT64_MAX;

std::string_view first_word(std::string_view text) {
  size_t end = 0;
  while (end < text.size() && (std::isalpha(static_cast<unsigned char>(text[end])))) ++end;
  return text.substr(0, end);
}

void single_text_row(ReplyWriter& out, const char* column, int32_t size, const std::string& value) {
  out.letter('A');
  out.int32(1);
  out.string(column);
  out.int32(kChar);
  out.int32(size);
  out.int32(0);
  out.letter('R');
  out.string(value);
}

// Row 0 of a command's parameters, when it brought any, into the placeholders of `stmt`. A
// statement with placeholders and no parameters is refused: SQLite would run it with NULLs, and a
// client that left a value unbound would never hear of it.
bool bind_parameters(sqlite3_stmt* stmt, const Parameters& params, ReplyWriter& out) {
  std::string error;
  const int placeholders = sqlite3_bind_parameter_count(stmt);
  if (!params.given() && placeholders == 0) return true;
  if (!params.given())
    error = "[E10003]the statement has " + std::to_string(placeholders) + " placeholders, 0 parameters were sent";
  else if (bind_row(stmt, params, 0, error))
    return true;
  out.error(error);
  return false;
}

// Statements that begin or end a transaction themselves; the others open one in manual mode.
bool controls_transaction(std::string_view verb) {
  return iequals(verb, "BEGIN") || iequals(verb, "SAVEPOINT") || iequals(verb, "RELEASE") || iequals(verb, "ROLLBACK");
}

// A column declared as a large object that reads a table's column.
bool reads_table_lobs(sqlite3_stmt* stmt) {
  for (int col = 0; col < sqlite3_column_count(stmt); ++col) {
    int32_t code = type_from_declared(sqlite3_column_decltype(stmt, col)).code;
    if ((code == kBlob || code == kClob) && sqlite3_column_table_name(stmt, col)) return true;
  }
  return false;
}

std::string version_text() { return std::string("Zanvo reference server 1.0 (SQLite ") + sqlite3_libversion() + ")"; }

}  // namespace

StatementRunner::StatementRunner(sqlite3* db, bool auto_commit, LobPolicy lobs, KeepLimits limits)
    : db_(db), auto_commit_(auto_commit), lobs_(lobs), limits_(limits), prepared_(limits.max_prepared) {}

void StatementRunner::run(std::string_view text, const Parameters& params, ReplyWriter& out) {
  // The text ends at its NUL, as it would for SQLite; bytes behind one are not statements.
  text = text.substr(0, text.find('\0'));
  std::string quoted;
  if (may_hold_interval_type(text)) {
    quoted = quote_interval_types(text);
    text = quoted;
  }
  std::string_view rest = text;
  for (bool first = true;; first = false) {
    while (!rest.empty() && (is_space(rest.front()) || rest.front() == ';')) rest.remove_prefix(1);
    if (rest.empty() || !out.ok()) break;
    if (!first && params.given()) {
      out.error("[E10003]parameters go with a text of one statement: the statements behind the first were not run");
      break;
    }
    SpecialStatement special = recognize_special(rest);
    bool good;
    if (special.kind == SpecialKind::kNone) {
      good = run_sql(rest, params, out);
    } else {
      good = run_special(special, rest, params, out);
      rest.remove_prefix(std::min(special.length, rest.size()));
    }
    if (!good) break;
  }
  out.letter('K');
}

bool StatementRunner::prepare(std::string_view sql, StmtPtr& stmt, const char*& tail, ReplyWriter& out) {
  sqlite3_stmt* raw = nullptr;
  int rc = sqlite3_prepare_v2(db_, sql.data(), static_cast<int>(sql.size()), &raw, &tail);
  stmt.reset(raw);
  if (rc != SQLITE_OK) {
    sqlite_error(out);
    return false;
  }
  return true;
}

bool StatementRunner::run_sql(std::string_view& rest, const Parameters& params, ReplyWriter& out) {
  std::string_view verb = first_word(rest);
  if (!controls_transaction(verb) && !begin_if_manual(out)) return false;
  StmtPtr stmt;
  size_t used = 0;
  if (!statements_.take(rest, stmt, used)) {
    const char* tail = nullptr;
    if (!prepare(rest, stmt, tail, out)) return false;
    used = static_cast<size_t>(tail - rest.data());
  }
  const std::string_view text = rest;
  // Nothing but a comment: SQLite compiled nothing, and whatever it left is no statement.
  rest.remove_prefix(stmt || used > 0 ? used : rest.size());
  if (!stmt) return true;
  const bool good = execute(stmt, verb, params, out);
  statements_.give_back(text, std::move(stmt), used);
  return good;
}

bool StatementRunner::execute(StmtPtr& stmt, std::string_view verb, const Parameters& params, ReplyWriter& out) {
  if (params.batch_rows > 0) return run_batch(db_, stmt.get(), verb, params, out);
  if (!bind_parameters(stmt.get(), params, out)) return false;
  if (sqlite3_column_count(stmt.get()) == 0) return run_change(stmt.get(), verb, out);
  ResultStream rows(std::move(stmt));
  const bool started = rows.start();
  if (started) {
    rows.write_header(out);
    rows.write_rows(out, lobs_, kAllRows);
  } else {
    out.error(rows.error_text());
  }
  stmt = rows.release();
  return started;
}

// INSERT/REPLACE/MERGE answer the new row id, UPDATE and DELETE the rows they touched.
bool StatementRunner::run_change(sqlite3_stmt* stmt, std::string_view verb, ReplyWriter& out) {
  int rc;
  while ((rc = sqlite3_step(stmt)) == SQLITE_ROW) {
  }
  if (rc != SQLITE_DONE) {
    sqlite_error(out);
    return false;
  }
  if (iequals(verb, "INSERT") || iequals(verb, "REPLACE") || iequals(verb, "MERGE")) {
    out.letter('I');
    out.string(std::to_string(sqlite3_last_insert_rowid(db_)));
  } else if (iequals(verb, "UPDATE")) {
    out.letter('U');
    out.int32(sqlite3_changes(db_));
  } else if (iequals(verb, "DELETE")) {
    out.letter('D');
    out.int32(sqlite3_changes(db_));
  }
  return true;
}

bool StatementRunner::run_special(SpecialStatement& s, std::string_view text, const Parameters& params,
                                  ReplyWriter& out) {
  const bool takes_parameters = s.kind == SpecialKind::kDeclareCursor || s.kind == SpecialKind::kCallRoutine ||
                                s.kind == SpecialKind::kRunPrepared;
  if (params.given() && !takes_parameters) {
    out.error("[E10003]this statement takes no parameters");
    return false;
  }
  if (params.batch_rows > 0 && s.kind != SpecialKind::kRunPrepared) {
    out.error("[E10003]an array batch runs neither a cursor nor a routine call");
    return false;
  }
  switch (s.kind) {
    case SpecialKind::kShowAutoCommit:
      single_text_row(out, "auto_commit", 1, auto_commit_ ? "T" : "F");
      return true;
    case SpecialKind::kSetAutoCommit:
      // Turning auto commit back on ends the open transaction the way COMMIT does.
      if (s.on && !end_transaction("COMMIT", out)) return false;
      auto_commit_ = s.on;
      return true;
    case SpecialKind::kCommit:
      return end_transaction("COMMIT", out);
    case SpecialKind::kRollback:
      return end_transaction("ROLLBACK", out);
    case SpecialKind::kShowVersion:
      single_text_row(out, "version", 64, version_text());
      return true;
    case SpecialKind::kDeclareCursor:
      return declare_cursor(s, text, params, out);
    case SpecialKind::kCreateRoutine:
      return create_routine(s, text, out);
    case SpecialKind::kDropRoutine:
      return drop_routine(s, out);
    case SpecialKind::kCallRoutine:
      return begin_if_manual(out) && call_routine(db_, text.substr(0, s.length), params, out);
    case SpecialKind::kFetchCursor:
      return fetch_cursor(s, out);
    case SpecialKind::kPrepare:
      return prepare_named(s, text, out);
    case SpecialKind::kRunPrepared:
      return run_prepared(s, params, out);
    case SpecialKind::kDeallocate:
      return deallocate(s, out);
    case SpecialKind::kOpenCursor:
    case SpecialKind::kCloseCursor: {
      auto it = cursors_.find(s.name);
      if (it == cursors_.end()) {
        out.error("[E10005]no cursor named " + s.name);
        return false;
      }
      if (s.kind == SpecialKind::kCloseCursor) close_cursor(it);
      return true;
    }
    case SpecialKind::kNone:
      break;
  }
  return true;
}

// COMMIT and ROLLBACK with no transaction open have nothing to do and succeed.
bool StatementRunner::end_transaction(const char* verb, ReplyWriter& out) {
  if (sqlite3_get_autocommit(db_)) return true;
  if (sqlite3_exec(db_, verb, nullptr, nullptr, nullptr) != SQLITE_OK) {
    sqlite_error(out);
    return false;
  }
  return true;
}

bool StatementRunner::begin_if_manual(ReplyWriter& out) {
  if (auto_commit_ || !sqlite3_get_autocommit(db_)) return true;
  if (sqlite3_exec(db_, "BEGIN", nullptr, nullptr, nullptr) != SQLITE_OK) {
    sqlite_error(out);
    return false;
  }
  return true;
}

bool StatementRunner::declare_cursor(SpecialStatement& s, std::string_view text, const Parameters& params,
                                     ReplyWriter& out) {
  StmtPtr stmt;
  const char* tail = nullptr;
  std::string_view query = text.substr(s.query_start);
  // A prepared statement's name stands for its text: the cursor runs a copy of its own, so that
  // the statement stays free for "? name" while the cursor lasts.
  const std::vector<std::string_view> words = split_words(strip_statement_end(query), 2);
  const PreparedStatement* named = words.size() == 1 ? prepared_.find(upper_case(words[0])) : nullptr;
  if (named) query = sqlite3_sql(named->stmt.get());
  // The cursor keeps its text, the rest of the command behind FOR, to give its statement back
  // to the statement cache under it.
  auto existing = cursors_.find(s.name);
  const size_t kept = s.name.size() + query.size();
  if (!name_fits(s.name, "[E10006]a cursor name", out) ||
      !room_for(kept, existing == cursors_.end() ? 0 : existing->second.kept, out)) {
    return false;
  }
  size_t used = 0;
  if (statements_.take(query, stmt, used)) {
    tail = query.data() + used;
  } else {
    if (!prepare(query, stmt, tail, out)) return false;
    used = static_cast<size_t>(tail - query.data());
  }
  if (!stmt || sqlite3_column_count(stmt.get()) == 0) {
    out.error("[E10004]a cursor needs a query that returns rows");
    return false;
  }
  std::string cursor_text(query);
  AddedColumns added = add_rowid_column(cursor_text, stmt, used);
  auto give_back_on_error = [&] { statements_.give_back(cursor_text, std::move(stmt), used); };
  if (!bind_parameters(stmt.get(), params, out)) {
    give_back_on_error();
    return false;
  }
  if (existing == cursors_.end() && cursors_.size() >= kMaxCursors) {
    out.error("[E10006]too many open cursors");
    give_back_on_error();
    return false;
  }
  if (existing != cursors_.end()) close_cursor(existing);
  cursors_[s.name] = Cursor{std::make_unique<ResultStream>(std::move(stmt), std::move(added)), false,
                            std::move(cursor_text), used, kept};
  kept_ += kept;
  // The query's own end decides where the next statement starts, not the first ";".
  s.length = named ? text.size() : static_cast<size_t>(tail - text.data());
  return true;
}

AddedColumns StatementRunner::add_rowid_column(std::string& text, StmtPtr& stmt, size_t& used) {
  AddedColumns added;
  if (!lobs_.store || !reads_table_lobs(stmt.get())) return added;
  std::string with_rowid = with_rowid_column(std::string_view(text).substr(0, used));
  if (with_rowid.empty()) return added;
  StmtPtr other;
  size_t other_used = 0;
  take_or_compile(with_rowid, other, other_used);
  if (!other || !adds_rowid_column(stmt.get(), other.get())) return added;
  statements_.give_back(text, std::move(stmt), used);
  stmt = std::move(other);
  text = std::move(with_rowid);
  used = other_used;
  added.rowid = true;
  leave_blobs_unread(text, stmt, used, added);
  return added;
}

void StatementRunner::leave_blobs_unread(std::string& text, StmtPtr& stmt, size_t& used, AddedColumns& added) {
  // A value that goes out inline, or is copied at the select anyway, is read at the select.
  const int64_t min_bytes = std::max<int64_t>(static_cast<int64_t>(kLargeBlockMin), lobs_.inline_max + 1);
  std::vector<UnreadBlob> unread;
  std::string query = with_unread_blobs(std::string_view(text).substr(0, used), stmt.get(), min_bytes, unread);
  if (query.empty()) return;
  StmtPtr other;
  size_t other_used = 0;
  take_or_compile(query, other, other_used);
  if (!other || sqlite3_column_count(other.get()) != sqlite3_column_count(stmt.get()) + static_cast<int>(unread.size())) {
    return;
  }
  added.declared = declared_fields(stmt.get());
  added.unread = std::move(unread);
  statements_.give_back(text, std::move(stmt), used);
  stmt = std::move(other);
  text = std::move(query);
  used = other_used;
}

void StatementRunner::take_or_compile(const std::string& text, StmtPtr& stmt, size_t& used) {
  if (statements_.take(text, stmt, used)) return;
  sqlite3_stmt* raw = nullptr;
  const char* tail = nullptr;
  sqlite3_prepare_v2(db_, text.data(), static_cast<int>(text.size()), &raw, &tail);
  stmt.reset(raw);
  used = raw ? static_cast<size_t>(tail - text.data()) : 0;
}

bool StatementRunner::fetch_cursor(const SpecialStatement& s, ReplyWriter& out) {
  auto it = cursors_.find(s.name);
  if (it == cursors_.end()) {
    out.error("[E10005]no cursor named " + s.name);
    return false;
  }
  Cursor& c = it->second;
  if (!c.started) {
    if (!begin_if_manual(out)) return false;
    if (!c.rows->start()) {
      out.error(c.rows->error_text());
      close_cursor(it);
      return false;
    }
    c.started = true;
  }
  c.rows->write_header(out);
  c.rows->write_rows(out, lobs_, s.count);
  // The header stays with the cursor for later fetches, which bring no rows.
  if (c.rows->exhausted()) give_back_statement(c);
  return true;
}

void StatementRunner::give_back_statement(Cursor& c) { statements_.give_back(c.text, c.rows->release(), c.used); }

void StatementRunner::close_cursor(std::map<std::string, Cursor>::iterator it) {
  give_back_statement(it->second);
  kept_ -= it->second.kept;
  cursors_.erase(it);
}

// The definition is checked before it is kept; its body is compiled only when it is called,
// so that it may use tables made later.
bool StatementRunner::create_routine(SpecialStatement& s, std::string_view text, ReplyWriter& out) {
  RoutineText routine;
  std::string error;
  if (parse_routine_definition(text, routine, s.length, error) && begin_if_manual(out) &&
      store_routine(db_, routine, error)) {
    return true;
  }
  if (!error.empty()) out.error(error);
  return false;
}

bool StatementRunner::drop_routine(const SpecialStatement& s, ReplyWriter& out) {
  std::string error;
  if (!begin_if_manual(out)) return false;
  if (zv::drop_routine(db_, s.routine, error)) return true;
  out.error(error);
  return false;
}

// The reply tells the client, before any run, what the statement will bring: "A" and the
// field descriptions when it returns rows, then "$" and its placeholders. A column without a
// declared type is described as a null would be, since no row has typed it yet.
bool StatementRunner::prepare_named(const SpecialStatement& s, std::string_view text, ReplyWriter& out) {
  if (!name_fits(s.name, "[E10010]a statement name", out)) return false;
  std::string_view sql = text.substr(s.query_start);
  StmtPtr stmt;
  const char* tail = nullptr;
  if (!prepare(sql, stmt, tail, out)) return false;
  std::string_view behind = sql.substr(static_cast<size_t>(tail - sql.data()));
  if (!stmt || !strip_statement_end(behind).empty()) {
    out.error("[E10010]PREPARE takes one statement");
    return false;
  }
  // A statement prepared again under its name gives back what the one it replaces kept.
  const PreparedStatement* replaced = prepared_.find(s.name);
  const size_t freed = replaced ? replaced->kept : 0;
  const size_t kept = s.name.size() + static_cast<size_t>(tail - sql.data());
  if (!room_for(kept, freed, out)) return false;
  sqlite3_stmt* p = prepared_.keep(s.name, {std::move(stmt), std::string(first_word(trim(sql))), kept});
  if (!p) {
    out.error("[E10011]too many prepared statements: a link keeps at most " + std::to_string(prepared_.max()));
    return false;
  }
  kept_ += kept - freed;
  if (sqlite3_column_count(p) > 0) write_field_descriptions(describe_fields(p, false), out);
  write_parameter_descriptions(p, out);
  return true;
}

// The statement is reset after each run, so it holds no read snapshot or values between runs.
bool StatementRunner::run_prepared(const SpecialStatement& s, const Parameters& params, ReplyWriter& out) {
  PreparedStatement* p = prepared_.find(s.name);
  if (!p) {
    out.error("[E10012]no prepared statement named " + s.name);
    return false;
  }
  if (!controls_transaction(p->verb) && !begin_if_manual(out)) return false;
  const bool good = execute(p->stmt, p->verb, params, out);
  sqlite3_reset(p->stmt.get());
  sqlite3_clear_bindings(p->stmt.get());
  return good;
}

bool StatementRunner::deallocate(const SpecialStatement& s, ReplyWriter& out) {
  const PreparedStatement* p = prepared_.find(s.name);
  if (!p) {
    out.error("[E10012]no prepared statement named " + s.name);
    return false;
  }
  kept_ -= p->kept;
  prepared_.forget(s.name);
  return true;
}

bool StatementRunner::name_fits(const std::string& name, const char* error, ReplyWriter& out) {
  if (name.size() <= limits_.name_max) return true;
  out.error(error + std::string(" has at most ") + std::to_string(limits_.name_max) + " characters");
  return false;
}

bool StatementRunner::room_for(size_t kept, size_t replaced, ReplyWriter& out) {
  if (kept_ - replaced + kept <= limits_.kept_max) return true;
  out.error("[E10013]a link keeps at most " + std::to_string(limits_.kept_max) +
            " bytes of the names and texts of its cursors and prepared statements");
  return false;
}

void StatementRunner::sqlite_error(ReplyWriter& out) { out.error(sqlite_error_text(db_)); }

}  // namespace zv
