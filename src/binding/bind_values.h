// Script values bound to the placeholders of a statement, as input parameters of the client.
#pragma once
#include <node.h>

#include <cstdint>
#include <string>
#include <vector>

struct ConnRecord;

namespace zvdbms {

// One placeholder's value as the client's bind call takes it: its CType (0 for NULL) and its
// bytes. A value that no placeholder can take (an object, an array, a function, a symbol) is
// left unbound, and the server says so.
struct BoundValue {
  int32_t type;
  std::string bytes;
  bool unbound;
};
using BoundRow = std::vector<BoundValue>;

// Reads the values for the placeholders of sql into *row: values is an array (by index, for
// either kind of placeholder) or an object (by name, and by index keys); anything else gives
// every placeholder undefined, a NULL. Every getter and conversion that may run script code runs
// here, once, before anything is bound: a getter that runs another statement on the connection
// finds no half-bound parameters. False when script code threw; its exception stands.
bool read_values(v8::Isolate* isolate, const char* sql, v8::Local<v8::Value> values, BoundRow* row);
// Binds a row that read_values made for sql on the connection: by position when the text has
// "?" placeholders, else by name. Runs no script code.
void bind_row(ConnRecord** handle, const char* sql, const BoundRow& row);
// read_values, then bind_row; false, with nothing bound, when script code threw.
bool bind_values(v8::Isolate* isolate, ConnRecord** handle, const char* sql, v8::Local<v8::Value> values);
// Throws the TypeError of a row that is neither an array nor an object; index counts from 0.
void throw_not_a_row(v8::Isolate* isolate, uint32_t index);
// A Date's local wall-clock text from its time value, "%Y-%m-%d %H:%M:%S" (milliseconds dropped);
// empty for an invalid Date.
std::string local_time_text(double ms);

}  // namespace zvdbms
