// AsyncLink: the native half of a Promise-API connection. Every method checks nothing a script
// could get wrong (lib/ has), posts one job to the connection's exchange thread and returns;
// its callback later gets (null, value) or (failure text, ...) on the script thread.
#pragma once
#include <node.h>
#include <node_object_wrap.h>

struct ServerList;

namespace zvdbms {

class ExchangeThread;

class AsyncLink : public node::ObjectWrap {
 public:
  static void Init(v8::Isolate* isolate, v8::Local<v8::Object> exports);
  // A link dropped without close: its thread closes it after the jobs still queued.
  ~AsyncLink() override;

 private:
  ExchangeThread* thread_ = nullptr;  // deletes itself once retired
  char* conn_string_ = nullptr;
  bool local_ = true;  // zone-less datetimes are local wall clocks (else UTC)
  v8::Global<v8::Function> on_notice_;  // gets each line the link gave out, before its call settles
  // The working list of a string that names several servers, written by the open on the
  // exchange thread while the object is held by the open's callback. It stays behind, as with
  // the synchronous connection: the client gives no way to free it.
  ServerList* servers_ = nullptr;

  // The link a method was called on, when it can take a job: still open, and given a
  // callback last. Null, with a TypeError thrown, when not.
  static AsyncLink* for_job(const v8::FunctionCallbackInfo<v8::Value>& args);

  // new AsyncLink(optionsOrString, local, onNotice)
  static void New(const v8::FunctionCallbackInfo<v8::Value>& args);
  // open(callback): (null) or (text, code, elapsedMs)
  static void Open(const v8::FunctionCallbackInfo<v8::Value>& args);
  // query(sql, values, callback): (null, AsyncResult)
  static void Query(const v8::FunctionCallbackInfo<v8::Value>& args);
  // prepare(sql, callback): (null, name)
  static void Prepare(const v8::FunctionCallbackInfo<v8::Value>& args);
  // execute(name, sql, values, callback): (null, AsyncResult); sql names the placeholders
  static void Execute(const v8::FunctionCallbackInfo<v8::Value>& args);
  // unprepare(name, callback): (null)
  static void Unprepare(const v8::FunctionCallbackInfo<v8::Value>& args);
  // batch(sql, rows, callback): (null, changed) or (text, changed)
  static void Batch(const v8::FunctionCallbackInfo<v8::Value>& args);
  // Streams read a server cursor a block at a time, each block a job of its own.
  // openCursor(sql, values, cursor, blockRows, callback): declares and opens the cursor over
  // sql and fetches its first block: (null, AsyncResult)
  static void OpenCursor(const v8::FunctionCallbackInfo<v8::Value>& args);
  // executeCursor(name, sql, values, blockRows, callback): the same over the prepared
  // statement name, whose cursor is name + "_CUR"
  static void ExecuteCursor(const v8::FunctionCallbackInfo<v8::Value>& args);
  // fetch(cursor, blockRows, callback): the next block, (null, AsyncResult). A block short of
  // blockRows is the last: the cursor is closed with it.
  static void Fetch(const v8::FunctionCallbackInfo<v8::Value>& args);
  // closeCursor(cursor, callback): (null)
  static void CloseCursor(const v8::FunctionCallbackInfo<v8::Value>& args);
  // close(callback): (null) after every call queued before it; the thread then ends
  static void Close(const v8::FunctionCallbackInfo<v8::Value>& args);
};

}  // namespace zvdbms
