// ZVConnection.querymany: one statement prepared once and run once for each row of values.
#pragma once
#include <node.h>

namespace zvdbms {

void QueryMany(const v8::FunctionCallbackInfo<v8::Value>& args);

}  // namespace zvdbms
