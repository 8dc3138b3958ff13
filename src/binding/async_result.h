// The script's handle on a decoded result: its rows are made into row objects a slice at a
// time, so that a large result never holds the script thread for long; the decoded memory goes
// with the last slice, or with the handle when it is collected first.
#pragma once
#include <node.h>
#include <node_object_wrap.h>

#include <memory>

#include "binding/decoded_result.h"

namespace zvdbms {

class AsyncResult : public node::ObjectWrap {
 public:
  static void Init(v8::Isolate* isolate);
  static v8::MaybeLocal<v8::Object> NewInstance(v8::Isolate* isolate, std::unique_ptr<DecodedResult> result);

 private:
  std::unique_ptr<DecodedResult> result_;
  uint64_t next_row_ = 0;

  static v8::Persistent<v8::Function> constructor_;  // lives as long as the process
  static void New(const v8::FunctionCallbackInfo<v8::Value>& args);
  // info() -> { fields: [{name, type}], changed, rowId, rows }
  static void Info(const v8::FunctionCallbackInfo<v8::Value>& args);
  // take(budgetMs, bigint, maxRows) gives an array of the next row objects, made for about
  // budgetMs and at most maxRows of them (all, without a count);
  // undefined once every row has been taken. The decoded memory goes with the last row. An
  // int64 outside the safe integers without bigint throws a RangeError.
  static void Take(const v8::FunctionCallbackInfo<v8::Value>& args);
};

}  // namespace zvdbms
