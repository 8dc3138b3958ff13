// The connection string that an options object stands for.
#pragma once
#include <node.h>

namespace zvdbms {

// "IP=%s;Port=%s;Database=%s;USER=%s;PWD=%s;CHAR_SET=%s" from the keys host, port, user,
// password, database and char_set; heap text owned by the caller.
char* options_to_conn_string(v8::Isolate* isolate, v8::Local<v8::Object> options);

}  // namespace zvdbms
