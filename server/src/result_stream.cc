#include "result_stream.h"

#include "sqlite_error.h"
#include "text_util.h"

namespace zv {
namespace {

std::string field_name(sqlite3_stmt* stmt, int col) {
  const char* name = sqlite3_column_name(stmt, col);
  const char* table = sqlite3_column_table_name(stmt, col);
  const char* origin = sqlite3_column_origin_name(stmt, col);
  std::string shown = name ? name : "";
  if (table && origin && !iequals(shown, origin)) return std::string(table) + "." + origin + "%" + shown;
  return shown;
}

}  // namespace

std::vector<FieldDescription> declared_fields(sqlite3_stmt* stmt) {
  std::vector<FieldDescription> fields(static_cast<size_t>(sqlite3_column_count(stmt)));
  for (size_t col = 0; col < fields.size(); ++col) {
    const int c = static_cast<int>(col);
    fields[col].name = field_name(stmt, c);
    fields[col].type = type_from_declared(sqlite3_column_decltype(stmt, c));
  }
  return fields;
}

void type_undeclared(std::vector<FieldDescription>& fields, sqlite3_stmt* stmt, bool have_row) {
  for (size_t col = 0; col < fields.size(); ++col) {
    const int c = static_cast<int>(col);
    FieldDescription& f = fields[col];
    if (f.type.code == kUndeclared) {
      f.type = type_from_value(have_row ? sqlite3_column_type(stmt, c) : SQLITE_NULL,
                               have_row ? sqlite3_column_int64(stmt, c) : 0);
    }
  }
}

std::vector<FieldDescription> describe_fields(sqlite3_stmt* stmt, bool have_row) {
  std::vector<FieldDescription> fields = declared_fields(stmt);
  type_undeclared(fields, stmt, have_row);
  return fields;
}

void write_field_descriptions(const std::vector<FieldDescription>& fields, ReplyWriter& out) {
  out.letter('A');
  out.int32(static_cast<int32_t>(fields.size()));
  for (const FieldDescription& f : fields) {
    out.string(f.name);
    out.int32(f.type.code);
    out.int32(f.type.size);
    out.int32(f.type.detail);
  }
}

ResultStream::ResultStream(StmtPtr stmt, AddedColumns added) : stmt_(std::move(stmt)), added_(std::move(added)) {
  if (added_.rowid) rowid_col_ = sqlite3_column_count(stmt_.get()) - 1 - static_cast<int>(added_.unread.size());
  kept_.resize(added_.unread.size());
}

bool ResultStream::start() {
  if (rowid_col_ >= 0) stamp_ = stamp_changes(sqlite3_db_handle(stmt_.get()));
  state_ = sqlite3_step(stmt_.get());
  if (state_ != SQLITE_ROW && state_ != SQLITE_DONE) return false;
  fields_ = added_.unread.empty() ? declared_fields(stmt_.get()) : added_.declared;
  if (rowid_col_ >= 0) fields_.resize(static_cast<size_t>(rowid_col_));
  type_undeclared(fields_, stmt_.get(), state_ == SQLITE_ROW);
  return true;
}

void ResultStream::write_header(ReplyWriter& out) const { write_field_descriptions(fields_, out); }

void ResultStream::write_rows(ReplyWriter& out, const LobPolicy& lobs, int64_t limit) {
  ValueEncoder encoder(out, lobs);
  if (rowid_col_ >= 0) encoder.find_rows_by(rowid_col_, stamp_);
  sqlite3_stmt* stmt = stmt_.get();
  const int count = static_cast<int>(fields_.size());
  int64_t unreadable = 0;
  for (int64_t sent = 0; state_ == SQLITE_ROW && sent < limit && out.ok() && keep_unread(encoder); ++sent) {
    out.letter('R');
    for (int col = 0; col < count; ++col) {
      if (const std::string* kept = kept_text(col)) {
        out.string(*kept);
      } else if (!encoder.write(stmt, col, fields_[static_cast<size_t>(col)].type)) {
        ++unreadable;
      }
    }
    state_ = sqlite3_step(stmt);
    row_kept_ = false;
  }
  // The next row's unread blobs are kept now, as the select found them, before another
  // command may change them.
  if (state_ == SQLITE_ROW) keep_unread(encoder);
  write_unreadable_warning(out, unreadable);
  if (state_ != SQLITE_ROW && state_ != SQLITE_DONE) out.error(error_text());
}

bool ResultStream::keep_unread(ValueEncoder& encoder) {
  if (row_kept_ || added_.unread.empty()) return true;
  sqlite3_stmt* stmt = stmt_.get();
  for (size_t i = 0; i < added_.unread.size(); ++i) {
    const UnreadBlob& blob = added_.unread[i];
    kept_[i].clear();
    if (sqlite3_column_type(stmt, blob.length_col) != SQLITE_INTEGER) continue;
    kept_[i] = encoder.keep_unread(stmt, blob, sqlite3_column_int64(stmt, blob.length_col));
    if (kept_[i].empty()) {
      state_ = SQLITE_ERROR;
      return false;
    }
  }
  row_kept_ = true;
  return true;
}

const std::string* ResultStream::kept_text(int col) const {
  for (size_t i = 0; i < added_.unread.size(); ++i) {
    if (added_.unread[i].col == col) return kept_[i].empty() ? nullptr : &kept_[i];
  }
  return nullptr;
}

std::string ResultStream::error_text() const {
  return sqlite_error_text(sqlite3_db_handle(stmt_.get()));
}

}  // namespace zv
