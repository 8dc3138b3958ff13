// ZVQuery: what query returns without a callback, a handle on a statement that has run.
#pragma once
#include <node.h>
#include <node_object_wrap.h>

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
  void* p_res = nullptr;  // the result to read; null when the statement failed or brought no rows
  char* error_text = nullptr;
  int32_t column_count = 0;

 private:
  static void New(const v8::FunctionCallbackInfo<v8::Value>& args);
  static void Factory(const v8::FunctionCallbackInfo<v8::Value>& args);
};

}  // namespace zvdbms
