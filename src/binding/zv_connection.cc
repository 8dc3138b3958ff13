#include "binding/zv_connection.h"

#include <cstdlib>
#include <cstring>

#include "binding/execute_batch_method.h"
#include "binding/idle_closes.h"
#include "binding/options_string.h"
#include "binding/querymany.h"
#include "zvc.h"

namespace zvdbms {

using v8::Function;
using v8::FunctionCallbackInfo;
using v8::Isolate;
using v8::Local;
using v8::MaybeLocal;
using v8::Object;
using v8::Value;

v8::Persistent<Function> ZVConnection::constructor;

enum { HOLDER_FIELD = 1 };  // field 0 is the wrapped object's

static const char kAlreadyOpened[] = "The Connection is already Opened !";
static const char kCalledEnd[] = "The Connection has called .end()!";

void ZVConnection::Init(Isolate* isolate) {
  LinkHolder::Init(isolate);
  static const MethodEntry methods[] = {
      {"end", End},
      {"connect", Connect},
      {"query", QueryKeepingConnection},
      {"beginTransaction", BeginTransaction},
      {"rollback", Rollback},
      {"commit", Commit},
      {"disconnect", Disconnect},
      {"destry", Destry},
      {"querymany", QueryMany},
      {"executeBatch", ExecuteBatch},
  };
  constructor.Reset(isolate, build_class(isolate, "ZVConnection", New, 4, methods, sizeof methods / sizeof methods[0]));
}

MaybeLocal<Object> ZVConnection::NewInstance(Isolate* isolate, Local<Value> arg) {
  Local<Function> cons = Local<Function>::New(isolate, constructor);
  return cons->NewInstance(isolate->GetCurrentContext(), 1, &arg);
}

void ZVConnection::New(const FunctionCallbackInfo<Value>& args) {
  Isolate* isolate = args.GetIsolate();
  if (!args.IsConstructCall()) {
    Local<Object> instance;
    if (NewInstance(isolate, args[0]).ToLocal(&instance)) args.GetReturnValue().Set(instance);
    return;
  }
  Local<Value> a = args[0];
  char* conn_string = nullptr;
  if (a->IsString()) {
    conn_string = utf8_copy(isolate, a);
    // A string whose values would be cut or dropped is refused here, as bad options are.
    char refusal[128];
    if (conn_string && ZVC_CheckConnString(conn_string, refusal, sizeof refusal) == ZV_BAD_CONN_STRING) {
      free(conn_string);
      return throw_type_error(isolate, refusal);
    }
  } else if (a->IsObject() && !options_to_conn_string(isolate, a.As<Object>(), &conn_string)) {
    return;
  }
  Local<Object> holder;
  if (!LinkHolder::NewInstance(isolate).ToLocal(&holder)) return free(conn_string);
  ZVConnection* conn = new ZVConnection(node::ObjectWrap::Unwrap<LinkHolder>(holder));
  conn->conn_string = conn_string;
  conn->Wrap(args.This());
  args.This()->SetInternalField(HOLDER_FIELD, holder);
  LinkHolder::watch(isolate, args.This(), holder);
  args.GetReturnValue().Set(args.This());
}

int32_t ZVConnection::open_link() {
  ConnRecord* handle = nullptr;
  // Several servers fail over; each open starts afresh with all of them live, since one that
  // was down may be back. After destry there is no string, and the plain open refuses that.
  bool several = conn_string && (strstr(conn_string, "IPS=") || strstr(conn_string, "ips="));
  int32_t ret = several ? ZVC_OpenConnectionIPS(conn_string, -1, &link->servers, &handle)
                        : ZVC_OpenConnection(conn_string, &handle);
  if (ret < 0) {
    // A failed open leaves a record with the reason behind; nothing here reads it.
    ZVC_CloseConnection(&handle);
    return ret;
  }
  // A link that a repeated open replaces is closed, never left behind.
  release_link();
  p_conn = handle;
  ZVC_HoldCloses(&p_conn, 1, close_when_idle, link);
  state = STATE_OPEN;
  return ret;
}

bool ZVConnection::open_for_statement(Isolate* isolate) {
  if (state != STATE_UNOPENED && state != STATE_OPEN) return throw_type_error(isolate, "The Connection is Not Open!"), false;
  if (state == STATE_UNOPENED && open_link() < 0)
    return throw_type_error(isolate, "Connect to Database failed! connection params error or Server can't reach"), false;
  return true;
}

void ZVConnection::hold_result(void* result) {
  if (p_res != nullptr && p_res != result) ZVC_CloseResult(&p_res);
  p_res = result;
}

void ZVConnection::release_link() { link->release(); }

ZVConnection* connection_of(const FunctionCallbackInfo<Value>& args) {
  return node::ObjectWrap::Unwrap<ZVConnection>(args.This());
}

void report_status(int32_t status, Local<Function> callback, Isolate* isolate, const char* text) {
  Local<Value> arg = status >= 0 ? Local<Value>(v8::Null(isolate)) : Local<Value>(utf8(isolate, text));
  call_back(isolate, callback, 1, &arg);
}

void ZVConnection::Connect(const FunctionCallbackInfo<Value>& args) {
  Isolate* isolate = args.GetIsolate();
  ZVConnection* conn = connection_of(args);
  Local<Value> x = args[0];
  bool refused = conn->state == STATE_OPEN || conn->state == STATE_ENDED || conn->state == STATE_DESTROYED;
  if (x->IsUndefined()) {
    if (refused) {
      throw_type_error(isolate, conn->state == STATE_OPEN ? kAlreadyOpened : kCalledEnd);
      return;
    }
    if (conn->open_link() < 0) {
      conn->state = STATE_UNOPENED;
      throw_type_error(isolate, "Connect to Database failed! connection params error or Server can't reach 2");
      return;
    }
    args.GetReturnValue().Set(true);
    return;
  }
  if (refused && x->IsFunction()) {
    const char* text = conn->state == STATE_OPEN ? kAlreadyOpened : kCalledEnd;
    // The link stays held; the next open closes it.
    conn->state = STATE_UNOPENED;
    report_status(-1, x.As<Function>(), isolate, text);
    return;
  }
  // The link is published before the callback runs, so a query inside it uses this link.
  int32_t ret = conn->open_link();
  if (ret < 0) conn->state = STATE_UNOPENED;
  if (x->IsFunction())
    report_status(ret, x.As<Function>(), isolate,
                  "Connect to Database failed! connection params error or Server can't reach 1");
  if (ret >= 0) args.GetReturnValue().Set(true);
}

// A query object keeps its connection, and with it the link that its cursor reads further
// blocks from, for as long as it lives. The key is private: no script sees or changes it.
void ZVConnection::QueryKeepingConnection(const FunctionCallbackInfo<Value>& args) {
  Query(args);
  Local<Value> made = args.GetReturnValue().Get();
  if (!made->IsObject()) return;
  Isolate* isolate = args.GetIsolate();
  v8::Local<v8::Private> key = v8::Private::ForApi(isolate, utf8(isolate, "zanvodb:connection"));
  made.As<Object>()->SetPrivate(isolate->GetCurrentContext(), key, args.This()).Check();
}

void ZVConnection::End(const FunctionCallbackInfo<Value>& args) {
  ZVConnection* conn = connection_of(args);
  if (conn->state != STATE_OPEN) {
    throw_type_error(args.GetIsolate(), "The Connection is Not Open!");
    return;
  }
  conn->release_link();
  conn->state = STATE_ENDED;
}

void ZVConnection::Disconnect(const FunctionCallbackInfo<Value>& args) {
  ZVConnection* conn = connection_of(args);
  // Also releases a link that a refused connect(callback) left held.
  conn->release_link();
  conn->state = STATE_DISCONNECTED;
}

void ZVConnection::Destry(const FunctionCallbackInfo<Value>& args) {
  ZVConnection* conn = connection_of(args);
  conn->release_link();
  free(conn->conn_string);
  conn->conn_string = nullptr;
  conn->state = STATE_DESTROYED;
}

}  // namespace zvdbms
