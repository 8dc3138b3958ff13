#include "binding/querymany.h"

#include <cstdlib>
#include <string>
#include <vector>

#include "binding/held_results.h"
#include "binding/param_values.h"
#include "binding/zv_connection.h"
#include "zvc.h"

namespace zvdbms {

using v8::Array;
using v8::Function;
using v8::FunctionCallbackInfo;
using v8::Isolate;
using v8::Local;
using v8::Object;
using v8::Value;

enum {
  MANY_ROW_ID_FIELD = 40,
  MANY_ERROR_TEXT_BUF = 1024,
  ATTR_EFFECT_COUNT = 63,
};

static const char kNoSelect[] = "[EC026]Error querymany can't surpport a select_sql  \n";

// What one run builds: the outcome of each executed row and the last failure.
struct ManyRun {
  Isolate* isolate;
  Local<v8::Context> context;
  ConnRecord** handle;
  Local<Array> outcomes;
  std::string error;  // the last failure; empty when none
  bool prepared;      // false: every row fails for want of the statement, which error tells
};

static void fail(ManyRun* run, const char* text) { run->error = text; }

static void fail_call(ManyRun* run, int32_t ret) {
  char text[MANY_ERROR_TEXT_BUF] = {0};
  failure_text(reinterpret_cast<void**>(run->handle), ret, text, sizeof text);
  fail(run, text);
}

// The outcome of one row, as query gives it: the new row id, or the count of changed rows; the
// empty id or 0 when the row failed. A statement of no such kind gives an empty object.
static Local<Object> row_outcome(ManyRun* run, int32_t sql_class, void** p_res) {
  Isolate* isolate = run->isolate;
  Local<Object> outcome = Object::New(isolate);
  if (sql_class == SQL_INSERT) {
    char row_id[MANY_ROW_ID_FIELD] = {0};
    ZVC_GetRowId(p_res, row_id, sizeof row_id);
    outcome->CreateDataProperty(run->context, utf8(isolate, "new RowId"), utf8(isolate, row_id)).FromMaybe(false);
  } else if (sql_class == SQL_UPDATE || sql_class == SQL_DELETE) {
    int32_t count = 0, type = 0, length = 0;
    if (ZVC_GetAttr(p_res, ATTR_EFFECT_COUNT, &count, sizeof count, &type, &length) < 0) count = 0;
    const char* key = sql_class == SQL_UPDATE ? "UPDATE EFFECTNUM" : "DELETE EFFECTNUM";
    outcome->CreateDataProperty(run->context, utf8(isolate, key), v8::Integer::New(isolate, count)).FromMaybe(false);
  }
  return outcome;
}

static void execute_row(ManyRun* run, int32_t sql_class) {
  void* p_res = nullptr;
  int32_t ret = ZVC_Execute2(run->handle, nullptr, nullptr, &p_res);
  if (ret < 0 && run->prepared) fail_call(run, ret);
  run->outcomes->CreateDataProperty(run->context, run->outcomes->Length(), row_outcome(run, sql_class, &p_res))
      .FromMaybe(false);
  ZVC_CloseResult(&p_res);
}

// Runs sql once for each row, under one default prepare. The run ends early when the link
// failed at the prepare, or at the first row of a statement that brings rows, which leaves the
// prepare standing.
static void run_rows(ManyRun* run, const char* sql, const std::vector<ParamList>& rows) {
  int32_t ret = ZVC_Prepare(run->handle, sql, nullptr);
  if (ret == ZV_NET_ERROR) return fail_call(run, ret);
  if (ret < 0) fail_call(run, ret);
  run->prepared = ret >= 0;
  for (const ParamList& row : rows) {
    v8::HandleScope row_scope(run->isolate);
    bind_params(run->handle, row);
    int32_t sql_class = ZVC_ClassifySql(sql);
    if (sql_class == SQL_QUERY) return fail(run, kNoSelect);
    if (sql_class == SQL_INSERT || sql_class == SQL_UPDATE || sql_class == SQL_DELETE || sql_class == SQL_OTHER)
      execute_row(run, sql_class);
  }
  ZVC_UnPrepare(run->handle, nullptr);
}

// Every row's values, read before anything is sent: a row that is neither an array nor an
// object (a hole of a sparse array among them) is refused, and getters that run statements of
// their own on the connection run them before this one's prepare. False with an exception.
static bool read_rows(Isolate* isolate, const char* sql, Local<Array> rows, std::vector<ParamList>* out) {
  Local<v8::Context> context = isolate->GetCurrentContext();
  // The length is read once: rows that a getter adds are not run, rows it removes are holes.
  const uint32_t count = rows->Length();
  out->resize(count);
  for (uint32_t i = 0; i < count; ++i) {
    v8::HandleScope row_scope(isolate);
    Local<Value> row;
    if (!rows->Get(context, i).ToLocal(&row)) return false;
    if (!row->IsObject()) return throw_not_a_row(isolate, i), false;
    if (!read_params(isolate, sql, row, Face::kClassic, &(*out)[i])) return false;
  }
  return true;
}

// The statement text (owned) and the rows, from querymany(sql, rows) or querymany({sql, values}),
// where the rows come from "values", or the second argument when it has none. False, with a
// TypeError that names where they came from, when the rows are not an array.
static bool read_statement(Isolate* isolate, const FunctionCallbackInfo<Value>& args, char** sql, Local<Array>* rows) {
  Local<Value> first = args[0];
  Local<Value> found = args[1];
  const char* refusal = "The second argument is not an array of rows";
  if (!first->IsString()) {
    if (!first->IsObject()) return throw_type_error(isolate, "Error: The args Query sql is needed "), false;
    Local<v8::Context> context = isolate->GetCurrentContext();
    Local<Object> statement = first.As<Object>();
    Local<Value> text, values;
    if (!statement->Get(context, utf8(isolate, "sql")).ToLocal(&text)) return false;
    if (!statement->Get(context, utf8(isolate, "values")).ToLocal(&values)) return false;
    if (!values->IsUndefined()) {
      found = values;
      refusal = "The values of the first argument are not an array of rows";
    }
    first = text;
  }
  if (!found->IsArray()) return throw_type_error(isolate, refusal), false;
  *rows = found.As<Array>();
  *sql = utf8_copy(isolate, first);
  return true;
}

// Entry checks, then the rows' values, read before the link is opened and anything is sent;
// on success *sql holds the statement text (owned), *rows the values of each row and *callback
// the callback or undefined.
static bool read_arguments(const FunctionCallbackInfo<Value>& args, ZVConnection* conn, char** sql,
                           std::vector<ParamList>* rows, Local<Value>* callback) {
  Isolate* isolate = args.GetIsolate();
  Local<Value> first = args[0];
  if (args.Length() > 3) return throw_type_error(isolate, "Wrong arguments number"), false;
  if (!first->IsObject() && args.Length() < 2) return throw_type_error(isolate, "executemany Parameter mismatch"), false;
  if (first->IsUndefined()) return throw_type_error(isolate, "The first argument undefined."), false;
  if (first->IsFunction()) {
    if (!conn->open_for_statement(isolate)) return false;
    Local<Value> arg = v8::Null(isolate);
    call_back(isolate, first.As<Function>(), 1, &arg);
    return false;
  }
  *callback = args[2]->IsFunction() ? args[2] : args[1];
  Local<Array> row_array;
  if (!read_statement(isolate, args, sql, &row_array)) return false;
  if (read_rows(isolate, *sql, row_array, rows) && conn->open_for_statement(isolate)) return true;
  free(*sql);
  return false;
}

// Without a callback nothing after the entry checks reaches the script; with one, it is called
// once with the last failure ({Error: text}, or null) and the outcome of each executed row.
void QueryMany(const FunctionCallbackInfo<Value>& args) {
  Isolate* isolate = args.GetIsolate();
  ZVConnection* conn = connection_of(args);
  char* sql = nullptr;
  std::vector<ParamList> rows;
  Local<Value> callback;
  if (!read_arguments(args, conn, &sql, &rows, &callback)) return;
  close_kept_results();
  ManyRun run{isolate, isolate->GetCurrentContext(), &conn->p_conn, Array::New(isolate), std::string(), false};
  run_rows(&run, sql, rows);
  // Values bound for a row that never went out (no statement, a SELECT) must not ride along
  // with the connection's next statement.
  ZVC_ClearParams(reinterpret_cast<void**>(&conn->p_conn));
  free(sql);
  if (!callback->IsFunction()) return;
  Local<Value> err = v8::Null(isolate);
  if (!run.error.empty()) {
    Local<Object> obj = Object::New(isolate);
    obj->CreateDataProperty(run.context, utf8(isolate, "Error"), utf8(isolate, run.error.c_str())).FromMaybe(false);
    err = obj;
  }
  Local<Value> argv[2] = {err, run.outcomes};
  call_back(isolate, callback.As<Function>(), 2, argv);
}

}  // namespace zvdbms
