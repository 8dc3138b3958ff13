// ZVQuery: what query returns without a callback, a handle on a statement that has run.
#pragma once
#include <node.h>
#include <node_object_wrap.h>

#include <string>
#include <vector>

#include "binding/script_util.h"

namespace zvdbms {

class ZVQuery : public node::ObjectWrap {
 public:
  // Both made once at load and never released: they live as long as the process. A Global
  // here would be reset by its destructor at exit, after the isolate has gone.
  static v8::Persistent<v8::Function> constructor;
  static v8::Persistent<v8::Function> factory;  // (sql, arr_query) -> a new ZVQuery; query calls it
  static void Init(v8::Isolate* isolate);

  ~ZVQuery() override;

  char* sql_text = nullptr;
  // The result to read; null when the statement failed, brought no rows, or its rows have
  // ended or were closed.
  void* p_res = nullptr;
  char* error_text = nullptr;  // the statement's failure, or a failure while reading its rows
  int32_t column_count = 0;

 private:
  // The columns as the result described them when the object was made: the fields can be
  // told after the result is gone, and every row is keyed by these names.
  struct Column {
    v8::Global<v8::String> name;
    int32_t type;
    bool named;  // false when the name could not be read
  };
  std::vector<Column> columns;
  bool distinct_names = true;

  void take_columns(v8::Isolate* isolate);
  void read_row(v8::Isolate* isolate, int reader, v8::Local<v8::Function> cb);
  void tell_fields(v8::Isolate* isolate, v8::Local<v8::Function> cb);
  void end_rows(int32_t ret);

  static void New(const v8::FunctionCallbackInfo<v8::Value>& args);
  static void Factory(const v8::FunctionCallbackInfo<v8::Value>& args);
  static void On(const v8::FunctionCallbackInfo<v8::Value>& args);
  static void NextRecord(const v8::FunctionCallbackInfo<v8::Value>& args);
  static void Close(const v8::FunctionCallbackInfo<v8::Value>& args);
};

}  // namespace zvdbms
