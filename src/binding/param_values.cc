#include "binding/param_values.h"

#include <cmath>
#include <set>

#include "binding/placeholders.h"
#include "binding/script_util.h"
#include "zvc.h"

namespace zvdbms {

using v8::Isolate;
using v8::Local;
using v8::Value;

namespace {

const double kSafeMax = 9007199254740991.0;  // 2^53 - 1

template <typename T>
std::string raw(T n) {
  return std::string(reinterpret_cast<const char*>(&n), sizeof n);
}

std::string whole_text(Isolate* isolate, Local<Value> value) {
  v8::String::Utf8Value text(isolate, value);
  return *text ? std::string(*text, static_cast<size_t>(text.length())) : std::string();
}

std::string view_bytes(Local<v8::ArrayBufferView> view) {
  std::string bytes(view->ByteLength(), '\0');
  if (!bytes.empty()) view->CopyContents(&bytes[0], bytes.size());
  return bytes;
}

bool param_of(Isolate* isolate, Local<Value> value, ParamValue* out) {
  if (value->IsNullOrUndefined()) {
    out->ctype = 0;
  } else if (value->IsInt32()) {
    *out = {out->name, CT_INT32, raw(value.As<v8::Int32>()->Value())};
  } else if (value->IsNumber()) {
    double n = value.As<v8::Number>()->Value();
    if (std::trunc(n) == n && std::fabs(n) <= kSafeMax)
      *out = {out->name, CT_INT64, raw(static_cast<int64_t>(n))};
    else
      *out = {out->name, CT_DOUBLE, raw(n)};
  } else if (value->IsBigInt()) {
    bool lossless = false;
    int64_t n = value.As<v8::BigInt>()->Int64Value(&lossless);
    if (!lossless) return false;
    *out = {out->name, CT_INT64, raw(n)};
  } else if (value->IsString()) {
    *out = {out->name, CT_TEXT, whole_text(isolate, value)};
  } else if (value->IsBoolean()) {
    *out = {out->name, CT_BOOL, std::string(1, value->IsTrue() ? 1 : 0)};
  } else if (value->IsDate()) {
    double ms = value.As<v8::Date>()->ValueOf();
    if (!std::isfinite(ms)) return false;
    *out = {out->name, CT_EPOCH_MS, raw(static_cast<int64_t>(ms))};
  } else if (value->IsArrayBufferView()) {
    *out = {out->name, CT_BINARY, view_bytes(value.As<v8::ArrayBufferView>())};
  } else {
    return false;
  }
  return true;
}

// Under its name in an object, else at index i.
Local<Value> value_for(Isolate* isolate, Local<Value> values, const std::string& name, uint32_t i) {
  Local<Value> none = v8::Undefined(isolate);
  if (!values->IsObject()) return none;
  Local<v8::Context> context = isolate->GetCurrentContext();
  Local<v8::Object> source = values.As<v8::Object>();
  if (!values->IsArray() && !name.empty()) {
    Local<Value> found = source->Get(context, utf8(isolate, name.c_str())).FromMaybe(none);
    if (!found->IsUndefined()) return found;
  }
  return source->Get(context, i).FromMaybe(none);
}

}  // namespace

bool collect_params(Isolate* isolate, const char* sql, Local<Value> values, ParamList* out) {
  int positional = count_positional_params(sql);
  int named = count_named_params(sql);
  int count = named != 0 ? named : positional;
  out->positional = positional != 0 || named == 0;
  out->values.clear();
  if (count <= 0) return true;
  std::vector<std::string> names = scan_param_names(sql);
  std::set<std::string> seen;  // a name used twice is one parameter, bound once
  v8::HandleScope scope(isolate);
  for (int i = 0; i < count; i++) {
    ParamValue p{i < static_cast<int>(names.size()) ? names[i] : std::string(), 0, std::string()};
    if (!out->positional && !seen.insert(p.name).second) continue;
    if (!param_of(isolate, value_for(isolate, values, p.name, static_cast<uint32_t>(i)), &p)) {
      throw_type_error(isolate, "a value of this kind cannot be bound");
      return false;
    }
    out->values.push_back(std::move(p));
  }
  return true;
}

int32_t bind_params(ConnRecord** link, const ParamList& params) {
  void** h = reinterpret_cast<void**>(link);
  for (size_t i = 0; i < params.values.size(); i++) {
    const ParamValue& p = params.values[i];
    int32_t length = static_cast<int32_t>(p.bytes.size());
    void* data = p.ctype == 0 ? nullptr : const_cast<char*>(p.bytes.data());
    int32_t reserved = 0;
    int32_t rc = params.positional ? ZVC_BindParamByPos(h, static_cast<int32_t>(i) + 1, 1, p.ctype, data, length, &length)
                                   : ZVC_BindParamByName(h, p.name.c_str(), 1, p.ctype, data, length, &reserved, &length);
    if (rc < 0) return rc;
  }
  return 0;
}

}  // namespace zvdbms
