#include "binding/row_blocks.h"

#include <algorithm>
#include <vector>

#include "zvc.h"

namespace zvdbms {

using v8::Array;
using v8::Function;
using v8::Isolate;
using v8::Local;
using v8::Value;

namespace {

// Values per block: a block's handles live in one scope, so the collector walks few of them.
constexpr size_t kBlockValues = 8192;

// rows(names, blocks, out): one function per shape, kept by the names; "__proto__" is made an
// own property, as for a row made in C++, and a repeated name keeps its later column's value.
// Where the host forbids code from strings, each row is defined property by property.
const char kRowsScript[] = R"JS((function () {
  'use strict';
  const makers = new Map();
  function slowMaker(names) {
    return (v, k) => {
      const row = {};
      for (let c = 0; c < names.length; ++c) {
        Object.defineProperty(row, names[c], { value: v[k + c], writable: true, enumerable: true, configurable: true });
      }
      return row;
    };
  }
  function maker(names) {
    const key = names.join('\0');
    let make = makers.get(key);
    if (make !== undefined) return make;
    const fields = names.map((n, c) => `${n === '__proto__' ? '["__proto__"]' : JSON.stringify(n)}: v[k + ${c}]`);
    try {
      make = new Function('v', 'k', `return { ${fields.join(', ')} };`);
    } catch (err) {
      make = slowMaker(names);
    }
    if (makers.size >= 64) makers.clear();
    makers.set(key, make);
    return make;
  }
  return function rows(names, blocks, out) {
    const make = maker(names);
    const width = names.length;
    let r = out.length;
    for (const block of blocks) {
      for (let k = 0; k < block.length; k += width) out[r++] = make(block, k);
    }
  };
})())JS";

v8::Persistent<Function> rows_function;

// Compiled at the first use and kept for the life of the process, as the classes are.
bool rows_maker(Isolate* isolate, Local<v8::Context> context, Local<Function>* out) {
  if (rows_function.IsEmpty()) {
    Local<v8::String> source = v8::String::NewFromUtf8Literal(isolate, kRowsScript);
    Local<v8::Script> script;
    Local<Value> fn;
    if (!v8::Script::Compile(context, source).ToLocal(&script) || !script->Run(context).ToLocal(&fn) ||
        !fn->IsFunction())
      return false;
    rows_function.Reset(isolate, fn.As<Function>());
  }
  *out = rows_function.Get(isolate);
  return true;
}

// A result without columns (or a host where the script cannot run): a row object at a time.
int32_t append_rows_singly(RowContext* ctx, int32_t count, Local<Array> out) {
  int32_t ret = 0;
  for (uint32_t index = out->Length(); ret == 0; ++index) {
    // Each row's handles die with its scope; the array keeps the row.
    v8::HandleScope row_scope(ctx->isolate);
    Local<v8::Object> row;
    if (!row_to_object(ctx, count).ToLocal(&row)) return 0;
    out->Set(ctx->context, index, row).Check();
    ret = ZVC_NextRow(ctx->p_res);
  }
  return ret;
}

}  // namespace

int32_t append_rows(RowContext* ctx, int32_t count, Local<Array> out) {
  Isolate* isolate = ctx->isolate;
  Local<v8::Context> context = ctx->context;
  Local<Function> rows;
  if (count <= 0 || !rows_maker(isolate, context, &rows)) return append_rows_singly(ctx, count, out);
  const size_t rows_per_block = std::max<size_t>(1, kBlockValues / static_cast<size_t>(count));
  Local<Array> blocks = Array::New(isolate);
  std::vector<Local<Value>> values;
  int32_t ret = 0;
  bool failed = false;
  for (uint32_t b = 0; ret == 0 && !failed; ++b) {
    v8::EscapableHandleScope scope(isolate);
    values.clear();
    for (size_t r = 0; r < rows_per_block && ret == 0; ++r) {
      if (!row_to_values(ctx, count)) {
        failed = true;
        break;
      }
      values.insert(values.end(), ctx->values.begin(), ctx->values.end());
      ret = ZVC_NextRow(ctx->p_res);
    }
    blocks->Set(context, b, scope.Escape(Array::New(isolate, values.data(), values.size()))).Check();
  }
  std::vector<Local<Value>> names(ctx->names.begin(), ctx->names.end());
  Local<Value> argv[3] = {Array::New(isolate, names.data(), names.size()), blocks, out};
  if (rows->Call(context, v8::Undefined(isolate), 3, argv).IsEmpty()) return 0;
  return failed ? 0 : ret;
}

}  // namespace zvdbms
