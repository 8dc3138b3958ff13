// The addon's entry: registration with the host at load time, the two script classes and
// the exported function createConnection, and watchLinks for the script layer (index.js).
#include <node.h>

#include "binding/async_connection.h"
#include "binding/link_holder.h"
#include "binding/zv_connection.h"
#include "binding/zv_query.h"

namespace zvdbms {

using v8::FunctionCallbackInfo;
using v8::FunctionTemplate;
using v8::Isolate;
using v8::Local;
using v8::Object;
using v8::String;
using v8::Value;

static void CreateConnection(const FunctionCallbackInfo<Value>& args) {
  Isolate* isolate = args.GetIsolate();
  Local<Value> arg = args[0];
  if (arg->IsUndefined()) {
    throw_type_error(isolate, "The first argument undefined.");
    return;
  }
  if (!arg->IsString()) {
    if (!arg->IsObject()) {
      throw_type_error(isolate, "The args Error ");
      return;
    }
    Local<Value> host;
    if (!arg.As<Object>()->Get(isolate->GetCurrentContext(), utf8(isolate, "host")).ToLocal(&host)) return;
    if (host->IsUndefined()) {
      throw_type_error(isolate, "The args Error:no Host ");
      return;
    }
  }
  Local<Object> instance;
  if (ZVConnection::NewInstance(isolate, arg).ToLocal(&instance)) args.GetReturnValue().Set(instance);
}

static void Initialize(Local<Object> exports, Local<Value>, void*) {
  Isolate* isolate = exports->GetIsolate();
  Local<v8::Context> context = isolate->GetCurrentContext();
  ZVConnection::Init(isolate);
  ZVQuery::Init(isolate);
  AsyncLink::Init(isolate, exports);  // the native half of the Promise API (lib/)
  Local<v8::Function> fn = FunctionTemplate::New(isolate, CreateConnection)->GetFunction(context).ToLocalChecked();
  Local<String> name = String::NewFromUtf8Literal(isolate, "createConnection", v8::NewStringType::kInternalized);
  fn->SetName(name);
  // Own properties: a setter that a script put on Object.prototype neither sees nor stops them.
  exports->CreateDataProperty(context, name, fn).FromMaybe(false);
  Local<v8::Function> watch = FunctionTemplate::New(isolate, LinkHolder::WatchLinks)->GetFunction(context).ToLocalChecked();
  exports->CreateDataProperty(context, String::NewFromUtf8Literal(isolate, "watchLinks"), watch).FromMaybe(false);
}

}  // namespace zvdbms

// Registered by a static initialiser while the host loads the shared object: the host
// picks up the module record that this call leaves pending.
static node::node_module zanvodbjs_module = {
    115, 0, nullptr, "src/zanvodbjs", zvdbms::Initialize, nullptr, "NODE_GYP_MODULE_NAME", nullptr, nullptr,
};

static void register_zanvodbjs() __attribute__((constructor));
static void register_zanvodbjs() { node_module_register(&zanvodbjs_module); }
