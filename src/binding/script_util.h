// Small helpers shared by the script classes.
#pragma once
#include <node.h>

namespace zvdbms {

struct MethodEntry {
  const char* name;
  v8::FunctionCallback callback;
};

// Throws a TypeError with a fixed text.
void throw_type_error(v8::Isolate* isolate, const char* text);
v8::Local<v8::String> utf8(v8::Isolate* isolate, const char* text);
v8::Local<v8::String> utf8(v8::Isolate* isolate, const char* text, int length);
// Heap copy of a script value's UTF-8 text (the caller frees it).
char* utf8_copy(v8::Isolate* isolate, v8::Local<v8::Value> value);
// The same for a value whose conversion may run script code (an object's toString): false, with
// the exception pending for the caller, when the conversion threw.
bool text_copy(v8::Isolate* isolate, v8::Local<v8::Value> value, char** out);
// Calls fn with receiver null; an exception it throws stays pending for the caller.
void call_back(v8::Isolate* isolate, v8::Local<v8::Function> fn, int argc, v8::Local<v8::Value>* argv);
// The words for a failed client call on handle: "[EJ1024] database connection is closed" for a
// network failure, else the handle's last error text, or, when the client left none, a text of
// our own with the code, so that a script never gets an empty message.
void failure_text(void** handle, int32_t ret, char* buffer, int32_t size);
// Builds a class: constructor template, internal fields, one prototype method per entry.
v8::Local<v8::Function> build_class(v8::Isolate* isolate, const char* name, v8::FunctionCallback construct,
                                    int internal_fields, const MethodEntry* methods, int method_count);

}  // namespace zvdbms
