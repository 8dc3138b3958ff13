// Script values bound to the placeholders of a statement, as input parameters of the client.
#pragma once
#include <node.h>

#include <string>

struct ConnRecord;

namespace zvdbms {

// Binds the values for the placeholders of sql on the connection: by position when the text
// has "?" placeholders, else by name. values is an array (by index, for either kind) or an object
// (by name, and by index keys); anything else gives every placeholder undefined, a NULL.
void bind_values(v8::Isolate* isolate, ConnRecord** handle, const char* sql, v8::Local<v8::Value> values);
// A Date's local wall-clock text from its time value, "%Y-%m-%d %H:%M:%S" (milliseconds dropped);
// empty for an invalid Date.
std::string local_time_text(double ms);

}  // namespace zvdbms
