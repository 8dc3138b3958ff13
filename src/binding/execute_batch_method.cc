// ZVConnection.executeBatch(sql, rows, callback): a bulk load. Each placeholder's values over
// all the rows are bound as one array, and the rows go to the server in commands of at most
// 65535 rows, each run by the server as one all-or-nothing batch. The callback gets
// (null, count) with the rows the server counts as changed, or (text, count) with the failure
// and the rows that the commands before it changed, which stay.
#include "binding/execute_batch_method.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "binding/batch_columns.h"
#include "binding/zv_connection.h"
#include "zvc.h"

namespace zvdbms {

using v8::Array;
using v8::Function;
using v8::FunctionCallbackInfo;
using v8::Isolate;
using v8::Local;
using v8::Value;

namespace {

// Entry checks, before anything is opened or sent; false with a TypeError thrown.
bool check_arguments(const FunctionCallbackInfo<Value>& args) {
  Isolate* isolate = args.GetIsolate();
  if (args.Length() > 3) return throw_type_error(isolate, "Wrong arguments number"), false;
  if (args[0]->IsUndefined()) return throw_type_error(isolate, "The first argument undefined."), false;
  if (!args[0]->IsString()) return throw_type_error(isolate, "The first argument is not a statement text"), false;
  if (!args[1]->IsArray()) return throw_type_error(isolate, "The second argument is not an array of rows"), false;
  if (!args[2]->IsFunction()) return throw_type_error(isolate, "The third argument is not callback function"), false;
  return true;
}


// One command of the load: its rows, their blocks, and what the server answered.
struct Command {
  uint32_t first = 0;
  uint32_t rows = 0;
  std::vector<ColumnBlock> blocks;
  int32_t rc = 0;
  int32_t changed = 0;
};

// Binds a command's blocks and runs it; off the script thread, so it touches no script value.
void run_command(ConnRecord** handle, const ParamShape* shape, const std::string* sql, Command* c) {
  int32_t rows = static_cast<int32_t>(c->rows);
  c->changed = 0;
  c->rc = bind_blocks(handle, *shape, c->blocks, rows);
  if (c->rc >= 0) c->rc = ZVC_ExecuteBatchCount(handle, sql->c_str(), rows, &c->changed);
  // A bind that failed leaves arrays on the connection; the next statement must not carry them.
  if (c->rc < 0) ZVC_ClearParams(reinterpret_cast<void**>(handle));
}

void report(Isolate* isolate, Local<Function> callback, const std::string* error, double count) {
  Local<Value> argv[2] = {error ? Local<Value>(utf8(isolate, error->c_str())) : Local<Value>(v8::Null(isolate)),
                          v8::Number::New(isolate, count)};
  call_back(isolate, callback, 2, argv);
}

}  // namespace

void ExecuteBatch(const FunctionCallbackInfo<Value>& args) {
  Isolate* isolate = args.GetIsolate();
  ZVConnection* conn = connection_of(args);
  if (!check_arguments(args)) return;
  v8::String::Utf8Value text(isolate, args[0]);
  const std::string sql(*text, static_cast<size_t>(text.length()));
  ParamShape shape = param_shape(sql.c_str());
  if (shape.indexes.empty()) {
    throw_type_error(isolate, "The statement has no placeholders for the rows' values");
    return;
  }
  Local<Array> rows = args[1].As<Array>();
  Local<Function> callback = args[2].As<Function>();
  std::vector<uint8_t> kinds;
  BatchValues values;
  if (!scan_batch_rows(isolate, rows, shape, Face::kBatch, kBatchRowsMax, &kinds, &values)) return;
  if (!conn->open_for_statement(isolate)) return;

  // While one command is bound, sent and answered on a thread of its own, the script thread
  // turns the next rows into blocks: the two take turns with two sets of blocks. Both work
  // from what the scan read, so no script code runs until the load has ended.
  const uint32_t total = values.rows;
  double changed = 0;
  Command commands[2];
  std::thread running;
  Command* in_flight = nullptr;
  const Command* failed = nullptr;
  auto settle = [&]() {
    running.join();
    if (in_flight->rc < 0)
      failed = in_flight;
    else
      changed += in_flight->changed;
    in_flight = nullptr;
  };
  for (uint32_t first = 0, k = 0; first < total; first += kBatchRowsMax, k ^= 1) {
    Command& next = commands[k];
    next.first = first;
    next.rows = total - first < kBatchRowsMax ? total - first : kBatchRowsMax;
    fill_batch_blocks(isolate, values.commands[first / kBatchRowsMax], next.rows, Face::kBatch, kinds, &next.blocks);
    if (in_flight) settle();
    if (failed) break;
    in_flight = &next;
    running = std::thread(run_command, &conn->p_conn, &shape, &sql, &next);
  }
  if (in_flight) settle();
  if (failed) {
    std::string error = failure_in_rows(&conn->p_conn, failed->rc, failed->first);
    report(isolate, callback, &error, changed);
    return;
  }
  report(isolate, callback, nullptr, changed);
}

}  // namespace zvdbms
