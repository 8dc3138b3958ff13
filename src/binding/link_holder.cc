#include "binding/link_holder.h"

#include "binding/held_results.h"
#include "binding/idle_closes.h"
#include "binding/script_util.h"
#include "zvc.h"

namespace zvdbms {

using v8::Function;
using v8::FunctionCallbackInfo;
using v8::Isolate;
using v8::Local;
using v8::MaybeLocal;
using v8::Object;
using v8::Value;

// Both made once at load and kept as long as the process. No script reaches a holder or its
// class: the connection keeps it in an internal field, the registry in its closure.
static v8::Persistent<Function> holder_class;
static v8::Persistent<Function> watcher;

void LinkHolder::Init(Isolate* isolate) {
  static const MethodEntry methods[] = {{"close", Close}};
  holder_class.Reset(isolate, build_class(isolate, "ZVLink", New, 1, methods, 1));
}

MaybeLocal<Object> LinkHolder::NewInstance(Isolate* isolate) {
  return Local<Function>::New(isolate, holder_class)->NewInstance(isolate->GetCurrentContext());
}

void LinkHolder::New(const FunctionCallbackInfo<Value>& args) { (new LinkHolder())->Wrap(args.This()); }

void LinkHolder::WatchLinks(const FunctionCallbackInfo<Value>& args) {
  if (!watcher.IsEmpty() || !args[0]->IsFunction()) return;
  watcher.Reset(args.GetIsolate(), args[0].As<Function>());
}

void LinkHolder::watch(Isolate* isolate, Local<Object> connection, Local<Object> holder) {
  if (watcher.IsEmpty()) return;
  Local<Value> argv[2] = {connection, holder};
  Local<Value> ignored;
  // A watcher that throws leaves its exception pending for the constructor's caller.
  if (!Local<Function>::New(isolate, watcher)->Call(isolate->GetCurrentContext(), v8::Null(isolate), 2, argv).ToLocal(&ignored))
    return;
}

LinkHolder::~LinkHolder() { forget_idle_close(this); }

void LinkHolder::release() {
  forget_idle_close(this);
  if (p_res != nullptr) ZVC_CloseResult(&p_res);
  if (p_conn != nullptr) ZVC_CloseConnection(&p_conn);
  // Cursors of query objects left to close: those of this link are detached now and only freed.
  close_failed_results();
}

void LinkHolder::Close(const FunctionCallbackInfo<Value>& args) {
  node::ObjectWrap::Unwrap<LinkHolder>(args.This())->release();
}

}  // namespace zvdbms
