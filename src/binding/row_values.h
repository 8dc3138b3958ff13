// Rows of a held result to script values. One conversion serves the three readers; they
// differ only in how they treat NULL, failures and the types they know.
#pragma once
#include <node.h>

#include <vector>

namespace zvdbms {

enum RowReader {
  READER_QUERY,        // the fetch loop of query(sql, cb)
  READER_ON_RESULT,    // ZVQuery.on("result", ...)
  READER_NEXT_RECORD,  // ZVQuery.nextRecord("nextrecord", ...)
};

// What the readers share while a result is read.
struct RowContext {
  v8::Isolate* isolate;
  v8::Local<v8::Context> context;
  void** p_res;          // address of the result handle
  RowReader reader;
  v8::Local<v8::Object> obj_err;  // READER_QUERY: takes "Error" when a value fails
  v8::Local<v8::Value> object_proto;  // Object.prototype, for rows made in one step
  bool distinct_names;   // set by column_names: no two columns share a key
  char* scratch;         // reusable text buffer
  int32_t scratch_len;
  std::vector<v8::Local<v8::Name>> names;    // keys of the current result, by column
  std::vector<v8::Local<v8::Value>> values;  // values of the row being built
};

void row_context_init(RowContext* ctx, v8::Isolate* isolate, void** p_res, RowReader reader,
                      v8::Local<v8::Object> obj_err);
void row_context_free(RowContext* ctx);

// Sets obj_err's own "Error" to text; a later failure overwrites an earlier one.
void set_error(RowContext* ctx, const char* text);

// Column names of the current result into ctx->names, the keys of its rows.
// False when a name can't be read.
bool column_names(RowContext* ctx, int32_t count);
// One column's {ColName, Type} object, made whole with its own properties; object_proto is
// Object.prototype.
v8::Local<v8::Object> field_object(v8::Isolate* isolate, v8::Local<v8::Value> object_proto, v8::Local<v8::Value> name,
                                   int32_t type);
// The fields array: one {ColName, Type} object per column. Empty on failure.
v8::MaybeLocal<v8::Array> column_objects(RowContext* ctx, int32_t count);

// The values of the current row into ctx->values. False when the reading stopped, as below.
bool row_to_values(RowContext* ctx, int32_t count);
// The current row as a row object keyed by ctx->names. Empty when the reading stopped:
// in READER_QUERY an unreadable column type ends the row and sets "Error".
v8::MaybeLocal<v8::Object> row_to_object(RowContext* ctx, int32_t count);

}  // namespace zvdbms
