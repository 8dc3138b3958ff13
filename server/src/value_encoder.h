// Writes one stored value in the wire form of its column's type code.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <string>

#include "lob_store.h"
#include "reply_writer.h"
#include "row_references.h"
#include "rowid_query.h"
#include "type_codes.h"

namespace zv {

// How large objects leave this connection: whole, or (with a store) as "c"/"b" plus
// the bytes up to `inline_max` and as kept descriptors above it.
struct LobPolicy {
  LobStore* store = nullptr;
  int64_t inline_max = 0;
};

class ValueEncoder {
 public:
  // A null goes out as the length `null_length`: -1 in a row, 0 in an output parameter.
  ValueEncoder(ReplyWriter& out, LobPolicy lobs, int32_t null_length = -1)
      : out_(out), lobs_(lobs), null_length_(null_length) {}

  // Writes d_len and the value of column `col` of the current row. When the stored value
  // cannot be read as `type`, a null goes out instead and the result is false. The helpers
  // below take the column's value object and its SQLite storage class, asked once: the value
  // calls skip the statement's per-call checks, and the link's thread alone uses its connection.
  bool write(sqlite3_stmt* stmt, int col, const ColumnType& type);
  // Column `rowid_col` holds the row id of the rows' table, read with `stamp`: a large object of
  // that table may then be kept by reference to its row.
  void find_rows_by(int rowid_col, const ChangeStamp& stamp) {
    rowid_col_ = rowid_col;
    stamp_ = &stamp;
  }
  // For a blob of `length` bytes that the query left unread in `blob`'s column of the current
  // row (see find_rows_by): keeps it, by reference to its row where it can be found again, else
  // as a copy read from the row now, and gives the text that stands for it in the row. Empty
  // when it cannot be read.
  std::string keep_unread(sqlite3_stmt* stmt, const UnreadBlob& blob, int64_t length);

 private:
  bool write_integer(sqlite3_value* value, int storage, int32_t code);
  bool write_numeric(sqlite3_value* value, int storage, int32_t scale);
  bool write_moment(sqlite3_value* value, int storage, int32_t code);
  bool write_interval(sqlite3_value* value, int storage, int32_t code);
  void write_bytes(sqlite3_value* value, int storage);
  void write_lob(sqlite3_stmt* stmt, int col, sqlite3_value* value, int storage, char letter);
  void write_null() { out_.int32(null_length_); }

  ReplyWriter& out_;
  LobPolicy lobs_;
  int32_t null_length_;
  int rowid_col_ = -1;
  const ChangeStamp* stamp_ = nullptr;
};

// The warning that follows values sent as null because they could not be read as their
// column's type; nothing when `count` is 0.
void write_unreadable_warning(ReplyWriter& out, int64_t count);

}  // namespace zv
