// The rows of one query, sent as an "A" record: field descriptions, then "R" rows.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "reply_writer.h"
#include "row_references.h"
#include "sqlite_handles.h"
#include "type_codes.h"
#include "value_encoder.h"

namespace zv {

struct FieldDescription {
  std::string name;  // "table.name%alias" for an aliased table column, else the name
  ColumnType type;
};

// The descriptions of the columns of `stmt`. A column without a declared type is typed by
// the current row's value when `have_row`, else as a null would be.
std::vector<FieldDescription> describe_fields(sqlite3_stmt* stmt, bool have_row);
// "A", the field count and the descriptions.
void write_field_descriptions(const std::vector<FieldDescription>& fields, ReplyWriter& out);

class ResultStream {
 public:
  // With `rowid_column`, the statement's last column is the row id of the rows' table: the
  // client never sees it, and large objects of that table are kept by reference to their row.
  explicit ResultStream(StmtPtr stmt, bool rowid_column = false);

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
  StmtPtr stmt_;
  int state_ = SQLITE_OK;  // result of the latest step
  int rowid_col_ = -1;
  ChangeStamp stamp_;  // taken before the first step
  std::vector<FieldDescription> fields_;
};

}  // namespace zv
