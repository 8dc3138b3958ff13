// ZVConnection: the script object for one database link and its state machine.
#pragma once
#include <node.h>
#include <node_object_wrap.h>

#include "binding/link_holder.h"
#include "binding/script_util.h"

namespace zvdbms {

// Life of the link; there is no 4.
enum ConnState : int32_t {
  STATE_UNOPENED = 0,
  STATE_OPEN = 1,
  STATE_ENDED = 2,
  STATE_DESTROYED = 3,
  STATE_DISCONNECTED = 5,
};

class ZVConnection : public node::ObjectWrap {
 public:
  static v8::Persistent<v8::Function> constructor;  // never released: it lives as long as the process
  static void Init(v8::Isolate* isolate);
  static v8::MaybeLocal<v8::Object> NewInstance(v8::Isolate* isolate, v8::Local<v8::Value> arg);

  explicit ZVConnection(LinkHolder* holder) : link(holder), p_conn(holder->p_conn), p_res(holder->p_res) {}

  char* conn_string = nullptr;
  // The link lives in its holder, which outlives this object when it is collected without
  // end; these name the holder's fields. The holder's script object is kept alive by the
  // connection's own (see New) and by the script layer's registry.
  LinkHolder* const link;
  ConnRecord*& p_conn;
  void*& p_res;  // result of the latest SELECT run with a callback
  int32_t state = STATE_UNOPENED;

  // Opens a link from conn_string; on success it becomes the object's link. Returns the open call's code.
  int32_t open_link();
  // For the statement methods: an unopened connection opens here; false, with a TypeError
  // thrown, when it has been closed or cannot be opened.
  bool open_for_statement(v8::Isolate* isolate);
  // Replaces the held result, freeing the one it held.
  void hold_result(void* result);
  // Frees the held result and closes the link, if any.
  void release_link();

 private:
  static void New(const v8::FunctionCallbackInfo<v8::Value>& args);
  static void End(const v8::FunctionCallbackInfo<v8::Value>& args);
  static void Connect(const v8::FunctionCallbackInfo<v8::Value>& args);
  static void Query(const v8::FunctionCallbackInfo<v8::Value>& args);
  static void QueryKeepingConnection(const v8::FunctionCallbackInfo<v8::Value>& args);
  static void BeginTransaction(const v8::FunctionCallbackInfo<v8::Value>& args);
  static void Rollback(const v8::FunctionCallbackInfo<v8::Value>& args);
  static void Commit(const v8::FunctionCallbackInfo<v8::Value>& args);
  static void Disconnect(const v8::FunctionCallbackInfo<v8::Value>& args);
  static void Destry(const v8::FunctionCallbackInfo<v8::Value>& args);
};

// The connection a method was called on.
ZVConnection* connection_of(const v8::FunctionCallbackInfo<v8::Value>& args);

// callback(null) when status is 0 or more, else callback(text); receiver null.
void report_status(int32_t status, v8::Local<v8::Function> callback, v8::Isolate* isolate, const char* text);

}  // namespace zvdbms
