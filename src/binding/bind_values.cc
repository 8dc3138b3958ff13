#include "binding/bind_values.h"

#include <climits>
#include <cstdio>
#include <cmath>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include "binding/placeholders.h"
#include "binding/script_util.h"
#include "zvc.h"

namespace zvdbms {

using v8::Isolate;
using v8::Local;
using v8::Value;

namespace {

// The UTF-8 text of a script value up to its first NUL, as the text is handed on; false when
// its conversion (a Buffer's toString) threw.
bool script_text(Isolate* isolate, Local<Value> value, std::string* out) {
  Local<v8::String> text;
  if (!value->ToString(isolate->GetCurrentContext()).ToLocal(&text)) return false;
  v8::String::Utf8Value bytes(isolate, text);
  *out = *bytes ? std::string(*bytes, strnlen(*bytes, static_cast<size_t>(bytes.length()))) : std::string();
  return true;
}

template <typename T>
std::string raw(T n) {
  return std::string(reinterpret_cast<const char*>(&n), sizeof n);
}

// What a script value becomes; false when script code threw.
bool bound_form(Isolate* isolate, Local<Value> value, BoundValue* out) {
  *out = {0, std::string(), false};
  if (value->IsInt32() || value->IsUint32()) {
    // Through its decimal text, as atoi reads it: above the int32 range it stays at the top.
    double n = value.As<v8::Number>()->Value();
    *out = {CT_INT32, raw(static_cast<int32_t>(n > INT32_MAX ? INT32_MAX : n)), false};
  } else if (value->IsNumber()) {
    *out = {CT_DOUBLE, raw(value.As<v8::Number>()->Value()), false};
  } else if (value->IsString()) {
    out->type = CT_TEXT;
    return script_text(isolate, value, &out->bytes);
  } else if (value->IsBoolean()) {
    *out = {CT_BOOL, std::string(1, value->IsTrue() ? 1 : 0), false};
  } else if (value->IsDate()) {
    *out = {CT_TEXT, local_time_text(value.As<v8::Date>()->ValueOf()), false};
  } else if (value->IsArrayBufferView()) {
    out->type = CT_BINARY;
    return script_text(isolate, value, &out->bytes);
  } else if (!value->IsNullOrUndefined()) {
    out->unbound = true;
  }
  return true;
}

void bind_one(ConnRecord** handle, int index, const std::string& name, const BoundValue& b, bool positional) {
  if (b.unbound) return;
  int32_t length = static_cast<int32_t>(b.bytes.size());
  void* data = b.type == 0 ? nullptr : const_cast<char*>(b.bytes.data());
  void** h = reinterpret_cast<void**>(handle);
  if (positional) {
    ZVC_BindParamByPos(h, index + 1, 1, b.type, data, length, &length);
  } else {
    int32_t reserved = 0;
    ZVC_BindParamByName(h, name.c_str(), 1, b.type, data, length, &reserved, &length);
  }
}

// The value of placeholder i: under its name in an object, else at index i.
v8::MaybeLocal<Value> value_for(Isolate* isolate, Local<Value> values, const std::string& name, int i) {
  if (!values->IsObject()) return v8::Undefined(isolate);
  Local<v8::Context> context = isolate->GetCurrentContext();
  Local<v8::Object> source = values.As<v8::Object>();
  Local<Value> found;
  if (!source->Get(context, utf8(isolate, name.c_str())).ToLocal(&found)) return {};
  if (!found->IsUndefined()) return found;
  return source->Get(context, i);
}

int placeholder_count(const char* sql) {
  int named = count_named_params(sql);
  return named != 0 ? named : count_positional_params(sql);
}

}  // namespace

// Straight from the number: no text of the Date to read back, and no
// mktime, which reads the zone file again on every call.
std::string local_time_text(double ms) {
  if (!std::isfinite(ms)) return std::string();
  time_t t = static_cast<time_t>(std::floor(ms / 1000));
  struct tm local;
  if (!localtime_r(&t, &local)) return std::string();
  char buffer[64] = {};
  strftime(buffer, sizeof buffer, "%Y-%m-%d %H:%M:%S", &local);
  return buffer;
}

bool read_values(Isolate* isolate, const char* sql, Local<Value> values, BoundRow* row) {
  int count = placeholder_count(sql);
  row->clear();
  if (count <= 0) return true;
  std::vector<std::string> names = scan_param_names(sql);
  v8::HandleScope scope(isolate);
  for (int i = 0; i < count; i++) {
    // The value is looked up under the placeholder's name (the empty key when there are no
    // names), then at its index.
    const std::string name = i < static_cast<int>(names.size()) ? names[i] : std::string();
    Local<Value> value;
    BoundValue bound;
    if (!value_for(isolate, values, name, i).ToLocal(&value) || !bound_form(isolate, value, &bound)) return false;
    row->push_back(std::move(bound));
  }
  return true;
}

void bind_row(ConnRecord** handle, const char* sql, const BoundRow& row) {
  // A text with both kinds binds by position.
  bool positional = count_positional_params(sql) != 0;
  std::vector<std::string> names = scan_param_names(sql);
  for (size_t i = 0; i < row.size(); i++)
    bind_one(handle, static_cast<int>(i), i < names.size() ? names[i] : std::string(), row[i], positional);
}

bool bind_values(Isolate* isolate, ConnRecord** handle, const char* sql, Local<Value> values) {
  BoundRow row;
  if (!read_values(isolate, sql, values, &row)) return false;
  bind_row(handle, sql, row);
  return true;
}

void throw_not_a_row(Isolate* isolate, uint32_t index) {
  char text[80];
  snprintf(text, sizeof text, "Row %u is neither an array nor an object", index + 1);
  throw_type_error(isolate, text);
}

}  // namespace zvdbms
