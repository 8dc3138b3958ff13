#include "binding/zv_query.h"

#include <strings.h>

#include <cstdlib>
#include <cstring>
#include <set>

#include "binding/held_results.h"
#include "binding/row_values.h"
#include "zvc.h"

namespace zvdbms {

using v8::Array;
using v8::Function;
using v8::FunctionCallbackInfo;
using v8::Isolate;
using v8::Local;
using v8::Object;
using v8::Value;

enum { QUERY_NAME_BUF = 128, ERROR_TEXT_BUF = 1024 };

v8::Persistent<Function> ZVQuery::constructor;

void ZVQuery::Init(Isolate* isolate) {
  static const MethodEntry methods[] = {
      {"on", On},
      {"nextRecord", NextRecord},
      {"close", Close},
  };
  constructor.Reset(isolate, build_class(isolate, "ZVQuery", New, 3, methods, sizeof methods / sizeof methods[0]));
}

static v8::MaybeLocal<Object> new_instance(Isolate* isolate) {
  return Local<Function>::New(isolate, ZVQuery::constructor)->NewInstance(isolate->GetCurrentContext());
}

v8::MaybeLocal<Object> ZVQuery::Make(Isolate* isolate, void* result, int32_t column_count, const char* failure) {
  Local<Object> instance;
  if (!new_instance(isolate).ToLocal(&instance)) {
    release_result(&result);
    return instance;
  }
  ZVQuery* query = ObjectWrap::Unwrap<ZVQuery>(instance);
  if (failure) {
    query->error_text = strdup(failure);
    release_result(&result);
  } else if (result) {
    query->p_res = result;
    query->column_count = column_count;
    query->take_columns(isolate);
  }
  return instance;
}

// Collection may come at any moment, so it sends nothing: a smart cursor still open on the
// server waits for the next release on the script thread.
ZVQuery::~ZVQuery() {
  drop_result(&p_res);
  free(error_text);
}

void ZVQuery::take_columns(Isolate* isolate) {
  columns.resize(column_count > 0 ? column_count : 0);
  std::set<std::string> seen;
  for (int32_t c = 1; c <= column_count; ++c) {
    Column& column = columns[c - 1];
    char name[QUERY_NAME_BUF] = {0};
    column.named = ZVC_GetColumnName(&p_res, c, name) >= 0;
    name[QUERY_NAME_BUF - 1] = '\0';
    column.name.Reset(isolate, v8::String::NewFromUtf8(isolate, name, v8::NewStringType::kInternalized).ToLocalChecked());
    column.type = 0;
    ZVC_GetColumnType(&p_res, c, &column.type);
    seen.insert(name);
  }
  distinct_names = seen.size() == columns.size();
}

// Takes nothing from its arguments: an object made here has no result, and only Make gives one.
void ZVQuery::New(const FunctionCallbackInfo<Value>& args) {
  Isolate* isolate = args.GetIsolate();
  if (!args.IsConstructCall()) {
    Local<Object> instance;
    if (new_instance(isolate).ToLocal(&instance)) args.GetReturnValue().Set(instance);
    return;
  }
  close_kept_results();
  ZVQuery* query = new ZVQuery();
  query->Wrap(args.This());
  args.GetReturnValue().Set(args.This());
}

// Calls cb(value); then, unless the callback threw, the script meets the last failure met while
// the value was made.
static void deliver(Isolate* isolate, Local<Function> cb, Local<Value> value, Local<Value> failure) {
  Local<Value> ignored;
  if (!cb->Call(isolate->GetCurrentContext(), v8::Null(isolate), 1, &value).ToLocal(&ignored)) return;
  if (!failure.IsEmpty()) isolate->ThrowException(failure);
}

static Local<Value> text_or_null(Isolate* isolate, const char* text) {
  return text ? Local<Value>(utf8(isolate, text)) : Local<Value>(v8::Null(isolate));
}

// The rows have ended (100) or failed: the result goes at once, and a failure is kept as the
// object's error. An error that the server sent among the rows is a failure too: the rows read
// are all there are, but not the whole result.
void ZVQuery::end_rows(int32_t ret) {
  char text[ERROR_TEXT_BUF] = {0};
  bool failed = true;
  if (ret < 0)
    failure_text(&p_res, ret, text, sizeof text);
  else
    failed = ZVC_GetRowsError(&p_res, text, sizeof text) == 1;
  if (failed) {
    free(error_text);
    error_text = strdup(text);
  }
  release_result(&p_res);
}

// One step: cb gets the next row as a row object, null once the rows have ended (and for a
// statement that brought none), or the failure text.
void ZVQuery::read_row(Isolate* isolate, int reader, Local<Function> cb) {
  if (p_res != nullptr) {
    int32_t ret = ZVC_NextRow(&p_res);
    if (ret != 0) end_rows(ret);
  }
  if (p_res == nullptr) {
    deliver(isolate, cb, text_or_null(isolate, error_text), Local<Value>());
    return;
  }
  Local<Object> row;
  Local<Value> failure;
  {
    // A failed column is thrown and the row goes on; the script meets the last failure after
    // its callback has had the row.
    v8::TryCatch caught(isolate);
    RowContext ctx;
    row_context_init(&ctx, isolate, &p_res, static_cast<RowReader>(reader), Local<Object>());
    ctx.names.resize(columns.size());
    for (size_t c = 0; c < columns.size(); ++c) ctx.names[c] = columns[c].name.Get(isolate);
    ctx.distinct_names = distinct_names;
    bool made = row_to_object(&ctx, column_count).ToLocal(&row);
    row_context_free(&ctx);
    if (caught.HasCaught()) failure = caught.Exception();
    if (!made) return;
  }
  deliver(isolate, cb, row, failure);
}

// One {ColName, Type} object per column; a column whose name could not be read is thrown
// after the callback, with the empty name in its place.
void ZVQuery::tell_fields(Isolate* isolate, Local<Function> cb) {
  Local<Value> object_proto = Object::New(isolate)->GetPrototype();
  std::vector<Local<Value>> fields(columns.size());
  Local<Value> failure;
  for (size_t c = 0; c < columns.size(); ++c) {
    fields[c] = field_object(isolate, object_proto, columns[c].name.Get(isolate), columns[c].type);
    if (!columns[c].named) failure = v8::Exception::TypeError(utf8(isolate, "column NUM overflow"));
  }
  deliver(isolate, cb, Array::New(isolate, fields.data(), fields.size()), failure);
}

// The event as written, compared without regard to ASCII case; false for a non-string or a
// callback that is no function.
static bool event_is(const FunctionCallbackInfo<Value>& args, const char* event) {
  if (!args[0]->IsString() || !args[1]->IsFunction()) return false;
  v8::String::Utf8Value text(args.GetIsolate(), args[0]);
  return *text && strcasecmp(*text, event) == 0;
}

void ZVQuery::On(const FunctionCallbackInfo<Value>& args) {
  Isolate* isolate = args.GetIsolate();
  ZVQuery* query = ObjectWrap::Unwrap<ZVQuery>(args.This());
  close_kept_results();
  Local<Function> cb = args[1].As<Function>();
  if (event_is(args, "fields"))
    query->tell_fields(isolate, cb);
  else if (event_is(args, "result"))
    query->read_row(isolate, READER_ON_RESULT, cb);
  else if (event_is(args, "error"))
    deliver(isolate, cb, text_or_null(isolate, query->error_text), Local<Value>());
}

// "nextresult" is known and does nothing: a query object reads the first result of a reply.
void ZVQuery::NextRecord(const FunctionCallbackInfo<Value>& args) {
  ZVQuery* query = ObjectWrap::Unwrap<ZVQuery>(args.This());
  close_kept_results();
  if (event_is(args, "nextrecord")) query->read_row(args.GetIsolate(), READER_NEXT_RECORD, args[1].As<Function>());
}

// Lets the rows go before their end: an open server cursor is closed over its link. Later
// requests for rows get null, as at the end.
void ZVQuery::Close(const FunctionCallbackInfo<Value>& args) {
  ZVQuery* query = ObjectWrap::Unwrap<ZVQuery>(args.This());
  release_result(&query->p_res);
  close_kept_results();
}

}  // namespace zvdbms
