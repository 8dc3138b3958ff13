#include "binding/row_values.h"

#include <algorithm>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "binding/script_util.h"
#include "zvc.h"

namespace zvdbms {

using v8::Array;
using v8::Isolate;
using v8::Local;
using v8::MaybeLocal;
using v8::Name;
using v8::Object;
using v8::Value;

enum {
  ROW_NAME_BUF = 128,
  TEXT_UNSIZED = 64000,
  // CTypes whose declared length says nothing about the width of their text.
  CT_UNSIZED_FIRST = 30,
  CT_UNSIZED_LAST = 34,
};

// The large-object reader's progress lines go to the notice hook of the result's connection,
// as the client library's own lines do.
static void print_line(RowContext* ctx, const char* fmt, ...) __attribute__((format(printf, 2, 3)));
static void print_line(RowContext* ctx, const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  char line[128];
  vsnprintf(line, sizeof line, fmt, args);
  va_end(args);
  ZVC_Notice(ctx->p_res, line);
}

void row_context_init(RowContext* ctx, Isolate* isolate, void** p_res, RowReader reader, Local<Object> obj_err) {
  ctx->isolate = isolate;
  ctx->context = isolate->GetCurrentContext();
  ctx->p_res = p_res;
  ctx->reader = reader;
  ctx->obj_err = obj_err;
  ctx->object_proto = Object::New(isolate)->GetPrototype();
  ctx->distinct_names = true;
  ctx->scratch = nullptr;
  ctx->scratch_len = 0;
}

void row_context_free(RowContext* ctx) {
  free(ctx->scratch);
  ctx->scratch = nullptr;
  ctx->scratch_len = 0;
}

void set_error(RowContext* ctx, const char* text) {
  // An own property, made on an object of ours: no setter of the script's can see or stop it.
  ctx->obj_err->CreateDataProperty(ctx->context, utf8(ctx->isolate, "Error"), utf8(ctx->isolate, text)).FromMaybe(false);
}

// The words a failed read gets in a script.
static const char* data_error_text(int32_t code) {
  switch (code) {
    case ZV_BAD_HANDLE: return "result error";
    case ZV_NULL_VALUE: return "data null error";
    case ZV_BAD_COLUMN: return "column number error";
    case ZV_TRUNCATED: return "data truncation error";
    case ZV_NO_CONVERSION: return "data type conversion error";
    default: return nullptr;
  }
}

// In query a failure becomes "Error" (NULL is no failure there); the query object's readers
// throw every failure, NULL included where null_is_error says so, and go on with the row.
static void report_data_error(RowContext* ctx, int32_t code, bool null_is_error) {
  if (code >= 0 || (code == ZV_NULL_VALUE && !null_is_error)) return;
  const char* text = data_error_text(code);
  if (text == nullptr) return;
  if (ctx->reader == READER_QUERY)
    set_error(ctx, text);
  else
    throw_type_error(ctx->isolate, text);
}

static Local<Value> number_value(RowContext* ctx, int32_t column, int32_t ctype) {
  union {
    int8_t i8;
    int16_t i16;
    int32_t i32;
    int64_t i64;
    float f32;
    double f64;
  } v;
  memset(&v, 0, sizeof v);
  static const int32_t widths[] = {0, 0, 0, 1, 2, 4, 8, 4, 8};
  int32_t data_len = 0;
  int32_t ret = ZVC_GetData(ctx->p_res, column, ctype, &v, widths[ctype], &data_len);
  bool query = ctx->reader == READER_QUERY;
  report_data_error(ctx, ret, !query);
  if (query && data_len == 0) return v8::Null(ctx->isolate);
  double n = 0;
  switch (ctype) {
    case CT_BYTE: n = v.i8; break;
    case CT_INT16: n = v.i16; break;
    case CT_INT32: n = v.i32; break;
    case CT_INT64: n = static_cast<double>(v.i64); break;
    case CT_FLOAT: n = v.f32; break;
    default: n = v.f64; break;
  }
  return v8::Number::New(ctx->isolate, n);
}

// A datetime column delivers its milliseconds. A date column has no such route, so its raw
// day count is read instead and the Date stands at midnight UTC of that day. NULL is null.
static Local<Value> date_value(RowContext* ctx, int32_t column, int32_t ctype) {
  double ms = 0;
  int32_t data_len = 0;
  if (ctype == CT_DATE) {
    // CType 9 hands over the stored value as it is: here the int32 day count.
    int32_t days[2] = {0, 0};
    ZVC_GetData(ctx->p_res, column, CT_NUMERIC, days, sizeof days, &data_len);
    ms = days[0] * 86400000.0;
  } else {
    int64_t stamp = 0;
    ZVC_GetData(ctx->p_res, column, CT_EPOCH_MS, &stamp, sizeof stamp, &data_len);
    ms = static_cast<double>(stamp);
  }
  if (data_len == 0) return v8::Null(ctx->isolate);
  return v8::Date::New(ctx->context, ms).ToLocalChecked();
}

// Text buffers are sized from the declared length, three bytes a unit so that UTF-8 fits, plus
// the terminator; a column without a declared length takes 64000.
static int32_t text_buffer_len(RowContext* ctx, int32_t column, int32_t ctype) {
  int64_t len = TEXT_UNSIZED;
  if (ctype < CT_UNSIZED_FIRST || ctype > CT_UNSIZED_LAST) {
    int32_t size = 0;
    ZVC_GetColumnSize(ctx->p_res, column, &size);
    if (size > 0) len = static_cast<int64_t>(size) * 3;
  }
  // The client takes the length as an int32.
  if (len >= INT32_MAX) len = INT32_MAX - 1;
  return static_cast<int32_t>(len) + 1;
}

static char* scratch(RowContext* ctx, int32_t len) {
  if (ctx->scratch_len < len) {
    free(ctx->scratch);
    ctx->scratch = static_cast<char*>(malloc(len));
    ctx->scratch_len = ctx->scratch ? len : 0;
  }
  return ctx->scratch;
}

// The bytes of the text in buffer. A value cut to fit is a terminated text inside the buffer,
// and data_len then counts what stayed behind, not what is there. A value that fits is data_len
// bytes, which may fill the buffer without a terminator.
static int32_t text_length(int32_t ret, const char* buffer, int32_t buff_len, int32_t data_len) {
  if (ret == ZV_TRUNCATED) return static_cast<int32_t>(strnlen(buffer, buff_len));
  return data_len < buff_len ? data_len : buff_len;
}

static Local<Value> text_value(RowContext* ctx, int32_t column, int32_t ctype) {
  int32_t buff_len = text_buffer_len(ctx, column, ctype);
  char* buffer = scratch(ctx, buff_len);
  if (buffer == nullptr) return v8::Null(ctx->isolate);
  int32_t data_len = 0;
  int32_t ret = ZVC_GetData(ctx->p_res, column, CT_TEXT, buffer, buff_len, &data_len);
  bool query = ctx->reader == READER_QUERY;
  // A value cut to fit its buffer is told to every reader: none hands out a short text silently.
  report_data_error(ctx, ret, false);
  if (data_len <= 0) return query ? Local<Value>(v8::Null(ctx->isolate)) : Local<Value>(v8::String::Empty(ctx->isolate));
  if (query && ctype == CT_BOOL) return v8::Boolean::New(ctx->isolate, buffer[0] == 'T');
  return utf8(ctx->isolate, buffer, text_length(ret, buffer, buff_len, data_len));
}

// Large objects arrive as raw bytes, character ones too; a NULL one is an empty buffer.
// The object's own text (the server's error, a malformed descriptor), else the words of the code.
static void report_lob_error(RowContext* ctx, LobHandle** lob, int32_t ret) {
  char text[1024] = {0};
  failure_text(reinterpret_cast<void**>(lob), ret, text, sizeof text);
  set_error(ctx, text);
}

static Local<Value> lob_value(RowContext* ctx, int32_t column, int32_t ctype) {
  LobHandle* lob = nullptr;
  print_line(ctx, "Lob read create : %d \n ", ZVC_CreateLob(&lob));
  int32_t len = 0;
  int32_t ret = ZVC_GetData(ctx->p_res, column, ctype, &lob, 8, &len);
  print_line(ctx, "Lob read Getdata : length %d \n ", len);
  // A fetch that failed must not pass for a short object: the failure goes to "Error".
  if (ret < 0 && ret != ZV_NULL_VALUE) report_lob_error(ctx, &lob, ret);
  if (len < 0) len = 0;
  Local<v8::ArrayBuffer> bytes = v8::ArrayBuffer::New(ctx->isolate, len);
  // An empty buffer has no storage; the read still gets a place to write its nothing to.
  char none = 0;
  void* data = len > 0 ? bytes->GetBackingStore()->Data() : &none;
  int32_t n = ZVC_GetLobData(&lob, data, len);
  print_line(ctx, "Lob read Getdata : read_n %d \n ", n);
  print_line(ctx, "Lob read Getdata : write to arraybuffer  \n");
  ZVC_FreeLob(&lob);
  return bytes;
}

static Local<Value> column_to_script(RowContext* ctx, int32_t column, int32_t ctype) {
  if (ctype >= CT_BYTE && ctype <= CT_DOUBLE) return number_value(ctx, column, ctype);
  if (ctype == CT_DATE || ctype == CT_DATETIME) return date_value(ctx, column, ctype);
  if (ctx->reader == READER_QUERY && (ctype == CT_CLOB || ctype == CT_BLOB)) return lob_value(ctx, column, ctype);
  return text_value(ctx, column, ctype);
}

// Internalized strings of equal text are one object. Sorted by hash, only names of equal hash
// need comparing, so that a result of very many columns is checked quickly.
static bool names_distinct(const std::vector<Local<Name>>& names) {
  std::vector<std::pair<int, size_t>> order(names.size());
  for (size_t i = 0; i < names.size(); ++i) order[i] = {names[i]->GetIdentityHash(), i};
  std::sort(order.begin(), order.end());
  for (size_t i = 1, run = 0; i < order.size(); ++i) {
    if (order[i].first != order[run].first) {
      run = i;
      continue;
    }
    for (size_t j = run; j < i; ++j)
      if (names[order[j].second] == names[order[i].second]) return false;
  }
  return true;
}

bool column_names(RowContext* ctx, int32_t count) {
  std::vector<Local<Name>>& names = ctx->names;
  names.resize(count > 0 ? count : 0);
  for (int32_t c = 1; c <= count; ++c) {
    char name[ROW_NAME_BUF] = {0};
    if (ZVC_GetColumnName(ctx->p_res, c, name) < 0) return false;
    names[c - 1] = v8::String::NewFromUtf8(ctx->isolate, name, v8::NewStringType::kInternalized).ToLocalChecked();
  }
  ctx->distinct_names = names_distinct(names);
  return true;
}

Local<Object> field_object(Isolate* isolate, Local<Value> object_proto, Local<Value> name, int32_t type) {
  Local<Name> keys[2] = {utf8(isolate, "ColName"), utf8(isolate, "Type")};
  Local<Value> values[2] = {name, v8::Integer::New(isolate, type)};
  return Object::New(isolate, object_proto, keys, values, 2);
}

MaybeLocal<Array> column_objects(RowContext* ctx, int32_t count) {
  Isolate* isolate = ctx->isolate;
  std::vector<Local<Value>> fields(count > 0 ? count : 0);
  for (int32_t c = 1; c <= count; ++c) {
    char name[ROW_NAME_BUF] = {0};
    if (ZVC_GetColumnName(ctx->p_res, c, name) < 0) return MaybeLocal<Array>();
    int32_t type = 0;
    ZVC_GetColumnType(ctx->p_res, c, &type);
    fields[c - 1] = field_object(isolate, ctx->object_proto, utf8(isolate, name), type);
  }
  return Array::New(isolate, fields.data(), fields.size());
}

// With distinct keys the object is made in one step; a repeated name falls back to setting
// the keys in column order, so that the later column wins.
static Local<Object> make_row(RowContext* ctx, int32_t count, Local<Name>* names, Local<Value>* values) {
  if (ctx->distinct_names) return Object::New(ctx->isolate, ctx->object_proto, names, values, count);
  Local<Object> row = Object::New(ctx->isolate);
  for (int32_t c = 0; c < count; ++c) row->CreateDataProperty(ctx->context, names[c], values[c]).FromMaybe(false);
  return row;
}

bool row_to_values(RowContext* ctx, int32_t count) {
  // One buffer for every row: a wide row must not live on the stack.
  std::vector<Local<Value>>& values = ctx->values;
  values.resize(count > 0 ? count : 0);
  for (int32_t c = 1; c <= count; ++c) {
    int32_t ctype = 0;
    if (ZVC_GetColumnType(ctx->p_res, c, &ctype) < 0) {
      if (ctx->reader == READER_QUERY) {
        set_error(ctx, "colulmn NUM overflow");
        return false;
      }
      throw_type_error(ctx->isolate,
                       ctx->reader == READER_ON_RESULT ? "column NUM Type overflow" : "colulmn NUM overflow");
      values[c - 1] = v8::Undefined(ctx->isolate);
      continue;
    }
    values[c - 1] = column_to_script(ctx, c, ctype);
  }
  return true;
}

MaybeLocal<Object> row_to_object(RowContext* ctx, int32_t count) {
  if (!row_to_values(ctx, count)) return MaybeLocal<Object>();
  return make_row(ctx, count, ctx->names.data(), ctx->values.data());
}

}  // namespace zvdbms
