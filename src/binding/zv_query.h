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
  // Made once at load and never released: it lives as long as the process. A Global here
  // would be reset by its destructor at exit, after the isolate has gone.
  static v8::Persistent<v8::Function> constructor;
  static void Init(v8::Isolate* isolate);
  // The object query returns without a callback, made and filled here, where no script runs:
  // it takes over result (null for none) with its column count, or holds the failure text.
  // The class called from a script (reachable as an instance's constructor) makes an object
  // without a result, whose rows have ended. Empty, with result released, when no object could
  // be made.
  static v8::MaybeLocal<v8::Object> Make(v8::Isolate* isolate, void* result, int32_t column_count,
                                         const char* failure);

  ~ZVQuery() override;

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
  static void On(const v8::FunctionCallbackInfo<v8::Value>& args);
  static void NextRecord(const v8::FunctionCallbackInfo<v8::Value>& args);
  static void Close(const v8::FunctionCallbackInfo<v8::Value>& args);
};

}  // namespace zvdbms
