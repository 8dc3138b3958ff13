// ZVConnection.query: runs one statement by its class and hands the outcome to a callback,
// or, without one, wraps it in a ZVQuery.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "binding/param_values.h"
#include "binding/row_blocks.h"
#include "binding/row_values.h"
#include "binding/scalar_exec.h"
#include "binding/zv_connection.h"
#include "binding/zv_query.h"
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
  QUERY_ROW_ID_FIELD = 40,
  QUERY_ERROR_TEXT_BUF = 1024,
};

// What one run of query builds.
struct QueryRun {
  Isolate* isolate;
  Local<v8::Context> context;
  ConnRecord** handle;
  Local<Object> obj_err;
  Local<Array> arr_to;
  Local<Array> arr_fields;
  Local<Array> arr_muti_results;
  Local<Array> arr_muti_fields;
  std::string failure;  // the statement's failure, for a query object
};

// Everything query makes is an object or array of its own, filled with own properties: no
// setter or getter that a script put on a prototype takes part.
static void append(QueryRun* run, Local<Array> array, Local<Value> value) {
  array->CreateDataProperty(run->context, array->Length(), value).FromMaybe(false);
}

static void set_run_error(QueryRun* run, int32_t ret) {
  char text[QUERY_ERROR_TEXT_BUF] = {0};
  failure_text(reinterpret_cast<void**>(run->handle), ret, text, sizeof text);
  run->failure = text;
  run->obj_err->CreateDataProperty(run->context, utf8(run->isolate, "Error"), utf8(run->isolate, text)).FromMaybe(false);
}

static bool has_error(QueryRun* run) {
  return run->obj_err->HasOwnProperty(run->context, utf8(run->isolate, "Error")).FromMaybe(false);
}

static Local<Object> outcome(QueryRun* run, const char* key, Local<Value> value) {
  Local<Object> obj = Object::New(run->isolate);
  obj->CreateDataProperty(run->context, utf8(run->isolate, key), value).FromMaybe(false);
  return obj;
}

// The rows of the result in hand have ended with ret. They are not the whole result when a block
// could not be fetched (ret below 0) or when the server's reply carried an error among them: the
// rows read so far stay, and "Error" tells why there are no more.
static void check_rows_end(RowContext* ctx, int32_t ret) {
  char text[QUERY_ERROR_TEXT_BUF] = {0};
  if (ret < 0) {
    failure_text(ctx->p_res, ret, text, sizeof text);
    set_error(ctx, text);
  } else if (ZVC_GetRowsError(ctx->p_res, text, sizeof text) == 1) {
    set_error(ctx, text);
  }
}

static void run_insert(QueryRun* run, const char* sql) {
  uint8_t value[SCALAR_BUF];
  int32_t type = 0;
  int32_t ret = exec_scalar(run->handle, sql, value, &type);
  if (ret < 0) {
    set_run_error(run, ret);
    value[0] = '\0';
  }
  value[QUERY_ROW_ID_FIELD - 1] = '\0';
  append(run, run->arr_to, outcome(run, "new RowId", utf8(run->isolate, reinterpret_cast<char*>(value))));
}

static void run_count(QueryRun* run, const char* sql, const char* key) {
  uint8_t value[SCALAR_BUF];
  int32_t type = 0;
  int32_t ret = exec_scalar(run->handle, sql, value, &type);
  int32_t effect_num = 0;
  // Only a count leaves the type at 0: a result in the reply leaves text in value, not a count.
  if (ret < 0)
    set_run_error(run, ret);
  else if (type == 0)
    memcpy(&effect_num, value, sizeof effect_num);
  append(run, run->arr_to, outcome(run, key, v8::Integer::New(run->isolate, effect_num)));
}

// Reads every result of the chain in *p_res into the run's arrays.
static void read_results(QueryRun* run, void** p_res) {
  RowContext ctx;
  row_context_init(&ctx, run->isolate, p_res, READER_QUERY, run->obj_err);
  for (;;) {
    int32_t ret = ZVC_NextRow(p_res);
    if (ret < 0) {
      set_error(&ctx, "READ RECORD ERROR");
      break;
    }
    // Each result of a chain is read with its own column count.
    int32_t field_num = 0;
    ZVC_GetColumnCount(p_res, &field_num);
    Local<Array> fields;
    if (!column_names(&ctx, field_num) || !column_objects(&ctx, field_num).ToLocal(&fields)) {
      set_error(&ctx, "colulmn NUM overflow");
      break;
    }
    run->arr_fields = fields;
    if (ret == 0) {
      ret = read_rows(&ctx, field_num, &run->arr_to);
      // 0: a row could not be read, and "Error" says so already.
      if (ret != 0) check_rows_end(&ctx, ret);
    } else {
      check_rows_end(&ctx, ret);
    }
    if (ret != ZV_NO_MORE) break;
    bool chained = run->arr_muti_results->Length() > 0;
    if (ZVC_NextResult(p_res) != 0) {
      if (chained) {
        append(run, run->arr_muti_results, run->arr_to);
        append(run, run->arr_muti_fields, run->arr_fields);
      }
      break;
    }
    // The step freed the former record; *p_res now holds the next one.
    append(run, run->arr_muti_results, run->arr_to);
    append(run, run->arr_muti_fields, run->arr_fields);
    run->arr_to = Array::New(run->isolate);
    run->arr_fields = Array::New(run->isolate);
  }
  row_context_free(&ctx);
}

