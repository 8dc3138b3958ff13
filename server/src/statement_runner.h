// Runs the statements of one command text on a connection's SQLite handle and writes
// one reply record per statement, then the closing "K".
#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "parameters.h"
#include "prepared_statements.h"
#include "reply_writer.h"
#include "result_stream.h"
#include "special_statements.h"
#include "statement_cache.h"
#include "value_encoder.h"

namespace zv {

// What a link may keep from one command to the next.
struct KeepLimits {
  size_t max_prepared;  // prepared statements at once
  size_t name_max;      // bytes of the name of a cursor or a prepared statement
  size_t kept_max;      // bytes of the names and texts of its cursors and prepared statements together
};

class StatementRunner {
 public:
  static constexpr size_t kMaxCursors = 256;

  StatementRunner(sqlite3* db, bool auto_commit, LobPolicy lobs, KeepLimits limits);

  // `params` belong to the text's first statement: a text that brings parameters runs that
  // one only, and answers the statements behind it with an error.
  void run(std::string_view text, const Parameters& params, ReplyWriter& out);
  bool auto_commit() const { return auto_commit_; }

 private:
  // A cursor's statement comes from the statement cache and goes back to it, under `text`,
  // when the cursor is closed or has given its last row.
  struct Cursor {
    std::unique_ptr<ResultStream> rows;
    bool started = false;
    std::string text;
    size_t used = 0;
    size_t kept = 0;  // bytes of its name and text
  };

  // Each returns false when the statement failed: its "E" is written and the text stops.
  bool run_sql(std::string_view& rest, const Parameters& params, ReplyWriter& out);
  bool run_special(SpecialStatement& s, std::string_view text, const Parameters& params, ReplyWriter& out);
  // Binds `params` and runs `stmt`, which stays with the caller.
  bool execute(StmtPtr& stmt, std::string_view verb, const Parameters& params, ReplyWriter& out);
  bool run_change(sqlite3_stmt* stmt, std::string_view verb, ReplyWriter& out);
  bool end_transaction(const char* verb, ReplyWriter& out);
  bool declare_cursor(SpecialStatement& s, std::string_view text, const Parameters& params, ReplyWriter& out);
  bool create_routine(SpecialStatement& s, std::string_view text, ReplyWriter& out);
  bool drop_routine(const SpecialStatement& s, ReplyWriter& out);
  bool fetch_cursor(const SpecialStatement& s, ReplyWriter& out);
  // With descriptors on, a cursor whose rows hold large objects of a table reads the row id of
  // its rows too, as a last column the client never sees, so that their large objects can be
  // kept by reference instead of copied. Then `text`, `stmt` and `used` become those of that
  // query, the statement they held goes back to the statement cache, and the columns added
  // are returned.
  AddedColumns add_rowid_column(std::string& text, StmtPtr& stmt, size_t& used);
  // Then, where the rows' table has BLOB columns, the cursor runs a query that leaves their
  // large values unread until they are fetched (with_unread_blobs), in the same way.
  void leave_blobs_unread(std::string& text, StmtPtr& stmt, size_t& used, AddedColumns& added);
  // The statement kept for `text`, or one compiled from it; null when it does not compile.
  void take_or_compile(const std::string& text, StmtPtr& stmt, size_t& used);
  // Gives the cursor's statement back to the statement cache; null when it was already.
  void give_back_statement(Cursor& c);
  void close_cursor(std::map<std::string, Cursor>::iterator it);
  bool prepare_named(const SpecialStatement& s, std::string_view text, ReplyWriter& out);
  bool run_prepared(const SpecialStatement& s, const Parameters& params, ReplyWriter& out);
  bool deallocate(const SpecialStatement& s, ReplyWriter& out);
  // False, with "E" written, when the name of a cursor or prepared statement is too long;
  // `error` opens the text.
  bool name_fits(const std::string& name, const char* error, ReplyWriter& out);
  // False, with "E" written, when keeping `kept` bytes in place of `replaced` would pass the cap.
  bool room_for(size_t kept, size_t replaced, ReplyWriter& out);
  // In manual commit mode a statement opens a transaction when none is open.
  bool begin_if_manual(ReplyWriter& out);
  bool prepare(std::string_view sql, StmtPtr& stmt, const char*& tail, ReplyWriter& out);
  void sqlite_error(ReplyWriter& out);

  sqlite3* db_;
  bool auto_commit_;
  LobPolicy lobs_;
  KeepLimits limits_;
  size_t kept_ = 0;  // bytes of the names and texts of the cursors and prepared statements
  std::map<std::string, Cursor> cursors_;
  PreparedStatements prepared_;
  StatementCache statements_;  // the texts run lately, compiled
};

}  // namespace zv
