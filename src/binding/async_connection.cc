#include "binding/async_connection.h"

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "binding/async_result.h"
#include "binding/batch_columns.h"
#include "binding/decoded_result.h"
#include "binding/exchange_thread.h"
#include "binding/options_string.h"
#include "binding/param_values.h"
#include "binding/script_util.h"
#include "zvc.h"

namespace zvdbms {

using v8::Function;
using v8::FunctionCallbackInfo;
using v8::Isolate;
using v8::Local;
using v8::Object;
using v8::Value;

namespace {

enum {
  CALL_TEXT_BUF = 1024,
  ATTR_CURSORS_OFF = 12,   // a connection's server cursors turned off
  ATTR_ROWS_CHANGED = 63,  // a result's count of rows changed
  RUN_COMMAND_BYTES = 128,  // what OPEN, FETCH and the DECLARE's own words add to a statement's text
};
const char kLinkClosed[] = "[EJ1024] database connection is closed";

// One call: work() runs on the exchange thread and fills the outcome, which the callback gets.
class CallJob : public ExchangeJob {
 public:
  CallJob(Isolate* isolate, Local<Function> callback, const v8::Global<Function>& on_notice)
      : callback_(isolate, callback), on_notice_(isolate, on_notice) {}

  std::function<void(ConnRecord**, CallJob*)> work;
  std::string error;                        // empty: success
  std::vector<double> numbers;              // extra arguments behind the first
  std::string text;                         // a text value (a statement's name)
  std::unique_ptr<DecodedResult> result;    // a result value

  // A statement that may go out in one write with those queued behind it: its text and values,
  // whether it changes rows, and once such a run has read its replies (ran), its code and
  // handle, for work.
  std::string run_sql;
  std::shared_ptr<ParamList> run_params;
  bool writes = false;
  bool ran = false;
  int32_t run_code = 0;
  void* run_result = nullptr;

  // Settles rows, a part of the select's, on the script thread ahead of this job.
  void hand_over(std::unique_ptr<DecodedResult> rows);

  // Records the failure of a client call on the link, with the text that source (the link when
  // null) holds. A failed link is closed at once: every later call then fails with the same
  // words, and the socket does not linger.
  void fail(ConnRecord** link, int32_t rc, void** source = nullptr) {
    char buffer[CALL_TEXT_BUF] = {0};
    failure_text(source ? source : reinterpret_cast<void**>(link), rc, buffer, sizeof buffer);
    error = buffer;
    if (rc == ZV_NET_ERROR) ZVC_CloseConnection(link);
  }

  // A statement that ran has its outcome in hand, even when a failure before it closed the link.
  void run(ConnRecord** link) override {
    if (*link == nullptr && !opens_ && !ran) {
      error = kLinkClosed;
      return;
    }
    work(link, this);
  }

  size_t run_bytes() const override {
    if (run_sql.empty()) return 0;
    size_t bytes = run_sql.size() + RUN_COMMAND_BYTES;
    for (const ParamValue& p : run_params->values) bytes += p.bytes.size() + RUN_COMMAND_BYTES;
    return bytes;
  }

  bool run_writes() const override { return writes; }

  void send_run(ConnRecord** link, ExchangeJob* const* jobs, size_t count) override;

  void settle(Isolate* isolate) override {
    Local<Function> on_notice = on_notice_.Get(isolate);
    for (const std::string& line : notices) {
      Local<Value> arg = utf8(isolate, line.c_str());
      if (on_notice->Call(isolate->GetCurrentContext(), v8::Null(isolate), 1, &arg).IsEmpty()) return;
    }
    std::vector<Local<Value>> argv;
    if (!error.empty()) {
      argv.push_back(utf8(isolate, error.c_str()));
    } else {
      argv.push_back(v8::Null(isolate));
      Local<Object> made;
      if (result) {
        if (!AsyncResult::NewInstance(isolate, std::move(result)).ToLocal(&made)) return;
        argv.push_back(made);
      } else if (!text.empty()) {
        argv.push_back(utf8(isolate, text.c_str()));
      }
    }
    for (double n : numbers) argv.push_back(v8::Number::New(isolate, n));
    Local<Function> fn = callback_.Get(isolate);
    fn->Call(isolate->GetCurrentContext(), v8::Null(isolate), static_cast<int>(argv.size()), argv.data())
        .FromMaybe(Local<Value>());
  }