// Entry checks; on success *sql holds the statement text (owned) and *values the values.
static bool read_arguments(const FunctionCallbackInfo<Value>& args, ZVConnection* conn, char** sql,
                           Local<Value>* values) {
  Isolate* isolate = args.GetIsolate();
  if (args.Length() > 3) return throw_type_error(isolate, "Wrong arguments number"), false;
  if (args[0]->IsUndefined()) return throw_type_error(isolate, "The first argument undefined."), false;
  if (!conn->open_for_statement(isolate)) return false;
  if (args[0]->IsFunction()) {
    Local<Value> arg = v8::Null(isolate);
    call_back(isolate, args[0].As<Function>(), 1, &arg);
    return false;
  }
  if (args[0]->IsString()) {
    if (args.Length() == 3 && !args[2]->IsFunction())
      return throw_type_error(isolate, "The third argument is not callback function"), false;
    *sql = utf8_copy(isolate, args[0]);
    *values = args[1];
    return true;
  }
  if (!args[0]->IsObject() || args[0]->IsNull())
    return throw_type_error(isolate, "Error: The args Query sql is needed "), false;
  Local<v8::Context> context = isolate->GetCurrentContext();
  Local<Object> statement = args[0].As<Object>();
  // A getter or a text conversion of the script's that throws ends the call with its exception.
  Local<Value> text;
  if (!statement->Get(context, utf8(isolate, "sql")).ToLocal(&text) ||
      !statement->Get(context, utf8(isolate, "values")).ToLocal(values))
    return false;
  // The statement's own values come first; else the second argument (the callback, when it
  // stands there, has no values: every placeholder then binds NULL).
  if ((*values)->IsUndefined()) *values = args[1];
  return text_copy(isolate, text, sql);
}

void ZVConnection::Query(const FunctionCallbackInfo<Value>& args) {
  Isolate* isolate = args.GetIsolate();
  ZVConnection* conn = connection_of(args);
  char* sql = nullptr;
  Local<Value> values;
  if (!read_arguments(args, conn, &sql, &values)) return;
  ParamList params;
  if (!read_params(isolate, sql, values, Face::kClassic, &params)) return free(sql);
  bind_params(&conn->p_conn, params);

  QueryRun run{isolate, isolate->GetCurrentContext(), &conn->p_conn, Object::New(isolate), Array::New(isolate),
               Array::New(isolate), Array::New(isolate), Array::New(isolate), std::string()};
  Local<Value> callback = args[2]->IsFunction() ? args[2] : args[1];
  bool reads_rows = callback->IsFunction();
  // Without a callback the ZVQuery gets the result of a SELECT; any other statement leaves it
  // no result at all rather than a made-up handle.
  void* held = nullptr;
  int32_t column_count = 0;

  switch (ZVC_ClassifySql(sql)) {
    case SQL_INSERT: run_insert(&run, sql); break;
    case SQL_UPDATE: run_count(&run, sql, "UPDATE EFFECTNUM"); break;
    case SQL_DELETE: run_count(&run, sql, "DELETE EFFECTNUM"); break;
    case SQL_QUERY: {
      void* p_res = nullptr;
      int32_t field_num = 0, row_count = 0, effect = 0;
      int32_t ret = ZVC_Execute(&conn->p_conn, sql, &p_res, &field_num, &row_count, &effect);
      if (ret < 0) {
        set_run_error(&run, ret);
        ZVC_CloseResult(&p_res);
      } else if (!reads_rows) {
        held = p_res;
        column_count = field_num;
      } else {
        conn->hold_result(p_res);
        read_results(&run, &conn->p_res);
      }
      break;
    }
    default: {
      int32_t ret = ZVC_ExecNoQuery(&conn->p_conn, sql);
      if (ret < 0) set_run_error(&run, ret);
    }
  }

  if (reads_rows) {
    bool chained = run.arr_muti_results->Length() > 0;
    Local<Value> argv[3] = {has_error(&run) ? Local<Value>(run.obj_err) : Local<Value>(v8::Null(isolate)),
                            chained ? run.arr_muti_results : run.arr_to,
                            chained ? run.arr_muti_fields : run.arr_fields};
    free(sql);
    call_back(isolate, callback.As<Function>(), 3, argv);
    return;
  }
  Local<Object> query;
  if (ZVQuery::Make(isolate, held, column_count, run.failure.empty() ? nullptr : run.failure.c_str())
          .ToLocal(&query))
    args.GetReturnValue().Set(query);
  free(sql);
}

}  // namespace zvdbms
