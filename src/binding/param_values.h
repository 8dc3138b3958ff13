// Script values as parameters: which value each placeholder takes, what kind of parameter a
// value is, and its bytes. Single statements and batches of both faces go through here, so
// that a value binds the same whichever way it is sent; the faces differ only where Face says.
#pragma once
#include <node.h>

#include <cstdint>
#include <string>
#include <vector>

struct ConnRecord;

namespace zvdbms {

// The synchronous API's query and querymany bind as the classic client does (kClassic): a
// 32-bit integer (an unsigned one too) as an int32, at most 2147483647; any other number as a
// double; a text up to its first NUL; a Date as its local wall clock; a typed array as the text
// of its string conversion; a value of no kind is left unbound. Its executeBatch (kBatch) binds
// as they do except that whole numbers up to 2^53 go as int64s and a typed array as its bytes,
// as it always has: nothing it loads is clamped. The Promise API binds exactly (kExact): a safe
// integer beyond 32 bits and a BigInt as an int64, a text whole, a Date as its milliseconds, a
// typed array as its bytes; a value of no kind is a TypeError.
enum class Face : uint8_t { kClassic, kBatch, kExact };

// The slots of a statement: one per placeholder for a text with "?" (a text with names too
// binds by position), else one per name, a repeated name being one slot. A slot's value is
// found under its name (an array's too) and then at its index.
struct ParamShape {
  bool positional = true;
  std::vector<std::string> names;  // one per slot; empty for a slot without a name
  std::vector<uint32_t> indexes;   // the index of the slot's first placeholder
};

ParamShape param_shape(const char* sql);
// The slots' names as keys, made once for all the rows of a batch.
std::vector<v8::Local<v8::String>> slot_keys(v8::Isolate* isolate, const ParamShape& shape);
// The value of slot s in values; empty when a getter threw.
v8::MaybeLocal<v8::Value> slot_value(v8::Local<v8::Context> context, v8::Local<v8::Value> values,
                                     const ParamShape& shape, const std::vector<v8::Local<v8::String>>& keys, size_t s);

// The kinds a value can have, as bits, so that a batch column gathers the kinds of its values.
enum ValueKind : unsigned {
  V_BAD = 0,  // no parameter form
  V_NULL = 1,
  V_INT32 = 2,
  V_INT64 = 4,  // a whole number beyond int32 that is exact as an int64 (not in query)
  V_BIGINT = 8,
  V_DOUBLE = 16,
  V_BOOL = 32,
  V_TEXT = 64,
  V_DATE = 128,
  V_BINARY = 256,
};

unsigned kind_of(v8::Local<v8::Value> v, Face face);

// What a parameter, or a batch column over all its rows, goes out as.
enum ColumnKind : uint8_t {
  COL_NULL,      // every value null or undefined
  COL_INT32,     // int32s
  COL_INT64,     // whole numbers, some beyond int32
  COL_DOUBLE,    // numbers, some not whole
  COL_BOOL,      // booleans
  COL_TEXT,      // strings (and Dates of the classic face), or values of several kinds as their text
  COL_EPOCH_MS,  // Dates of the Promise API, as milliseconds
  COL_BINARY,    // typed arrays
};

uint8_t column_kind(unsigned mask, Face face);
int32_t ctype_of(uint8_t column);
// Bytes per value of a fixed-size column; 0 for texts and bytes.
size_t width_of(uint8_t column);

// The value that goes out for v: under the classic face a typed array becomes the string of its
// conversion (script code runs here, once, before anything is bound); anything else stays.
// Empty when the conversion threw.
v8::MaybeLocal<v8::Value> settled(v8::Isolate* isolate, v8::Local<v8::Value> v, Face face);
// Appends the bytes of settled value v (not null) as a column of kind column takes it; runs no
// script code. Gives their count.
size_t put_bytes(v8::Isolate* isolate, v8::Local<v8::Value> v, uint8_t column, Face face, std::string* out);

// The parameters of one statement, read from the script's values.
struct ParamValue {
  int32_t ctype;  // 0 for a null
  std::string bytes;
  bool unbound;  // the classic face's value of no kind: its placeholder gets nothing
};

struct ParamList {
  ParamShape shape;
  std::vector<ParamValue> values;
};

// Reads one value per slot of sql from values (an array or an object; anything else gives
// every slot undefined, a NULL). Every getter and conversion that may run script code runs
// here, once, before anything is bound: a getter that runs another statement on the
// connection finds no half-bound parameters. False when script code threw (its exception
// stands) or, under the exact face, with a TypeError for a value of no kind.
bool read_params(v8::Isolate* isolate, const char* sql, v8::Local<v8::Value> values, Face face, ParamList* out);
// Binds the list into handle's set, by position or by name: a connection's, for its next
// statement, or a set of its own (ZVC_NewParamSet); runs no script code. Every value is bound;
// the first failing bind's code, or 0.
int32_t bind_params(void** handle, const ParamList& params);
inline int32_t bind_params(ConnRecord** link, const ParamList& params) {
  return bind_params(reinterpret_cast<void**>(link), params);
}

// Throws the TypeError of a row that is neither an array nor an object; index counts from 0.
void throw_not_a_row(v8::Isolate* isolate, uint32_t index);

}  // namespace zvdbms