  bool opens_ = false;  // the open job runs without a link

 private:
  v8::Global<Function> callback_;
  v8::Global<Function> on_notice_;
};

// A part of a select's rows, given to the call's callback as (null, AsyncResult, true). The
// call's job settles after every part it handed over, so its callback outlives the part.
class PartJob : public ExchangeJob {
 public:
  PartJob(const v8::Global<Function>* callback, std::unique_ptr<DecodedResult> rows)
      : callback_(callback), rows_(std::move(rows)) {
    part = true;
  }
  void run(ConnRecord**) override {}
  void settle(Isolate* isolate) override {
    Local<Object> made;
    if (!AsyncResult::NewInstance(isolate, std::move(rows_)).ToLocal(&made)) return;
    Local<Value> argv[] = {v8::Null(isolate), made, v8::True(isolate)};
    callback_->Get(isolate)->Call(isolate->GetCurrentContext(), v8::Null(isolate), 3, argv).FromMaybe(Local<Value>());
  }

 private:
  const v8::Global<Function>* callback_;
  std::unique_ptr<DecodedResult> rows_;
};

void CallJob::hand_over(std::unique_ptr<DecodedResult> rows) {
  thread->hand_over(new PartJob(&callback_, std::move(rows)));
}

// Each statement of the run gets its own parameter set; a set that cannot be bound ends the run
// ahead of its statement, which then runs alone, and so do all when the run cannot be sent (a
// link already closed, server cursors off, memory).
void CallJob::send_run(ConnRecord** link, ExchangeJob* const* jobs, size_t count) {
  int32_t cursors_off = 0, type = 0, length = 0;
  if (*link == nullptr ||
      ZVC_GetAttr(reinterpret_cast<void**>(link), ATTR_CURSORS_OFF, &cursors_off, sizeof cursors_off, &type, &length) < 0 ||
      cursors_off != 0)
    return;
  RunQuery queries[ZV_RUN_MAX];
  ParamSet* sets[ZV_RUN_MAX] = {};
  size_t n = 0;
  for (; n < count; n++) {
    CallJob* job = static_cast<CallJob*>(jobs[n]);
    if (!job->run_params->values.empty() &&
        (ZVC_NewParamSet(&sets[n]) < 0 || bind_params(reinterpret_cast<void**>(&sets[n]), *job->run_params) < 0))
      break;
    queries[n] = {job->run_sql.c_str(), sets[n], nullptr, 0};
  }
  if (n > 1 && ZVC_ExecuteRun(link, queries, static_cast<int32_t>(n)) == 0) {
    for (size_t i = 0; i < n; i++) {
      CallJob* job = static_cast<CallJob*>(jobs[i]);
      job->ran = true;
      job->run_code = queries[i].code;
      job->run_result = queries[i].result;
    }
  }
  for (size_t i = 0; i < count; i++) ZVC_FreeHandle(reinterpret_cast<void**>(&sets[i]));
}

// A statement's outcome: rows decoded, or the count or row id it brought. A select's rows go
// over part by part as they are decoded, the last part with the call's outcome.
void take_outcome(ConnRecord** link, CallJob* job, int32_t rc, void* res, const char* sql, bool local) {
  if (rc < 0) {
    job->fail(link, rc);
    ZVC_CloseResult(&res);
    return;
  }
  auto out = std::make_unique<DecodedResult>();
  int32_t fields = 0;
  if (res != nullptr) ZVC_GetColumnCount(&res, &fields);
  DecodeStatus status = DECODE_DONE;
  while (fields > 0 && (status = decode_rows(&res, local, PART_ROWS, out.get(), &job->error)) == DECODE_MORE) {
    job->hand_over(std::move(out));
    out = std::make_unique<DecodedResult>();
  }
  if (status == DECODE_FAILED) {
    if (job->error.empty()) job->error = kLinkClosed;
    ZVC_CloseResult(&res);
    return;
  }
  char row_id[64] = {0};
  if (res != nullptr) ZVC_GetRowId(&res, row_id, sizeof row_id);
  out->row_id = row_id;
  int32_t sql_class = ZVC_ClassifySql(sql);
  if (sql_class == SQL_UPDATE || sql_class == SQL_DELETE) out->changed = job->numbers.empty() ? 0 : job->numbers[0];
  job->numbers.clear();
  ZVC_CloseResult(&res);
  job->result = std::move(out);
}

// Binds and reports a failed bind; the values left on the link go with it.
bool bind_or_fail(ConnRecord** link, CallJob* job, const ParamList& params) {
  int32_t rc = bind_params(link, params);
  if (rc >= 0) return true;
  job->fail(link, rc);
  if (*link) ZVC_ClearParams(reinterpret_cast<void**>(link));
  return false;
}

// The next block of a cursor, whole, as the job's result. A short block is the cursor's last:
// it is closed at once, so that a stream read to its end leaves nothing on the server.
void fetch_block(ConnRecord** link, CallJob* job, const std::string& cursor, int32_t block_rows, bool local) {
  void* res = nullptr;
  int32_t fields = 0, rows = 0;
  int32_t rc = ZVC_FetchCount(link, cursor.c_str(), &res, &fields, &rows, &block_rows);
  if (rc < 0) return job->fail(link, rc);
  auto out = std::make_unique<DecodedResult>();
  if (decode_rows(&res, local, UINT64_MAX, out.get(), &job->error) == DECODE_FAILED) {
    if (job->error.empty()) job->error = kLinkClosed;
    ZVC_CloseResult(&res);
    ZVC_CloseCursor(link, cursor.c_str());
    return;
  }
  ZVC_CloseResult(&res);
  if (out->row_count < static_cast<uint64_t>(block_rows)) {
    rc = ZVC_CloseCursor(link, cursor.c_str());
    if (rc < 0) return job->fail(link, rc);
  }
  job->result = std::move(out);
}

// The callback of a method: its last argument. lib/ always gives one.
Local<Function> callback_of(const FunctionCallbackInfo<Value>& args) {
  return args[args.Length() - 1].As<Function>();
}

// Runs work on the link's thread as one call whose callback is the method's last argument.
void post(ExchangeThread* thread, const v8::Global<Function>& on_notice, const FunctionCallbackInfo<Value>& args,
          std::function<void(ConnRecord**, CallJob*)> work) {
  auto* job = new CallJob(args.GetIsolate(), callback_of(args), on_notice);
  job->work = std::move(work);
  thread->post(job);
}

std::string text_of(Isolate* isolate, Local<Value> value) {
  v8::String::Utf8Value text(isolate, value);
  return *text ? std::string(*text, static_cast<size_t>(text.length())) : std::string();
}

}  // namespace

AsyncLink::~AsyncLink() {
  if (thread_) thread_->retire();
  free(conn_string_);
}

void AsyncLink::Init(Isolate* isolate, Local<Object> exports) {
  static const MethodEntry methods[] = {{"open", Open},         {"query", Query}, {"prepare", Prepare},
                                        {"execute", Execute},   {"unprepare", Unprepare},
                                        {"batch", Batch},       {"openCursor", OpenCursor},
                                        {"executeCursor", ExecuteCursor}, {"fetch", Fetch},
                                        {"closeCursor", CloseCursor}, {"close", Close}};
  Local<Function> cls = build_class(isolate, "AsyncLink", New, 1, methods, 11);
  // Not enumerable: the synchronous face's keys stay createConnection alone.
  exports->DefineOwnProperty(isolate->GetCurrentContext(), utf8(isolate, "AsyncLink"), cls, v8::DontEnum).Check();
  AsyncResult::Init(isolate);
}

void AsyncLink::New(const FunctionCallbackInfo<Value>& args) {
  Isolate* isolate = args.GetIsolate();
  if (!args.IsConstructCall()) return throw_type_error(isolate, "AsyncLink needs new");
  if (!args[2]->IsFunction()) return throw_type_error(isolate, "The third argument is not a function");
  char* conn_string = nullptr;
  if (args[0]->IsObject()) {
    if (!options_to_conn_string(isolate, args[0].As<Object>(), &conn_string)) return;
  } else {
    conn_string = utf8_copy(isolate, args[0]);
  }
  AsyncLink* self = new AsyncLink();
  self->conn_string_ = conn_string;
  self->local_ = !args[1]->IsFalse();
  self->on_notice_.Reset(isolate, args[2].As<Function>());
  self->thread_ = new ExchangeThread(isolate);
  self->Wrap(args.This());
  args.GetReturnValue().Set(args.This());
}

AsyncLink* AsyncLink::for_job(const FunctionCallbackInfo<Value>& args) {
  AsyncLink* self = node::ObjectWrap::Unwrap<AsyncLink>(args.This());
  if (self->thread_ == nullptr) return throw_type_error(args.GetIsolate(), "The link is closed"), nullptr;
  if (args.Length() == 0 || !args[args.Length() - 1]->IsFunction())
    return throw_type_error(args.GetIsolate(), "The last argument is not a callback"), nullptr;
  return self;
}

void AsyncLink::Open(const FunctionCallbackInfo<Value>& args) {
  AsyncLink* self = for_job(args);
  if (self == nullptr) return;
  auto* job = new CallJob(args.GetIsolate(), callback_of(args), self->on_notice_);
  job->opens_ = true;
  std::string conn_string = self->conn_string_ ? self->conn_string_ : "";
  ServerList** servers = &self->servers_;
  job->work = [conn_string, servers](ConnRecord** link, CallJob* job) {
    if (*link) ZVC_CloseConnection(link);
    auto start = std::chrono::steady_clock::now();
    bool several = strstr(conn_string.c_str(), "IPS=") || strstr(conn_string.c_str(), "ips=");
    int32_t rc = several ? ZVC_OpenConnectionIPS(conn_string.c_str(), -1, servers, link)
                         : ZVC_OpenConnection(conn_string.c_str(), link);
    if (rc >= 0) return;
    double elapsed = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    job->fail(link, rc);
    ZVC_CloseConnection(link);
    job->numbers = {static_cast<double>(rc), elapsed};
  };
  self->thread_->post(job);
}

void AsyncLink::Query(const FunctionCallbackInfo<Value>& args) {
  Isolate* isolate = args.GetIsolate();
  AsyncLink* self = for_job(args);
  if (self == nullptr) return;
  std::string sql = text_of(isolate, args[0]);
  auto params = std::make_shared<ParamList>();
  if (!read_params(isolate, sql.c_str(), args[1], Face::kExact, params.get())) return;
  bool local = self->local_;
  auto* job = new CallJob(isolate, callback_of(args), self->on_notice_);
  // Selects, inserts, updates and deletes join runs. Any other statement runs alone: a schema
  // change or a routine may change what a statement read ahead of it in a run still fetches (a
  // large object kept by reference is refused once the schema changed), and none comes in bulk.
  int32_t sql_class = ZVC_ClassifySql(sql.c_str());
  if (sql_class == SQL_QUERY || sql_class == SQL_INSERT || sql_class == SQL_UPDATE || sql_class == SQL_DELETE) {
    job->run_sql = sql;
    job->run_params = params;
    job->writes = sql_class != SQL_QUERY;
  }
  job->work = [sql, params, local](ConnRecord** link, CallJob* job) {
    void* res = job->run_result;
    int32_t rc = job->run_code;
    if (job->ran && rc < 0) {
      job->fail(link, rc, &res);
      ZVC_CloseResult(&res);
      return;
    }
    int32_t effect = 0, type = 0, length = 0;
    if (!job->ran) {
      if (!params->values.empty() && !bind_or_fail(link, job, *params)) return;
      int32_t fields = 0, rows = 0;
      rc = ZVC_Execute(link, sql.c_str(), &res, &fields, &rows, &effect);
    } else if (job->writes && res != nullptr) {
      ZVC_GetAttr(&res, ATTR_ROWS_CHANGED, &effect, sizeof effect, &type, &length);
    }
    job->numbers = {static_cast<double>(effect)};
    take_outcome(link, job, rc, res, sql.c_str(), local);
  };
  self->thread_->post(job);
}

void AsyncLink::Prepare(const FunctionCallbackInfo<Value>& args) {
  Isolate* isolate = args.GetIsolate();
  AsyncLink* self = for_job(args);
  if (self == nullptr) return;
  std::string sql = text_of(isolate, args[0]);
  post(self->thread_, self->on_notice_, args, [sql](ConnRecord** link, CallJob* job) {
    char name[ZV_STMT_NAME_SIZE] = {0};
    int32_t rc = ZVC_Prepare(link, sql.c_str(), name);
    if (rc < 0) return job->fail(link, rc);
    // The set the server described would take the next statement's values, whichever it is:
    // each run binds a set of its own instead.
    ZVC_ClearParams(reinterpret_cast<void**>(link));
    job->text = name;
  });
}

void AsyncLink::Execute(const FunctionCallbackInfo<Value>& args) {
  Isolate* isolate = args.GetIsolate();
  AsyncLink* self = for_job(args);
  if (self == nullptr) return;
  std::string name = text_of(isolate, args[0]);
  std::string sql = text_of(isolate, args[1]);
  auto params = std::make_shared<ParamList>();
  if (!read_params(isolate, sql.c_str(), args[2], Face::kExact, params.get())) return;
  bool local = self->local_;
  post(self->thread_, self->on_notice_, args, [name, sql, params, local](ConnRecord** link, CallJob* job) {
    if (!params->values.empty() && !bind_or_fail(link, job, *params)) return;
    void* res = nullptr;
    int32_t rc = ZVC_Execute2(link, name.c_str(), nullptr, &res);
    int32_t effect = 0, type = 0, length = 0;
    if (rc >= 0 && res != nullptr) ZVC_GetAttr(&res, ATTR_ROWS_CHANGED, &effect, sizeof effect, &type, &length);
    job->numbers = {static_cast<double>(effect)};
    take_outcome(link, job, rc, res, sql.c_str(), local);
  });
}

void AsyncLink::Unprepare(const FunctionCallbackInfo<Value>& args) {
  Isolate* isolate = args.GetIsolate();
  AsyncLink* self = for_job(args);
  if (self == nullptr) return;
  std::string name = text_of(isolate, args[0]);
  post(self->thread_, self->on_notice_, args, [name](ConnRecord** link, CallJob* job) {
    int32_t rc = ZVC_UnPrepare(link, name.c_str());
    if (rc < 0) job->fail(link, rc);
  });
}

namespace {

// One command of a batch: its first row and its blocks, filled on the script thread.
struct BatchCommand {
  uint32_t first;
  int32_t rows;
  std::vector<ColumnBlock> blocks;
};


}  // namespace

void AsyncLink::Batch(const FunctionCallbackInfo<Value>& args) {
  Isolate* isolate = args.GetIsolate();
  AsyncLink* self = for_job(args);
  if (self == nullptr) return;
  std::string sql = text_of(isolate, args[0]);
  auto shape = std::make_shared<ParamShape>(param_shape(sql.c_str()));
  if (shape->indexes.empty()) return throw_type_error(isolate, "The statement has no placeholders for the rows' values");
  if (!args[1]->IsArray()) return throw_type_error(isolate, "The rows are not an array");
  Local<v8::Array> rows = args[1].As<v8::Array>();
  std::vector<uint8_t> kinds;
  BatchValues values;
  if (!scan_batch_rows(isolate, rows, *shape, Face::kExact, kBatchRowsMax, &kinds, &values)) return;
  auto commands = std::make_shared<std::vector<BatchCommand>>();
  for (uint32_t first = 0; first < values.rows; first += kBatchRowsMax) {
    uint32_t count = values.rows - first < kBatchRowsMax ? values.rows - first : kBatchRowsMax;
    commands->push_back({first, static_cast<int32_t>(count), {}});
    fill_batch_blocks(isolate, values.commands[first / kBatchRowsMax], count, Face::kExact, kinds, &commands->back().blocks);
  }
  post(self->thread_, self->on_notice_, args, [sql, shape, commands](ConnRecord** link, CallJob* job) {
    double changed = 0;
    for (BatchCommand& c : *commands) {
      int32_t count = 0;
      int32_t rc = bind_blocks(link, *shape, c.blocks, c.rows);
      if (rc >= 0) rc = ZVC_ExecuteBatchCount(link, sql.c_str(), c.rows, &count);
      if (rc < 0) {
        if (*link) ZVC_ClearParams(reinterpret_cast<void**>(link));
        job->error = failure_in_rows(link, rc, c.first);
        if (rc == ZV_NET_ERROR) ZVC_CloseConnection(link);
        break;
      }
      changed += count;
    }
    job->numbers = {changed};
  });
}

void AsyncLink::OpenCursor(const FunctionCallbackInfo<Value>& args) {
  Isolate* isolate = args.GetIsolate();
  AsyncLink* self = for_job(args);
  if (self == nullptr) return;
  std::string sql = text_of(isolate, args[0]);
  auto params = std::make_shared<ParamList>();
  if (!read_params(isolate, sql.c_str(), args[1], Face::kExact, params.get())) return;
  std::string cursor = text_of(isolate, args[2]);
  int32_t block_rows = args[3].As<v8::Int32>()->Value();
  bool local = self->local_;
  post(self->thread_, self->on_notice_, args, [sql, params, cursor, block_rows, local](ConnRecord** link, CallJob* job) {
    if (!params->values.empty() && !bind_or_fail(link, job, *params)) return;
    void* res = nullptr;
    int32_t fields = 0;
    int32_t rc = ZVC_DeclareCursor(link, sql.c_str(), cursor.c_str(), &res, &fields);
    ZVC_CloseResult(&res);
    if (rc < 0) return job->fail(link, rc);
    fetch_block(link, job, cursor, block_rows, local);
  });
}

void AsyncLink::ExecuteCursor(const FunctionCallbackInfo<Value>& args) {
  Isolate* isolate = args.GetIsolate();
  AsyncLink* self = for_job(args);
  if (self == nullptr) return;
  std::string name = text_of(isolate, args[0]);
  std::string sql = text_of(isolate, args[1]);
  auto params = std::make_shared<ParamList>();
  if (!read_params(isolate, sql.c_str(), args[2], Face::kExact, params.get())) return;
  int32_t block_rows = args[3].As<v8::Int32>()->Value();
  bool local = self->local_;
  post(self->thread_, self->on_notice_, args, [name, params, block_rows, local](ConnRecord** link, CallJob* job) {
    if (!params->values.empty() && !bind_or_fail(link, job, *params)) return;
    void* res = nullptr;
    char cursor[ZV_CURSOR_BUF_SIZE] = {0};
    int32_t rc = ZVC_Execute2(link, name.c_str(), cursor, &res);
    ZVC_CloseResult(&res);
    if (rc < 0) {
      job->fail(link, rc);
      // A refused OPEN leaves the declared cursor standing.
      if (*link && cursor[0] != '\0') ZVC_CloseCursor(link, cursor);
      return;
    }
    fetch_block(link, job, cursor, block_rows, local);
  });
}

void AsyncLink::Fetch(const FunctionCallbackInfo<Value>& args) {
  Isolate* isolate = args.GetIsolate();
  AsyncLink* self = for_job(args);
  if (self == nullptr) return;
  std::string cursor = text_of(isolate, args[0]);
  int32_t block_rows = args[1].As<v8::Int32>()->Value();
  bool local = self->local_;
  post(self->thread_, self->on_notice_, args, [cursor, block_rows, local](ConnRecord** link, CallJob* job) {
    fetch_block(link, job, cursor, block_rows, local);
  });
}

void AsyncLink::CloseCursor(const FunctionCallbackInfo<Value>& args) {
  Isolate* isolate = args.GetIsolate();
  AsyncLink* self = for_job(args);
  if (self == nullptr) return;
  std::string cursor = text_of(isolate, args[0]);
  post(self->thread_, self->on_notice_, args, [cursor](ConnRecord** link, CallJob* job) {
    int32_t rc = ZVC_CloseCursor(link, cursor.c_str());
    if (rc < 0) job->fail(link, rc);
  });
}

void AsyncLink::Close(const FunctionCallbackInfo<Value>& args) {
  AsyncLink* self = for_job(args);
  if (self == nullptr) return;
  if (!self->thread_) return;
  auto* job = new CallJob(args.GetIsolate(), callback_of(args), self->on_notice_);
  job->opens_ = true;  // runs with or without a link
  job->work = [](ConnRecord** link, CallJob*) {
    if (*link) ZVC_CloseConnection(link);
  };
  self->thread_->post(job);
  self->thread_->retire();
  self->thread_ = nullptr;
}

}  // namespace zvdbms
