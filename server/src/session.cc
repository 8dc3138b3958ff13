#include "session.h"

#include <sys/socket.h>
#include <sys/time.h>

#include <algorithm>
#include <utility>

#include "lob_fetch.h"
#include "parameter_skipper.h"
#include "text_util.h"

namespace zv {
namespace {

constexpr std::string_view kCipherIntro = "~ssl~";
constexpr int kLoginTimeoutSeconds = 10;

void set_receive_timeout(int fd, int seconds) {
  timeval tv{};
  tv.tv_sec = seconds;
  ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
}

}  // namespace

Session::Session(int fd, const ServerOptions& options, const Database& database, StopSignal& stop)
    : fd_(fd), options_(options), database_(database), stop_(stop), in_(fd), out_(fd), watch_(fd, stop) {}

void Session::serve() {
  if (!login()) return;
  while (!stop_.raised() && serve_command()) {
  }
}

// A client that never finishes its login text is not waited for forever.
bool Session::read_login_text(std::string& text) {
  set_receive_timeout(fd_, kLoginTimeoutSeconds);
  while (!login_text_complete(text)) {
    if (text == kCipherIntro) {
      refuse("[E10008]enciphered links are not supported");
      return false;
    }
    if (text.size() >= kMaxLoginText) {
      refuse("[E10002]login text too long");
      return false;
    }
    int b = in_.byte();
    if (b < 0) return false;
    text += static_cast<char>(b);
  }
  set_receive_timeout(fd_, 0);
  return true;
}

bool Session::login() {
  std::string text;
  if (!read_login_text(text)) return false;
  LoginRequest request;
  std::string error;
  if (!parse_login(text, request, error)) {
    refuse("[E10002]" + error);
    return false;
  }
  if (!iequals(request.user, options_.user) || request.password != options_.password) {
    refuse("[E10002]login refused: wrong user name or password");
    return false;
  }
  db_ = database_.connect(options_.busy_timeout_ms, error);
  if (!db_) {
    refuse("[E10001]" + error);
    return false;
  }
  watch_.watch(db_.get());
  LobPolicy lobs;
  if (request.lob_descriptors) lobs = LobPolicy{&lobs_, options_.lob_inline_max};
  runner_ = std::make_unique<StatementRunner>(db_.get(), request.auto_commit, lobs);
  if (options_.reply_version == 301) {
    out_.letter('N');
    out_.int32(301);
  }
  out_.letter('K');
  return out_.flush();
}

void Session::refuse(const std::string& reason) {
  out_.error(reason);
  out_.flush();
}

// Grows the text as its bytes arrive, so that a length alone reserves no memory.
bool Session::read_text(size_t n, std::string& text) {
  constexpr size_t kStep = 1 << 20;
  while (text.size() < n) {
    size_t done = text.size();
    text.resize(done + std::min(kStep, n - done));
    if (!in_.exact(&text[done], text.size() - done)) return false;
  }
  return true;
}

// A command: "?", int32 length, the text and its NUL, int32 parameter word. A lone "."
// between commands asks for more rows of a reply already sent in full, so it is passed over.
bool Session::serve_command() {
  int intro;
  while ((intro = in_.byte()) == '.') {
  }
  if (intro != '?') return false;
  int32_t len;
  if (!in_.int32(len) || len < 0 || len > kMaxCommandText) return false;
  std::string text;
  int32_t word;
  if (!read_text(static_cast<size_t>(len) + 1, text) || !in_.int32(word)) return false;
  text.pop_back();
  bool had_parameters = word != 0;
  if (had_parameters && !skip_parameters(in_, static_cast<uint32_t>(word), options_.reply_version == 301)) return false;

  Fault fault = std::exchange(pending_fault_, Fault{});
  if (fault.kind == FaultKind::kStall) {
    stop_.sleep_for(fault.value);
    if (stop_.raised()) return false;  // the server is stopping: the stalled reply is not sent
  }
  if (fault.kind == FaultKind::kCloseAfter) out_.limit_to(fault.value);
  if (fault.kind == FaultKind::kLetter || fault.kind == FaultKind::kLength || fault.kind == FaultKind::kColumns) {
    write_fault_reply(fault, out_);
  } else {
    answer(text, had_parameters);
  }
  return out_.flush() && fault.kind != FaultKind::kCloseAfter;
}

void Session::answer(std::string_view text, bool had_parameters) {
  Fault fault;
  LobFetch fetch;
  if (had_parameters) {
    out_.error("[E10003]statement parameters are not supported by this server");
    out_.letter('K');
  } else if (parse_fault(text, fault)) {
    pending_fault_ = fault;
    out_.letter('K');
  } else if (parse_lob_fetch(text, fetch)) {
    write_lob_fetch_reply(fetch, lobs_, out_);
  } else {
    runner_->run(text, out_);
  }
}

}  // namespace zv
