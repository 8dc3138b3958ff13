#include "binding/zv_query.h"

#include <cstdlib>
#include <cstring>

#include "zvc.h"

namespace zvdbms {

using v8::Array;
using v8::Function;
using v8::FunctionCallbackInfo;
using v8::Isolate;
using v8::Local;
using v8::Object;
using v8::Value;

v8::Persistent<Function> ZVQuery::constructor;
v8::Persistent<Function> ZVQuery::factory;

// The class is reachable from scripts through an instance's constructor, so a result pointer
// is taken from the arguments only when query itself builds the object through the factory.
static bool building_from_query = false;

static void instantiate(const FunctionCallbackInfo<Value>& args, bool from_query) {
  Isolate* isolate = args.GetIsolate();
  Local<Value> argv[2] = {args[0], args[1]};
  building_from_query = from_query;
  Local<Object> instance;
  bool made = Local<Function>::New(isolate, ZVQuery::constructor)
                  ->NewInstance(isolate->GetCurrentContext(), 2, argv)
                  .ToLocal(&instance);
  building_from_query = false;
  if (made) args.GetReturnValue().Set(instance);
}

// The factory's function is made here once: a template made for each query would stay in
// the isolate for good, and a script making many query objects would grow the heap without end.
void ZVQuery::Init(Isolate* isolate) {
  constructor.Reset(isolate, build_class(isolate, "ZVQuery", New, 3, nullptr, 0));
  Local<Function> fn = v8::FunctionTemplate::New(isolate, Factory)->GetFunction(isolate->GetCurrentContext()).ToLocalChecked();
  factory.Reset(isolate, fn);
}

void ZVQuery::Factory(const FunctionCallbackInfo<Value>& args) { instantiate(args, true); }

// The result held here belongs to this object alone, so it goes when the object is collected.
ZVQuery::~ZVQuery() {
  if (p_res != nullptr) ZVC_CloseResult(&p_res);
  free(sql_text);
  free(error_text);
}

void ZVQuery::New(const FunctionCallbackInfo<Value>& args) {
  Isolate* isolate = args.GetIsolate();
  if (!args.IsConstructCall()) {
    instantiate(args, false);
    return;
  }
  Local<v8::Context> context = isolate->GetCurrentContext();
  ZVQuery* query = new ZVQuery();
  if (args[0]->IsString()) query->sql_text = utf8_copy(isolate, args[0]);
  if (building_from_query && args[1]->IsArray() && args[1].As<Array>()->Length() == 3) {
    Local<Array> arr = args[1].As<Array>();
    Local<Value> count = arr->Get(context, 0).ToLocalChecked();
    Local<Value> handle = arr->Get(context, 1).ToLocalChecked();
    Local<Value> third = arr->Get(context, 2).ToLocalChecked();
    if (!third->IsNull() && third->IsObject()) {
      query->error_text = utf8_copy(isolate, third.As<Object>()->Get(context, utf8(isolate, "Error")).ToLocalChecked());
    } else if (handle->IsNumber()) {
      double bits = handle.As<v8::Number>()->Value();
      memcpy(&query->p_res, &bits, sizeof bits);
      query->column_count = count->Int32Value(context).FromMaybe(0);
    }
  }
  query->Wrap(args.This());
  args.GetReturnValue().Set(args.This());
}

}  // namespace zvdbms
