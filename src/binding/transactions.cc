// beginTransaction, commit and rollback: plain statements sent as text.
#include "binding/scalar_exec.h"
#include "binding/zv_connection.h"
#include "zvc.h"

namespace zvdbms {

using v8::Function;
using v8::FunctionCallbackInfo;
using v8::Local;
using v8::Value;

static const char kConnectionException[] = "The zanvo database conntion exception.";

static ZVConnection* open_connection(const FunctionCallbackInfo<Value>& args) {
  ZVConnection* conn = connection_of(args);
  if (conn->state == STATE_OPEN) return conn;
  throw_type_error(args.GetIsolate(), "The Connection is Not Open!");
  return nullptr;
}

static void report(const FunctionCallbackInfo<Value>& args, int32_t status) {
  if (args[0]->IsFunction()) report_status(status, args[0].As<Function>(), args.GetIsolate(), kConnectionException);
}

// Auto commit on: switch it off. Already off: a transaction is running, so commit it.
void ZVConnection::BeginTransaction(const FunctionCallbackInfo<Value>& args) {
  ZVConnection* conn = open_connection(args);
  if (conn == nullptr) return;
  uint8_t value[SCALAR_BUF];
  int32_t type = 0;
  int32_t ret = exec_scalar(&conn->p_conn, "SHOW AUTO_COMMIT;", value, &type);
  if (ret >= 0) ret = ZVC_ExecNoQuery(&conn->p_conn, value[0] == 'T' ? "SET AUTO_COMMIT OFF;" : "COMMIT;");
  report(args, ret);
}

void ZVConnection::Commit(const FunctionCallbackInfo<Value>& args) {
  ZVConnection* conn = open_connection(args);
  if (conn == nullptr) return;
  report(args, ZVC_ExecNoQuery(&conn->p_conn, "COMMIT;"));
}

// A rollback reports no failure: the callback always gets null.
void ZVConnection::Rollback(const FunctionCallbackInfo<Value>& args) {
  ZVConnection* conn = open_connection(args);
  if (conn == nullptr) return;
  ZVC_ExecNoQuery(&conn->p_conn, "ROLLBACK;");
  report(args, 0);
}

}  // namespace zvdbms
