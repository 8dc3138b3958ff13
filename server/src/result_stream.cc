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

std::vector<FieldDescription> describe_fields(sqlite3_stmt* stmt, bool have_row) {
  std::vector<FieldDescription> fields(static_cast<size_t>(sqlite3_column_count(stmt)));
  for (size_t col = 0; col < fields.size(); ++col) {
    const int c = static_cast<int>(col);
    FieldDescription& f = fields[col];
    f.name = field_name(stmt, c);
    f.type = type_from_declared(sqlite3_column_decltype(stmt, c));
    if (f.type.code == kUndeclared) {
      f.type = type_from_value(have_row ? sqlite3_column_type(stmt, c) : SQLITE_NULL,
                               have_row ? sqlite3_column_int64(stmt, c) : 0);
    }
  }
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

ResultStream::ResultStream(StmtPtr stmt, bool rowid_column)
    : stmt_(std::move(stmt)), rowid_col_(rowid_column ? sqlite3_column_count(stmt_.get()) - 1 : -1) {}

bool ResultStream::start() {
  if (rowid_col_ >= 0) stamp_ = stamp_changes(sqlite3_db_handle(stmt_.get()));
  state_ = sqlite3_step(stmt_.get());
  if (state_ != SQLITE_ROW && state_ != SQLITE_DONE) return false;
  fields_ = describe_fields(stmt_.get(), state_ == SQLITE_ROW);
  if (rowid_col_ >= 0) fields_.pop_back();
  return true;
}

void ResultStream::write_header(ReplyWriter& out) const { write_field_descriptions(fields_, out); }

void ResultStream::write_rows(ReplyWriter& out, const LobPolicy& lobs, int64_t limit) {
  ValueEncoder encoder(out, lobs);
  if (rowid_col_ >= 0) encoder.find_rows_by(rowid_col_, stamp_);
  sqlite3_stmt* stmt = stmt_.get();
  const int count = static_cast<int>(fields_.size());
  int64_t unreadable = 0;
  for (int64_t sent = 0; state_ == SQLITE_ROW && sent < limit && out.ok(); ++sent) {
    out.letter('R');
    for (int col = 0; col < count; ++col) {
      if (!encoder.write(stmt, col, fields_[static_cast<size_t>(col)].type)) ++unreadable;
    }
    state_ = sqlite3_step(stmt);
  }
  write_unreadable_warning(out, unreadable);
  if (state_ != SQLITE_ROW && state_ != SQLITE_DONE) out.error(error_text());
}

std::string ResultStream::error_text() const {
  return sqlite_error_text(sqlite3_db_handle(stmt_.get()));
}

}  // namespace zv
