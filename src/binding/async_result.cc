#include "binding/async_result.h"

#include <node_buffer.h>
#include <uv.h>

#include <algorithm>
#include <string>
#include <vector>

#include "binding/row_blocks.h"
#include "binding/script_util.h"

namespace zvdbms {

using v8::Array;
using v8::FunctionCallbackInfo;
using v8::Isolate;
using v8::Local;
using v8::Object;
using v8::Value;

v8::Persistent<v8::Function> AsyncResult::constructor_;

namespace {

enum { ROWS_PER_CLOCK_CHECK = 16 };
const int64_t kSafeInt64Max = 9007199254740991;  // 2^53 - 1

// False for an int64 that no number holds exactly, with the RangeError thrown. With bigint a
// 64-bit column gives BigInts throughout.
bool cell_value(Isolate* isolate, const DecodedResult& r, const Cell& cell, bool bigint, Local<Value>* out) {
  switch (cell.kind) {
    case CELL_NULL: *out = v8::Null(isolate); break;
    case CELL_BOOL: *out = v8::Boolean::New(isolate, cell.i != 0); break;
    // A small integer is made without a stop at floating point.
    case CELL_INT: *out = v8::Integer::New(isolate, static_cast<int32_t>(cell.i)); break;
    case CELL_INT64:
      if (bigint) {
        *out = v8::BigInt::New(isolate, cell.i);
      } else if (cell.i > kSafeInt64Max || cell.i < -kSafeInt64Max) {
        isolate->ThrowException(v8::Exception::RangeError(utf8(isolate, "value out of the safe integer range")));
        return false;
      } else if (cell.i >= INT32_MIN && cell.i <= INT32_MAX) {
        *out = v8::Integer::New(isolate, static_cast<int32_t>(cell.i));
      } else {
        *out = v8::Number::New(isolate, static_cast<double>(cell.i));
      }
      break;
    case CELL_DOUBLE: *out = v8::Number::New(isolate, cell.d); break;
    case CELL_DATE: *out = v8::Date::New(isolate->GetCurrentContext(), cell.d).ToLocalChecked(); break;
    case CELL_TEXT: {
      v8::MaybeLocal<v8::String> text = v8::String::NewFromUtf8(
          isolate, r.arena.data() + cell.offset, v8::NewStringType::kNormal, static_cast<int>(cell.length));
      if (!text.ToLocal(reinterpret_cast<Local<v8::String>*>(out))) {
        isolate->ThrowException(v8::Exception::RangeError(utf8(isolate, "text too long for a string")));
        return false;
      }
      break;
    }
    case CELL_BYTES: {
      v8::MaybeLocal<Object> bytes = node::Buffer::Copy(isolate, r.arena.data() + cell.offset, cell.length);
      if (!bytes.ToLocal(reinterpret_cast<Local<Object>*>(out))) return false;
      break;
    }
  }
  return true;
}

}  // namespace

void AsyncResult::Init(Isolate* isolate) {
  static const MethodEntry methods[] = {{"info", Info}, {"take", Take}};
  constructor_.Reset(isolate, build_class(isolate, "AsyncResult", New, 1, methods, 2));
}

void AsyncResult::New(const FunctionCallbackInfo<Value>& args) {
  (new AsyncResult())->Wrap(args.This());
  args.GetReturnValue().Set(args.This());
}

v8::MaybeLocal<Object> AsyncResult::NewInstance(Isolate* isolate, std::unique_ptr<DecodedResult> result) {
  Local<Object> instance;
  if (!constructor_.Get(isolate)->NewInstance(isolate->GetCurrentContext()).ToLocal(&instance)) return {};
  ObjectWrap::Unwrap<AsyncResult>(instance)->result_ = std::move(result);
  return instance;
}

void AsyncResult::Info(const FunctionCallbackInfo<Value>& args) {
  Isolate* isolate = args.GetIsolate();
  Local<v8::Context> context = isolate->GetCurrentContext();
  AsyncResult* self = ObjectWrap::Unwrap<AsyncResult>(args.This());
  if (!self->result_) return;
  const DecodedResult& r = *self->result_;
  Local<Array> fields = Array::New(isolate, static_cast<int>(r.fields.size()));
  for (size_t i = 0; i < r.fields.size(); ++i) {
    Local<Object> field = Object::New(isolate);
    field->CreateDataProperty(context, utf8(isolate, "name"), utf8(isolate, r.fields[i].name.c_str())).Check();
    field->CreateDataProperty(context, utf8(isolate, "type"), utf8(isolate, type_name(r.fields[i].ctype))).Check();
    fields->CreateDataProperty(context, static_cast<uint32_t>(i), field).Check();
  }
  Local<Object> info = Object::New(isolate);
  info->CreateDataProperty(context, utf8(isolate, "fields"), fields).Check();
  info->CreateDataProperty(context, utf8(isolate, "changed"), v8::Number::New(isolate, static_cast<double>(r.changed))).Check();
  info->CreateDataProperty(context, utf8(isolate, "rowId"), utf8(isolate, r.row_id.c_str())).Check();
  info->CreateDataProperty(context, utf8(isolate, "rows"), v8::Number::New(isolate, static_cast<double>(r.row_count))).Check();
  args.GetReturnValue().Set(info);
}

// The keys of the result's rows, by column.
static std::vector<Local<v8::Name>> row_keys(Isolate* isolate, const DecodedResult& r) {
  std::vector<Local<v8::Name>> names;
  for (const DecodedField& f : r.fields)
    names.push_back(v8::String::NewFromUtf8(isolate, f.name.data(), v8::NewStringType::kInternalized,
                                            static_cast<int>(f.name.size()))
                        .ToLocalChecked());
  return names;
}

void AsyncResult::Take(const FunctionCallbackInfo<Value>& args) {
  Isolate* isolate = args.GetIsolate();
  Local<v8::Context> context = isolate->GetCurrentContext();
  AsyncResult* self = ObjectWrap::Unwrap<AsyncResult>(args.This());
  if (!self->result_) return;
  const DecodedResult& r = *self->result_;
  double budget_ms = args[0]->IsNumber() ? args[0].As<v8::Number>()->Value() : 4;
  bool bigint = args[1]->IsTrue();
  uint32_t limit = args[2]->IsUint32() ? args[2].As<v8::Uint32>()->Value() : UINT32_MAX;
  size_t width = r.fields.size();
  uint64_t deadline = uv_hrtime() + static_cast<uint64_t>(budget_ms * 1e6);
  v8::EscapableHandleScope scope(isolate);
  Local<v8::Function> build;
  if (width > 0 && !shape_builder(isolate, context, row_keys(isolate, r), &build)) {
    isolate->ThrowException(v8::Exception::Error(utf8(isolate, "no memory left to make rows")));
    return;
  }
  // The values are gathered first and made into rows at the end: far cheaper than setting
  // them one by one.
  std::vector<Local<Value>> values;
  values.reserve(std::min<uint64_t>({limit, r.row_count - self->next_row_, 4096}) * width);
  uint32_t made = 0;
  while (self->next_row_ < r.row_count && made < limit) {
    uint64_t first = self->next_row_ * width;
    for (size_t c = 0; c < width; ++c) {
      Local<Value> v;
      if (!cell_value(isolate, r, r.cells[first + c], bigint, &v)) return;
      values.push_back(v);
    }
    made++;
    self->next_row_++;
    if (made % ROWS_PER_CLOCK_CHECK == 0 && uv_hrtime() >= deadline) break;
  }
  if (self->next_row_ >= r.row_count) self->result_.reset();
  Local<Array> rows;
  if (width == 0) {
    rows = Array::New(isolate, static_cast<int>(made));
    for (uint32_t i = 0; i < made; ++i) rows->CreateDataProperty(context, i, Object::New(isolate)).FromMaybe(false);
  } else {
    rows = build_rows(context, build, &values, width);
    if (rows.IsEmpty()) return;
  }
  args.GetReturnValue().Set(scope.Escape(rows));
}

}  // namespace zvdbms
