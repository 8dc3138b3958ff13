#include "binding/row_blocks.h"

#include <algorithm>
#include <cstdio>
#include <string>
#include <unordered_map>
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
// Shapes whose builders are kept at once; the next one starts the cache anew.
constexpr size_t kMaxShapes = 64;

// A column name as a string literal of the builder's text: every unit but printable ASCII, and
// the quote and the backslash, goes as \uXXXX, so that a name from the server is only ever a key.
// "__proto__" becomes a computed key, which makes an own property as for any other name.
void append_key(Isolate* isolate, Local<v8::Name> name, std::string* out) {
  Local<v8::String> text = name.As<v8::String>();
  std::vector<uint16_t> units(text->Length());
  if (!units.empty())
    text->Write(isolate, units.data(), 0, static_cast<int>(units.size()), v8::String::NO_NULL_TERMINATION);
  std::string literal = "\"";
  for (uint16_t unit : units) {
    if (unit >= 0x20 && unit < 0x7f && unit != '"' && unit != '\\') {
      literal.push_back(static_cast<char>(unit));
    } else {
      char escape[8];
      snprintf(escape, sizeof escape, "\\u%04x", unit);
      literal.append(escape);
    }
  }
  literal.push_back('"');
  if (literal == "\"__proto__\"") literal = "[" + literal + "]";
  out->append(literal);
}

// The builder of a shape: build(values, rows) turns one block's values into row objects and
// stores them in order into rows, whose places all exist. It reads only its arguments' own
// elements and lengths and stores only into existing own elements, and an object literal
// defines its keys as own properties: no global, prototype, getter or setter takes part. A
// repeated name keeps its later column's value.
std::string builder_source(Isolate* isolate, const std::vector<Local<v8::Name>>& names) {
  const size_t count = names.size();
  std::string text = "(function (v, rows) {\n'use strict';\nlet r = 0;\nfor (let k = 0; k < v.length; k += ";
  text += std::to_string(count);
  text += ") rows[r++] = {";
  for (size_t c = 0; c < count; ++c) {
    if (c > 0) text += ", ";
    append_key(isolate, names[c], &text);
    text += ": v[k + " + std::to_string(c) + "]";
  }
  text += "};\n})";
  return text;
}

// Builders by their text. Never freed, as the classes are not: a handle must not be reset by a
// destructor at exit, after the isolate has gone.
std::unordered_map<std::string, v8::Global<Function>>& builders() {
  static auto* made = new std::unordered_map<std::string, v8::Global<Function>>();
  return *made;
}

}  // namespace

bool shape_builder(Isolate* isolate, Local<v8::Context> context, const std::vector<Local<v8::Name>>& names,
                   Local<Function>* out) {
  if (names.empty()) return false;
  std::string source = builder_source(isolate, names);
  auto& cache = builders();
  auto found = cache.find(source);
  if (found != cache.end()) {
    *out = found->second.Get(isolate);
    return true;
  }
  v8::TryCatch caught(isolate);
  Local<v8::String> text;
  Local<v8::Script> script;
  Local<Value> fn;
  if (!v8::String::NewFromUtf8(isolate, source.data(), v8::NewStringType::kNormal, static_cast<int>(source.size()))
           .ToLocal(&text) ||
      !v8::Script::Compile(context, text).ToLocal(&script) || !script->Run(context).ToLocal(&fn) ||
      !fn->IsFunction())
    return false;
  if (cache.size() >= kMaxShapes) cache.clear();
  cache.emplace(std::move(source), v8::Global<Function>(isolate, fn.As<Function>()));
  *out = fn.As<Function>();
  return true;
}

Local<Array> build_rows(Local<v8::Context> context, Local<Function> build, std::vector<Local<Value>>* values,
                        size_t width) {
  Isolate* isolate = context->GetIsolate();
  const size_t count = values->size() / width;
  // Every row's place exists before the builder fills it, so that storing a row asks no prototype.
  std::vector<Local<Value>> undefined(count, v8::Undefined(isolate));
  Local<Array> places = Array::New(isolate, undefined.data(), count);
  Local<Value> argv[2] = {Array::New(isolate, values->data(), values->size()), places};
  if (build->Call(context, v8::Undefined(isolate), 2, argv).IsEmpty()) return Local<Array>();
  return places;
}

namespace {

// A result without columns (or a builder that could not be compiled): a row object at a time.
int32_t read_rows_singly(RowContext* ctx, int32_t count, Local<Array>* rows) {
  *rows = Array::New(ctx->isolate);
  int32_t ret = 0;
  for (uint32_t index = 0; ret == 0; ++index) {
    // Each row's handles die with its scope; the array keeps the row.
    v8::HandleScope row_scope(ctx->isolate);
    Local<v8::Object> row;
    if (!row_to_object(ctx, count).ToLocal(&row)) return 0;
    (*rows)->CreateDataProperty(ctx->context, index, row).FromMaybe(false);
    ret = ZVC_NextRow(ctx->p_res);
  }
  return ret;
}

}  // namespace

int32_t read_rows(RowContext* ctx, int32_t count, Local<Array>* rows) {
  Isolate* isolate = ctx->isolate;
  Local<Function> build;
  if (count <= 0 || !shape_builder(isolate, ctx->context, ctx->names, &build)) return read_rows_singly(ctx, count, rows);
  const size_t width = static_cast<size_t>(count);
  const size_t rows_per_block = std::max<size_t>(1, kBlockValues / width);
  std::vector<Local<Value>> made;
  std::vector<Local<Value>> values;
  int32_t ret = 0;
  bool failed = false;
  while (ret == 0 && !failed) {
    Local<Array> places;
    {
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
      places = build_rows(ctx->context, build, &values, width);
      if (places.IsEmpty()) return 0;
      places = scope.Escape(places);
    }
    // The rows' handles live in the caller's scope until the result's array holds them.
    for (uint32_t r = 0; r < places->Length(); ++r) {
      Local<Value> row;
      if (!places->Get(ctx->context, r).ToLocal(&row)) return 0;
      made.push_back(row);
    }
  }
  *rows = Array::New(isolate, made.data(), made.size());
  return failed ? 0 : ret;
}

}  // namespace zvdbms
