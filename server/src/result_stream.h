// The rows of one query, sent as an "A" record: field descriptions, then "R" rows.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "reply_writer.h"
#include "row_references.h"
#include "rowid_query.h"
#include "sqlite_handles.h"
#include "type_codes.h"
#include "value_encoder.h"

namespace zv {

struct FieldDescription {
  std::string name;  // "table.name%alias" for an aliased table column, else the name
  ColumnType type;
};

// The names and declared types of the columns of `stmt`; kUndeclared where none is declared.
std::vector<FieldDescription> declared_fields(sqlite3_stmt* stmt);
// Types each field without a declared type by the value in its place in the current row of
// `stmt` when `have_row`, else as a null would be.
void type_undeclared(std::vector<FieldDescription>& fields, sqlite3_stmt* stmt, bool have_row);
// The descriptions of the columns of `stmt`, typed as type_undeclared does.
std::vector<FieldDescription> describe_fields(sqlite3_stmt* stmt, bool have_row);

// "A", the field count and the descriptions.
void write_field_descriptions(const std::vector<FieldDescription>& fields, ReplyWriter& out);

// What a cursor's statement reads beside the query's columns: the row id of the rows' table
// right after them, and behind it the lengths of the large blobs it leaves unread (see
// with_unread_blobs), whose fields are described by `declared`, those of the query itself.
struct AddedColumns {
  bool rowid = false;
  std::vector<UnreadBlob> unread;
  std::vector<FieldDescription> declared;
};

class ResultStream {
 public:
  // The client never sees the `added` columns; with a row id, large objects of its table are
  // kept by reference to their row.
  explicit ResultStream(StmtPtr stmt, AddedColumns added = {});

  // Runs the query up to its first row, which types the columns that have no declared
  // type. False when the query failed; the message is then in error_text().
  bool start();
  // "A", the field count and the descriptions.
  void write_header(ReplyWriter& out) const;
  // Up to `limit` rows, each "R" and its values; an error met on the way goes out as "E".
  void write_rows(ReplyWriter& out, const LobPolicy& lobs, int64_t limit);
  bool finished() const { return state_ != SQLITE_ROW; }
  // Every row was read, with no error: the statement is needed no more.
  bool exhausted() const { return state_ == SQLITE_DONE; }
  std::string error_text() const;
  // Hands the statement back, for a caller that keeps it for another run.
  StmtPtr release() { return std::move(stmt_); }

 private:
  // Keeps the unread blobs of the current row, once; false when one cannot be read.
  bool keep_unread(ValueEncoder& encoder);
  // The text standing for column `col` of the current row, or null when its value was read.
  const std::string* kept_text(int col) const;

  StmtPtr stmt_;
  int state_ = SQLITE_OK;  // result of the latest step
  int rowid_col_ = -1;
  ChangeStamp stamp_;  // taken before the first step
  AddedColumns added_;
  std::vector<std::string> kept_;  // for each unread blob of the current row: its text, or empty
  bool row_kept_ = false;          // kept_ is that of the current row
  std::vector<FieldDescription> fields_;
};

}  // namespace zv
