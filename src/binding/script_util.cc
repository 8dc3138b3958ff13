#include "binding/script_util.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "zvc.h"

namespace zvdbms {

using v8::Function;
using v8::FunctionTemplate;
using v8::Isolate;
using v8::Local;
using v8::NewStringType;
using v8::Signature;
using v8::String;
using v8::Value;

void throw_type_error(Isolate* isolate, const char* text) {
  isolate->ThrowException(v8::Exception::TypeError(utf8(isolate, text)));
}

Local<String> utf8(Isolate* isolate, const char* text) {
  return String::NewFromUtf8(isolate, text).ToLocalChecked();
}

Local<String> utf8(Isolate* isolate, const char* text, int length) {
  return String::NewFromUtf8(isolate, text, NewStringType::kNormal, length).ToLocalChecked();
}

char* utf8_copy(Isolate* isolate, Local<Value> value) {
  String::Utf8Value text(isolate, value);
  return strdup(*text ? *text : "");
}

bool text_copy(Isolate* isolate, Local<Value> value, char** out) {
  Local<String> text;
  if (!value->ToString(isolate->GetCurrentContext()).ToLocal(&text)) return false;
  *out = utf8_copy(isolate, text);
  return true;
}

void call_back(Isolate* isolate, Local<Function> fn, int argc, Local<Value>* argv) {
  // A callback that throws leaves its exception pending; the script meets it when we return.
  Local<Value> ignored;
  if (!fn->Call(isolate->GetCurrentContext(), v8::Null(isolate), argc, argv).ToLocal(&ignored)) return;
}

Local<Function> build_class(Isolate* isolate, const char* name, v8::FunctionCallback construct, int internal_fields,
                            const MethodEntry* methods, int method_count) {
  Local<FunctionTemplate> tpl = FunctionTemplate::New(isolate, construct);
  tpl->SetClassName(utf8(isolate, name));
  tpl->InstanceTemplate()->SetInternalFieldCount(internal_fields);
  for (int i = 0; i < method_count; ++i) {
    Local<Signature> signature = Signature::New(isolate, tpl);
    Local<FunctionTemplate> method = FunctionTemplate::New(isolate, methods[i].callback, Local<Value>(), signature);
    Local<String> method_name = String::NewFromUtf8(isolate, methods[i].name, NewStringType::kInternalized).ToLocalChecked();
    method->SetClassName(method_name);
    tpl->PrototypeTemplate()->Set(method_name, method);
  }
  return tpl->GetFunction(isolate->GetCurrentContext()).ToLocalChecked();
}

void failure_text(void** handle, int32_t ret, char* buffer, int32_t size) {
  if (ret == ZV_NET_ERROR) {
    snprintf(buffer, size, "[EJ1024] database connection is closed");
    return;
  }
  int32_t length = 0;
  ZVC_GetErrorText(handle, buffer, &length);
  buffer[size - 1] = '\0';
  if (buffer[0] == '\0') snprintf(buffer, size, "[EJ1025] client call failed with code %d", ret);
}

}  // namespace zvdbms
