// The link of a connection, held by a script object of its own so that it can still be closed
// after the connection's object has been collected: a finalization registry of the script layer
// keeps this object while the connection lives and calls its close once the connection has gone.
#pragma once
#include <node.h>
#include <node_object_wrap.h>

struct ConnRecord;
struct ServerList;

namespace zvdbms {

class LinkHolder : public node::ObjectWrap {
 public:
  static void Init(v8::Isolate* isolate);
  // A new holder with no link yet; empty when making it threw.
  static v8::MaybeLocal<v8::Object> NewInstance(v8::Isolate* isolate);
  // The function given to watchLinks: called (connection, holder) for each new connection.
  // The first call sets it, so that no later script can take it over.
  static void WatchLinks(const v8::FunctionCallbackInfo<v8::Value>& args);
  // Hands a new connection and its holder to the watcher, if there is one.
  static void watch(v8::Isolate* isolate, v8::Local<v8::Object> connection, v8::Local<v8::Object> holder);

  ConnRecord* p_conn = nullptr;
  void* p_res = nullptr;  // result of the latest SELECT run with a callback
  // The working list of a string that names several servers; each open replaces it, and the
  // last one stays with the holder, as the client gives no other way to free it.
  ServerList* servers = nullptr;

  ~LinkHolder() override;
  // Frees the held result and closes the link, if any; nothing is left to do a second time.
  void release();

 private:
  static void New(const v8::FunctionCallbackInfo<v8::Value>& args);
  static void Close(const v8::FunctionCallbackInfo<v8::Value>& args);
};

}  // namespace zvdbms
