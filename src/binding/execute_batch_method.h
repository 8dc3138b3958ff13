// ZVConnection.executeBatch(sql, rows, callback): rows loaded through array batches.
#pragma once
#include <node.h>

namespace zvdbms {

void ExecuteBatch(const v8::FunctionCallbackInfo<v8::Value>& args);

}  // namespace zvdbms
