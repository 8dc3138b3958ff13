#include "binding/bind_values.h"

#include <climits>
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

// One value for the bind call: its CType and its bytes.
struct Bound {
  int32_t type;
  std::string bytes;
};

std::string script_text(Isolate* isolate, Local<Value> value) {
  v8::String::Utf8Value text(isolate, value);
  // Up to the first NUL, as the text is handed on.
  return *text ? std::string(*text, strnlen(*text, static_cast<size_t>(text.length()))) : std::string();
}

template <typename T>
std::string raw(T n) {
  return std::string(reinterpret_cast<const char*>(&n), sizeof n);
}

// What a script value becomes; false for a value that no placeholder can take (an object, an
// array, a function, a symbol): its placeholder is left unbound, and the server says so.
bool bound_form(Isolate* isolate, Local<Value> value, Bound* out) {
  if (value->IsInt32() || value->IsUint32()) {
    // Through its decimal text, as atoi reads it: above the int32 range it stays at the top.
    double n = value.As<v8::Number>()->Value();
    *out = {CT_INT32, raw(static_cast<int32_t>(n > INT32_MAX ? INT32_MAX : n))};
  } else if (value->IsNumber()) {
    *out = {CT_DOUBLE, raw(value.As<v8::Number>()->Value())};
  } else if (value->IsString()) {
    *out = {CT_TEXT, script_text(isolate, value)};
  } else if (value->IsBoolean()) {
    *out = {CT_BOOL, std::string(1, value->IsTrue() ? 1 : 0)};
  } else if (value->IsDate()) {
    *out = {CT_TEXT, local_time_text(value.As<v8::Date>()->ValueOf())};
  } else if (value->IsNullOrUndefined()) {
    *out = {0, std::string()};
  } else if (value->IsArrayBufferView()) {
    *out = {CT_BINARY, script_text(isolate, value)};
  } else {
    return false;
  }
  return true;
}

void bind_one(Isolate* isolate, ConnRecord** handle, int index, const std::string& name, Local<Value> value,
              bool positional) {
  Bound b;
  if (!bound_form(isolate, value, &b)) return;
  int32_t length = static_cast<int32_t>(b.bytes.size());
  void* data = b.type == 0 ? nullptr : &b.bytes[0];
  void** h = reinterpret_cast<void**>(handle);
  if (positional) {
    ZVC_BindParamByPos(h, index + 1, 1, b.type, data, length, &length);
  } else {
    int32_t reserved = 0;
    ZVC_BindParamByName(h, name.c_str(), 1, b.type, data, length, &reserved, &length);
  }
}

// The value of placeholder i: under its name in an object, else at index i.
Local<Value> value_for(Isolate* isolate, Local<Value> values, const std::string& name, int i) {
  if (!values->IsObject()) return v8::Undefined(isolate);
  Local<v8::Context> context = isolate->GetCurrentContext();
  Local<v8::Object> source = values.As<v8::Object>();
  Local<Value> found = source->Get(context, utf8(isolate, name.c_str())).FromMaybe(Local<Value>(v8::Undefined(isolate)));
  if (!found->IsUndefined()) return found;
  return source->Get(context, i).FromMaybe(Local<Value>(v8::Undefined(isolate)));
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

void bind_values(Isolate* isolate, ConnRecord** handle, const char* sql, Local<Value> values) {
  int positional = count_positional_params(sql);
  int named = count_named_params(sql);
  int count = named != 0 ? named : positional;
  if (count <= 0) return;
  std::vector<std::string> names = scan_param_names(sql);
  v8::HandleScope scope(isolate);
  for (int i = 0; i < count; i++) {
    // The value is looked up under the placeholder's name (the empty key when there are no
    // names), then at its index; a text with both kinds binds by position.
    const std::string name = i < static_cast<int>(names.size()) ? names[i] : std::string();
    bind_one(isolate, handle, i, name, value_for(isolate, values, name, i), positional != 0);
  }
}

}  // namespace zvdbms
