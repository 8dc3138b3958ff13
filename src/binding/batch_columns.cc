#include "binding/batch_columns.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "binding/bind_values.h"
#include "binding/placeholders.h"
#include "binding/script_util.h"
#include "zvc.h"

namespace zvdbms {

using v8::Array;
using v8::Context;
using v8::Isolate;
using v8::Local;
using v8::MaybeLocal;
using v8::Object;
using v8::String;
using v8::Value;

namespace {

// The kinds a value can have, as bits, so that a column gathers the kinds of all its values.
enum ValueKind : unsigned {
  V_BAD = 0,
  V_NULL = 1,
  V_INT32 = 2,
  V_WHOLE = 4,  // a whole number beyond int32, exact as an int64
  V_DOUBLE = 8,
  V_BOOL = 16,
  V_TEXT = 32,
  V_BINARY = 64,
};

constexpr double kExactWhole = 9007199254740992.0;  // 2^53: every whole number up to it is exact
constexpr size_t kBinaryMax = INT32_MAX / 2;         // a binary row's bytes and prefix fit an int32

unsigned kind_of(Local<Value> v) {
  if (v->IsInt32()) return V_INT32;
  if (v->IsNumber()) {
    double d = v.As<v8::Number>()->Value();
    return std::trunc(d) == d && std::fabs(d) <= kExactWhole ? V_WHOLE : V_DOUBLE;
  }
  if (v->IsString() || v->IsDate()) return V_TEXT;
  if (v->IsBoolean()) return V_BOOL;
  if (v->IsNullOrUndefined()) return V_NULL;
  if (v->IsArrayBufferView()) return v.As<v8::ArrayBufferView>()->ByteLength() <= kBinaryMax ? V_BINARY : V_BAD;
  return V_BAD;
}

uint8_t column_kind(unsigned mask) {
  mask &= ~static_cast<unsigned>(V_NULL);
  if (mask == 0) return COL_NULL;
  if (mask == V_BINARY) return COL_BINARY;
  if (mask == V_BOOL) return COL_BOOL;
  if ((mask & ~V_INT32) == 0) return COL_INT32;
  if ((mask & ~(V_INT32 | V_WHOLE)) == 0) return COL_INT64;
  if ((mask & ~(V_INT32 | V_WHOLE | V_DOUBLE)) == 0) return COL_DOUBLE;
  return COL_TEXT;
}

int32_t ctype_of(uint8_t kind) {
  static const int32_t ctypes[] = {CT_INT32, CT_INT32, CT_INT64, CT_DOUBLE, CT_BOOL, CT_TEXT, CT_BINARY};
  return ctypes[kind];
}

// Bytes per row of a column of fixed-size values; 0 for texts and bytes.
size_t width_of(uint8_t kind) {
  static const size_t widths[] = {4, 4, 8, 8, 1, 0, 0};
  return widths[kind];
}

std::vector<Local<String>> name_keys(Isolate* isolate, const BatchShape& shape) {
  std::vector<Local<String>> keys;
  for (const std::string& name : shape.names)
    keys.push_back(String::NewFromUtf8(isolate, name.c_str(), v8::NewStringType::kInternalized).ToLocalChecked());
  return keys;
}

// The value of slot s in row: under its name, when it has one and the row holds it, else at its index.
MaybeLocal<Value> slot_value(Local<Context> context, Local<Object> row, const BatchShape& shape,
                             const std::vector<Local<String>>& keys, size_t s) {
  if (!shape.positional) {
    Local<Value> v;
    if (!row->Get(context, keys[s]).ToLocal(&v)) return {};
    if (!v->IsUndefined()) return v;
  }
  return row->Get(context, shape.indexes[s]);
}

bool row_error(Isolate* isolate, const BatchShape& shape, uint32_t row, size_t s, const char* what) {
  char text[300];
  if (shape.positional)
    snprintf(text, sizeof text, "Row %u, placeholder %zu: %s", row + 1, s + 1, what);
  else
    snprintf(text, sizeof text, "Row %u, placeholder :%.100s: %s", row + 1, shape.names[s].c_str(), what);
  throw_type_error(isolate, text);
  return false;
}

// Appends an int32 length prefix and n bytes; gives n.
int32_t append_prefixed(const char* bytes, size_t n, std::string* block) {
  int32_t length = static_cast<int32_t>(n);
  block->append(reinterpret_cast<const char*>(&length), sizeof length);
  block->append(bytes, n);
  return length;
}

// Appends the UTF-8 bytes of text up to its first NUL, as the values of query are, behind their
// length prefix; gives their count.
int32_t append_utf8(Isolate* isolate, Local<String> text, std::string* block) {
  char small[1024];
  std::string large;
  const int capacity = text->Length() * 3;
  char* bytes = small;
  if (capacity > static_cast<int>(sizeof small)) {
    large.resize(static_cast<size_t>(capacity));
    bytes = &large[0];
  }
  int written = text->WriteUtf8(isolate, bytes, capacity, nullptr,
                                String::NO_NULL_TERMINATION | String::REPLACE_INVALID_UTF8);
  return append_prefixed(bytes, strnlen(bytes, static_cast<size_t>(written)), block);
}

// A value of a text column: a string as it is, a Date as query binds it, a boolean as 1 or 0,
// a number as the script writes it.
int32_t append_text(Isolate* isolate, Local<Context> context, Local<Value> v, std::string* block) {
  if (v->IsString()) return append_utf8(isolate, v.As<String>(), block);
  if (v->IsBoolean()) return append_prefixed(v->IsTrue() ? "1" : "0", 1, block);
  if (v->IsDate()) {
    const std::string when = local_time_text(v.As<v8::Date>()->ValueOf());
    return append_prefixed(when.data(), when.size(), block);
  }
  return append_utf8(isolate, v->ToString(context).FromMaybe(String::Empty(isolate)), block);
}

int32_t append_bytes(Local<Value> v, std::string* block) {
  Local<v8::ArrayBufferView> view = v.As<v8::ArrayBufferView>();
  int32_t n = static_cast<int32_t>(view->ByteLength());
  size_t at = block->size();
  block->resize(at + 4 + static_cast<size_t>(n));
  memcpy(&(*block)[at], &n, sizeof n);
  view->CopyContents(&(*block)[at + 4], static_cast<size_t>(n));
  return n;
}

template <typename T>
void put_fixed(std::string* block, size_t at, T n) {
  memcpy(&(*block)[at], &n, sizeof n);
}

// The kinds of value a column of each kind takes; anything else goes out as a null.
unsigned accepted_by(uint8_t kind) {
  static const unsigned accepts[] = {0, V_INT32, V_INT32 | V_WHOLE, V_INT32 | V_WHOLE | V_DOUBLE, V_BOOL,
                                     V_INT32 | V_WHOLE | V_DOUBLE | V_BOOL | V_TEXT, V_BINARY};
  return accepts[kind];
}

// Row i of a block: its bytes and its length (0 or less: a null). A null of a text or binary
// column still takes its length prefix in the block. A value whose kind no longer fits the
// column (a view whose buffer grew past the limit after the scan read it) is a null.
void put_value(Isolate* isolate, Local<Context> context, Local<Value> v, uint8_t kind, uint32_t i, ColumnBlock* c) {
  size_t at = i * width_of(kind);
  if ((kind_of(v) & accepted_by(kind)) == 0) {
    if (kind == COL_TEXT || kind == COL_BINARY) c->block.append(4, '\0');
    c->lengths[i] = 0;
    return;
  }
  switch (kind) {
    case COL_INT32: put_fixed(&c->block, at, v.As<v8::Int32>()->Value()); break;
    case COL_INT64: put_fixed(&c->block, at, static_cast<int64_t>(v.As<v8::Number>()->Value())); break;
    case COL_DOUBLE: put_fixed(&c->block, at, v.As<v8::Number>()->Value()); break;
    case COL_BOOL: put_fixed(&c->block, at, static_cast<uint8_t>(v->IsTrue() ? 1 : 0)); break;
    case COL_TEXT: c->lengths[i] = append_text(isolate, context, v, &c->block); return;
    default: c->lengths[i] = append_bytes(v, &c->block); return;
  }
  c->lengths[i] = static_cast<int32_t>(width_of(kind));
}

// Reads rows first .. first+count-1 into one array of their values, rows after rows; empty, with
// an exception, on a row or a value that cannot be bound or a getter that threw.
MaybeLocal<Array> scan_command(Isolate* isolate, Local<Array> rows, uint32_t first, uint32_t count,
                               const BatchShape& shape, const std::vector<Local<String>>& keys,
                               std::vector<unsigned>* masks) {
  v8::EscapableHandleScope scope(isolate);
  Local<Context> context = isolate->GetCurrentContext();
  const size_t slots = shape.indexes.size();
  std::vector<Local<Value>> read;
  read.reserve(count * slots);
  for (uint32_t r = first; r < first + count; r++) {
    Local<Value> row;
    if (!rows->Get(context, r).ToLocal(&row)) return {};  // a getter threw: its exception stands
    if (!row->IsObject()) return throw_not_a_row(isolate, r), MaybeLocal<Array>();
    for (size_t s = 0; s < slots; s++) {
      Local<Value> v;
      if (!slot_value(context, row.As<Object>(), shape, keys, s).ToLocal(&v)) return {};
      unsigned kind = kind_of(v);
      if (kind == V_BAD)
        return row_error(isolate, shape, r, s, "an object, array, function, symbol or BigInt has no parameter form"), MaybeLocal<Array>();
      unsigned& mask = (*masks)[s];
      mask |= kind;
      if ((mask & V_BINARY) && (mask & ~(V_BINARY | V_NULL)))
        return row_error(isolate, shape, r, s, "a Buffer cannot share its column with values of other kinds"), MaybeLocal<Array>();
      read.push_back(v);
    }
  }
  // An array of our own, made whole: no setter or getter of Array.prototype sees its elements.
  return scope.Escape(Array::New(isolate, read.data(), read.size()));
}

}  // namespace

BatchShape batch_shape(const char* sql) {
  BatchShape shape;
  int positional = count_positional_params(sql);
  int named = count_named_params(sql);
  int count = named != 0 ? named : positional;
  // A text with both kinds binds by position, as query does.
  shape.positional = positional != 0;
  std::vector<std::string> names = shape.positional ? std::vector<std::string>() : scan_param_names(sql);
  for (int i = 0; i < count; i++) {
    if (shape.positional) {
      shape.indexes.push_back(static_cast<uint32_t>(i));
      continue;
    }
    std::string name = i < static_cast<int>(names.size()) ? names[i] : std::string();
    if (std::find(shape.names.begin(), shape.names.end(), name) != shape.names.end()) continue;
    shape.names.push_back(name);
    shape.indexes.push_back(static_cast<uint32_t>(i));
  }
  return shape;
}

bool scan_batch_rows(Isolate* isolate, Local<Array> rows, const BatchShape& shape, uint32_t per_command,
                     std::vector<uint8_t>* kinds, BatchValues* values) {
  std::vector<Local<String>> keys = name_keys(isolate, shape);
  std::vector<unsigned> masks(shape.indexes.size(), 0);
  // The length is read once: rows that a getter adds are not loaded, rows it removes are holes.
  const uint32_t n = rows->Length();
  values->rows = n;
  values->commands.clear();
  for (uint32_t first = 0; first < n; first += per_command) {
    Local<Array> command;
    if (!scan_command(isolate, rows, first, n - first < per_command ? n - first : per_command, shape, keys, &masks)
             .ToLocal(&command))
      return false;
    values->commands.push_back(command);
  }
  kinds->clear();
  for (unsigned mask : masks) kinds->push_back(column_kind(mask));
  return true;
}

void fill_batch_blocks(Isolate* isolate, Local<Array> values, uint32_t count, const std::vector<uint8_t>& kinds,
                       std::vector<ColumnBlock>* blocks) {
  Local<Context> context = isolate->GetCurrentContext();
  const size_t slots = kinds.size();
  blocks->resize(slots);
  for (size_t s = 0; s < slots; s++) {
    ColumnBlock& c = (*blocks)[s];
    c.ctype = ctype_of(kinds[s]);
    c.block.assign(count * width_of(kinds[s]), '\0');
    c.lengths.assign(count, 0);
  }
  for (uint32_t i = 0; i < count; i++) {
    v8::HandleScope scope(isolate);
    for (size_t s = 0; s < slots; s++) {
      Local<Value> v = values->Get(context, i * static_cast<uint32_t>(slots) + static_cast<uint32_t>(s))
                           .FromMaybe(Local<Value>(v8::Undefined(isolate)));
      put_value(isolate, context, v, kinds[s], i, &(*blocks)[s]);
    }
  }
}

int32_t bind_blocks(ConnRecord** handle, const BatchShape& shape, std::vector<ColumnBlock>& blocks, int32_t rows) {
  void** h = reinterpret_cast<void**>(handle);
  int32_t slots = static_cast<int32_t>(blocks.size());
  for (int32_t s = 0; s < slots; s++) {
    ColumnBlock& c = blocks[s];
    int32_t size = static_cast<int32_t>(c.block.size());
    void* values = &c.block[0];  // never empty: a null takes its width or its length prefix
    int32_t rc = shape.positional
                     ? ZVC_BindParamArrayByPos(h, s + 1, slots, 1, c.ctype, rows, values, size, c.lengths.data())
                     : ZVC_BindParamArrayByName(h, shape.names[s].c_str(), slots, 1, c.ctype, rows, values, size,
                                                c.lengths.data());
    if (rc < 0) return rc;
  }
  return 0;
}

enum { FAILURE_TEXT_BUF = 1024 };

std::string failure_in_rows(ConnRecord** handle, int32_t rc, uint32_t first) {
  char text[FAILURE_TEXT_BUF] = {0};
  failure_text(reinterpret_cast<void**>(handle), rc, text, sizeof text);
  const char* mark = strstr(text, "]row ");
  if (!mark) return text;
  char* end = nullptr;
  unsigned long row = strtoul(mark + 5, &end, 10);
  static const char kTail[] = " of the batch: ";
  if (end == mark + 5 || strncmp(end, kTail, sizeof kTail - 1) != 0) return text;
  return std::string(text, static_cast<size_t>(mark + 5 - text)) + std::to_string(row + first) + end;
}

}  // namespace zvdbms
