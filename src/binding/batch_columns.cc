#include "binding/batch_columns.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "binding/script_util.h"
#include "zvc.h"

namespace zvdbms {

using v8::Array;
using v8::Context;
using v8::Isolate;
using v8::Local;
using v8::MaybeLocal;
using v8::String;
using v8::Value;

namespace {

constexpr size_t kBinaryMax = INT32_MAX / 2;  // a binary row's bytes and prefix fit an int32

// A value's kind in a batch: a view too long for a row's length has none.
unsigned batch_kind(Local<Value> v, Face face) {
  unsigned kind = kind_of(v, face);
  if (kind == V_BINARY && v.As<v8::ArrayBufferView>()->ByteLength() > kBinaryMax) return V_BAD;
  return kind;
}

bool row_error(Isolate* isolate, const ParamShape& shape, uint32_t row, size_t s, const char* what) {
  char text[300];
  if (shape.positional)
    snprintf(text, sizeof text, "Row %u, placeholder %zu: %s", row + 1, s + 1, what);
  else
    snprintf(text, sizeof text, "Row %u, placeholder :%.100s: %s", row + 1, shape.names[s].c_str(), what);
  throw_type_error(isolate, text);
  return false;
}

// Appends row i of a block: a fixed-size value at its width, a text or bytes behind an int32
// length prefix; its length is 0 for a null, which still takes its width or its prefix. A value
// that has no kind by now (a view whose buffer grew past the limit, a Date set to an invalid
// time, after the scan read it) is a null.
void put_value(Isolate* isolate, Local<Value> v, uint8_t column, Face face, uint32_t i, ColumnBlock* c) {
  const size_t width = width_of(column);
  const unsigned kind = batch_kind(v, face);
  if (kind == V_NULL || kind == V_BAD) {
    c->block.append(width ? width : 4, '\0');
    c->lengths[i] = 0;
    return;
  }
  if (width) {
    c->lengths[i] = static_cast<int32_t>(put_bytes(isolate, v, column, face, &c->block));
    return;
  }
  const size_t at = c->block.size();
  c->block.append(4, '\0');
  int32_t length = static_cast<int32_t>(put_bytes(isolate, v, column, face, &c->block));
  memcpy(&c->block[at], &length, sizeof length);
  c->lengths[i] = length;
}

// Reads rows first .. first+count-1 into one array of their values, rows after rows; empty, with
// an exception, on a row or a value that cannot be bound or a getter that threw.
MaybeLocal<Array> scan_command(Isolate* isolate, Local<Array> rows, uint32_t first, uint32_t count,
                               const ParamShape& shape, Face face, const std::vector<Local<String>>& keys,
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
      if (!slot_value(context, row, shape, keys, s).ToLocal(&v)) return {};
      unsigned kind = batch_kind(v, face);
      if (kind == V_BAD)
        return row_error(isolate, shape, r, s, "an object, array, function, symbol or BigInt has no parameter form"), MaybeLocal<Array>();
      unsigned& mask = (*masks)[s];
      mask |= kind;
      if ((mask & V_BINARY) && (mask & ~(V_BINARY | V_NULL)))
        return row_error(isolate, shape, r, s, "a Buffer cannot share its column with values of other kinds"), MaybeLocal<Array>();
      if (!settled(isolate, v, face).ToLocal(&v)) return {};
      read.push_back(v);
    }
  }
  // An array of our own, made whole: no setter or getter of Array.prototype sees its elements.
  return scope.Escape(Array::New(isolate, read.data(), read.size()));
}

}  // namespace

bool scan_batch_rows(Isolate* isolate, Local<Array> rows, const ParamShape& shape, Face face, uint32_t per_command,
                     std::vector<uint8_t>* kinds, BatchValues* values) {
  std::vector<Local<String>> keys = slot_keys(isolate, shape);
  std::vector<unsigned> masks(shape.indexes.size(), 0);
  // The length is read once: rows that a getter adds are not loaded, rows it removes are holes.
  const uint32_t n = rows->Length();
  values->rows = n;
  values->commands.clear();
  for (uint32_t first = 0; first < n; first += per_command) {
    Local<Array> command;
    if (!scan_command(isolate, rows, first, n - first < per_command ? n - first : per_command, shape, face, keys, &masks)
             .ToLocal(&command))
      return false;
    values->commands.push_back(command);
  }
  kinds->clear();
  for (unsigned mask : masks) kinds->push_back(column_kind(mask, face));
  return true;
}

void fill_batch_blocks(Isolate* isolate, Local<Array> values, uint32_t count, Face face,
                       const std::vector<uint8_t>& kinds, std::vector<ColumnBlock>* blocks) {
  Local<Context> context = isolate->GetCurrentContext();
  const size_t slots = kinds.size();
  blocks->resize(slots);
  for (size_t s = 0; s < slots; s++) {
    ColumnBlock& c = (*blocks)[s];
    c.ctype = ctype_of(kinds[s]);
    c.block.clear();
    c.block.reserve(count * (width_of(kinds[s]) ? width_of(kinds[s]) : 4));
    c.lengths.assign(count, 0);
  }
  for (uint32_t i = 0; i < count; i++) {
    v8::HandleScope scope(isolate);
    for (size_t s = 0; s < slots; s++) {
      Local<Value> v = values->Get(context, i * static_cast<uint32_t>(slots) + static_cast<uint32_t>(s))
                           .FromMaybe(Local<Value>(v8::Undefined(isolate)));
      put_value(isolate, v, kinds[s], face, i, &(*blocks)[s]);
    }
  }
}

int32_t bind_blocks(ConnRecord** handle, const ParamShape& shape, std::vector<ColumnBlock>& blocks, int32_t rows) {
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
