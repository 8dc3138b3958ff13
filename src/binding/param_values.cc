#include "binding/param_values.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "binding/placeholders.h"
#include "binding/script_util.h"
#include "zvc.h"

namespace zvdbms {

using v8::Context;
using v8::Isolate;
using v8::Local;
using v8::MaybeLocal;
using v8::String;
using v8::Value;

namespace {

const double kSafeMax = 9007199254740991.0;  // 2^53 - 1

template <typename T>
void put_raw(T n, std::string* out) {
  out->append(reinterpret_cast<const char*>(&n), sizeof n);
}

// The UTF-8 bytes of text, up to its first NUL in the synchronous API, written straight into out.
size_t put_utf8(Isolate* isolate, Local<String> text, Face face, std::string* out) {
  const size_t at = out->size();
  const size_t capacity = static_cast<size_t>(text->Length()) * 3;
  out->resize(at + capacity);
  int written = text->WriteUtf8(isolate, &(*out)[at], static_cast<int>(capacity), nullptr,
                                String::NO_NULL_TERMINATION | String::REPLACE_INVALID_UTF8);
  size_t n = static_cast<size_t>(written);
  if (face != Face::kExact) n = strnlen(out->data() + at, n);
  out->resize(at + n);
  return n;
}

size_t put_text(const std::string& text, std::string* out) {
  out->append(text);
  return text.size();
}

// A Date's local wall clock, "%Y-%m-%d %H:%M:%S" (milliseconds dropped), straight from its time
// value: no text of the Date to read back, and no mktime, which reads the zone file again on
// every call. Empty for an invalid Date.
std::string local_time_text(double ms) {
  if (!std::isfinite(ms)) return std::string();
  time_t t = static_cast<time_t>(std::floor(ms / 1000));
  struct tm local;
  if (!localtime_r(&t, &local)) return std::string();
  char buffer[64] = {};
  strftime(buffer, sizeof buffer, "%Y-%m-%d %H:%M:%S", &local);
  return buffer;
}

// The datetime text of milliseconds read as UTC, with its milliseconds: what a datetime column
// stores for them. lib/ has already moved a Date of the local wall clock by its offset.
std::string epoch_text(int64_t ms) {
  int64_t seconds = ms >= 0 ? ms / 1000 : -((-ms + 999) / 1000);
  time_t t = static_cast<time_t>(seconds);
  struct tm utc;
  if (!gmtime_r(&t, &utc)) return std::string();
  char buffer[64] = {};
  size_t n = strftime(buffer, sizeof buffer, "%Y-%m-%d %H:%M:%S", &utc);
  snprintf(buffer + n, sizeof buffer - n, ".%03d", static_cast<int>(ms - seconds * 1000));
  return buffer;
}

size_t put_view(Local<v8::ArrayBufferView> view, std::string* out) {
  const size_t at = out->size();
  const size_t n = view->ByteLength();
  out->resize(at + n);
  if (n) view->CopyContents(&(*out)[at], n);
  return n;
}

// A value of a text column: a string as it is, a Date as the face binds Dates, a boolean as 1
// or 0, a number or BigInt as the script writes it.
size_t put_as_text(Isolate* isolate, Local<Value> v, Face face, std::string* out) {
  if (v->IsString()) return put_utf8(isolate, v.As<String>(), face, out);
  if (v->IsBoolean()) return put_text(v->IsTrue() ? "1" : "0", out);
  if (v->IsDate()) {
    double ms = v.As<v8::Date>()->ValueOf();
    return put_text(face == Face::kExact ? epoch_text(static_cast<int64_t>(ms)) : local_time_text(ms), out);
  }
  // Numbers and BigInts convert without script code.
  Local<String> text = v->ToString(isolate->GetCurrentContext()).FromMaybe(String::Empty(isolate));
  return put_utf8(isolate, text, face, out);
}

int64_t int64_of(Local<Value> v) {
  if (v->IsBigInt()) return v.As<v8::BigInt>()->Int64Value();
  return static_cast<int64_t>(v.As<v8::Number>()->Value());
}

}  // namespace

ParamShape param_shape(const char* sql) {
  ParamShape shape;
  int positional = count_positional_params(sql);
  int named = count_named_params(sql);
  int count = named != 0 ? named : positional;
  shape.positional = positional != 0;
  std::vector<std::string> names = scan_param_names(sql);
  for (int i = 0; i < count; i++) {
    std::string name = i < static_cast<int>(names.size()) ? names[i] : std::string();
    // A name used twice is one parameter: bound twice, the server would count two.
    if (!shape.positional && std::find(shape.names.begin(), shape.names.end(), name) != shape.names.end()) continue;
    shape.names.push_back(name);
    shape.indexes.push_back(static_cast<uint32_t>(i));
  }
  return shape;
}

std::vector<Local<String>> slot_keys(Isolate* isolate, const ParamShape& shape) {
  std::vector<Local<String>> keys;
  for (const std::string& name : shape.names)
    keys.push_back(String::NewFromUtf8(isolate, name.c_str(), v8::NewStringType::kInternalized).ToLocalChecked());
  return keys;
}

MaybeLocal<Value> slot_value(Local<Context> context, Local<Value> values, const ParamShape& shape,
                             const std::vector<Local<String>>& keys, size_t s) {
  if (!values->IsObject()) return v8::Undefined(context->GetIsolate());
  Local<v8::Object> source = values.As<v8::Object>();
  if (!shape.names[s].empty()) {
    Local<Value> found;
    if (!source->Get(context, keys[s]).ToLocal(&found)) return {};
    if (!found->IsUndefined()) return found;
  }
  return source->Get(context, shape.indexes[s]);
}

unsigned kind_of(Local<Value> v, Face face) {
  const bool exact = face == Face::kExact;
  const bool whole_numbers = face != Face::kClassic;
  if (v->IsInt32() || (!whole_numbers && v->IsUint32())) return V_INT32;
  if (v->IsNumber()) {
    double d = v.As<v8::Number>()->Value();
    return whole_numbers && std::trunc(d) == d && std::fabs(d) <= kSafeMax ? V_INT64 : V_DOUBLE;
  }
  if (v->IsString()) return V_TEXT;
  if (v->IsBoolean()) return V_BOOL;
  if (v->IsNullOrUndefined()) return V_NULL;
  if (v->IsDate()) return exact && !std::isfinite(v.As<v8::Date>()->ValueOf()) ? V_BAD : V_DATE;
  if (v->IsArrayBufferView()) return V_BINARY;
  if (exact && v->IsBigInt()) {
    bool lossless = false;
    v.As<v8::BigInt>()->Int64Value(&lossless);
    return lossless ? V_BIGINT : V_BAD;
  }
  return V_BAD;
}

uint8_t column_kind(unsigned mask, Face face) {
  mask &= ~static_cast<unsigned>(V_NULL);
  if (mask == 0) return COL_NULL;
  if (mask == V_BINARY) return COL_BINARY;
  if (mask == V_BOOL) return COL_BOOL;
  if (mask == V_DATE) return face == Face::kExact ? COL_EPOCH_MS : COL_TEXT;
  if ((mask & ~V_INT32) == 0) return COL_INT32;
  if ((mask & ~(V_INT32 | V_INT64 | V_BIGINT)) == 0) return COL_INT64;
  if ((mask & ~(V_INT32 | V_INT64 | V_DOUBLE)) == 0) return COL_DOUBLE;
  return COL_TEXT;
}

int32_t ctype_of(uint8_t column) {
  static const int32_t ctypes[] = {CT_INT32, CT_INT32, CT_INT64, CT_DOUBLE, CT_BOOL, CT_TEXT, CT_EPOCH_MS, CT_BINARY};
  return ctypes[column];
}

size_t width_of(uint8_t column) {
  static const size_t widths[] = {4, 4, 8, 8, 1, 0, 8, 0};
  return widths[column];
}

MaybeLocal<Value> settled(Isolate* isolate, Local<Value> v, Face face) {
  if (face != Face::kClassic || !v->IsArrayBufferView()) return v;
  Local<String> text;
  if (!v->ToString(isolate->GetCurrentContext()).ToLocal(&text)) return {};
  return text;
}

size_t put_bytes(Isolate* isolate, Local<Value> v, uint8_t column, Face face, std::string* out) {
  switch (column) {
    case COL_INT32: {
      // As atoi reads the decimal text: an unsigned value above the int32 range stays at the top.
      double n = v.As<v8::Number>()->Value();
      put_raw(static_cast<int32_t>(n > INT32_MAX ? INT32_MAX : n), out);
      return 4;
    }
    case COL_INT64: put_raw(int64_of(v), out); return 8;
    case COL_DOUBLE: put_raw(v.As<v8::Number>()->Value(), out); return 8;
    case COL_BOOL: out->push_back(v->IsTrue() ? 1 : 0); return 1;
    case COL_EPOCH_MS: put_raw(static_cast<int64_t>(v.As<v8::Date>()->ValueOf()), out); return 8;
    case COL_BINARY:
      // The classic face's typed array was settled into the text of its conversion.
      if (v->IsString()) return put_utf8(isolate, v.As<String>(), face, out);
      return put_view(v.As<v8::ArrayBufferView>(), out);
    default: return put_as_text(isolate, v, face, out);
  }
}

bool read_params(Isolate* isolate, const char* sql, Local<Value> values, Face face, ParamList* out) {
  out->shape = param_shape(sql);
  out->values.clear();
  if (out->shape.indexes.empty()) return true;
  v8::HandleScope scope(isolate);
  Local<Context> context = isolate->GetCurrentContext();
  std::vector<Local<String>> keys = slot_keys(isolate, out->shape);
  for (size_t s = 0; s < out->shape.indexes.size(); s++) {
    Local<Value> v;
    if (!slot_value(context, values, out->shape, keys, s).ToLocal(&v)) return false;
    ParamValue p{0, std::string(), false};
    unsigned kind = kind_of(v, face);
    if (kind == V_BAD) {
      if (face == Face::kExact) return throw_type_error(isolate, "a value of this kind cannot be bound"), false;
      p.unbound = true;
    } else if (kind != V_NULL) {
      if (!settled(isolate, v, face).ToLocal(&v)) return false;
      uint8_t column = column_kind(kind, face);
      p.ctype = ctype_of(column);
      put_bytes(isolate, v, column, face, &p.bytes);
    }
    out->values.push_back(std::move(p));
  }
  return true;
}

int32_t bind_params(void** h, const ParamList& params) {
  int32_t first_failure = 0;
  for (size_t s = 0; s < params.values.size(); s++) {
    const ParamValue& p = params.values[s];
    if (p.unbound) continue;
    int32_t length = static_cast<int32_t>(p.bytes.size());
    void* data = p.ctype == 0 ? nullptr : const_cast<char*>(p.bytes.data());
    int32_t reserved = 0;
    int32_t rc = params.shape.positional
                     ? ZVC_BindParamByPos(h, static_cast<int32_t>(s) + 1, 1, p.ctype, data, length, &length)
                     : ZVC_BindParamByName(h, params.shape.names[s].c_str(), 1, p.ctype, data, length, &reserved,
                                           &length);
    if (rc < 0 && first_failure == 0) first_failure = rc;
  }
  return first_failure;
}

void throw_not_a_row(Isolate* isolate, uint32_t index) {
  char text[80];
  snprintf(text, sizeof text, "Row %u is neither an array nor an object", index + 1);
  throw_type_error(isolate, text);
}

}  // namespace zvdbms
