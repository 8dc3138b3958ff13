// The connection string that an options object stands for.
#pragma once
#include <node.h>

namespace zvdbms {

// "IP=%s;Port=%s;Database=%s;USER=%s;PWD=%s;CHAR_SET=%s" from the keys host, port, user,
// password, database and char_set, followed by ";RECV_TIMEOUT=ms" and ";CONNECT_TIMEOUT=ms" for
// the keys timeout and connectTimeout when given. *out is heap text owned by the caller.
// False, with a TypeError thrown, for a value that would change the string's meaning.
bool options_to_conn_string(v8::Isolate* isolate, v8::Local<v8::Object> options, char** out);

}  // namespace zvdbms
