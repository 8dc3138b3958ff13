#include "binding/options_string.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "binding/script_util.h"

namespace zvdbms {

using v8::Isolate;
using v8::Local;
using v8::Object;
using v8::Value;

static Local<Value> option(Isolate* isolate, Local<Object> options, const char* key) {
  Local<Value> value;
  if (!options->Get(isolate->GetCurrentContext(), utf8(isolate, key)).ToLocal(&value)) return v8::Undefined(isolate);
  return value;
}

// Only strings count: null, numbers and every other type give the empty text.
static char* option_text(Isolate* isolate, Local<Object> options, const char* key) {
  Local<Value> value = option(isolate, options, key);
  return value->IsString() ? utf8_copy(isolate, value) : strdup("");
}

// An absent port is the server's default; a number prints as "%g" (so 5138.0 gives "5138");
// any other type gives no port text, and the open then fails at the socket.
static char* port_text(Isolate* isolate, Local<Object> options) {
  Local<Value> value = option(isolate, options, "port");
  if (value->IsUndefined()) return strdup("5138");
  if (value->IsString()) return utf8_copy(isolate, value);
  if (!value->IsNumber()) return strdup("");
  char field[32];
  snprintf(field, sizeof field, "%g", value.As<v8::Number>()->Value());
  return strdup(field);
}

char* options_to_conn_string(Isolate* isolate, Local<Object> options) {
  char* host = option_text(isolate, options, "host");
  char* port = port_text(isolate, options);
  char* user = option_text(isolate, options, "user");
  char* password = option_text(isolate, options, "password");
  char* database = option_text(isolate, options, "database");
  char* char_set = option_text(isolate, options, "char_set");
  // Sized to what the values need, so that no value is ever cut short.
  char* text = nullptr;
  if (asprintf(&text, "IP=%s;Port=%s;Database=%s;USER=%s;PWD=%s;CHAR_SET=%s", host, port, database, user, password,
               char_set) < 0)
    text = nullptr;
  free(host);
  free(port);
  free(user);
  free(password);
  free(database);
  free(char_set);
  return text;
}

}  // namespace zvdbms
