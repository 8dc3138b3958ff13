#include "session.h"

#include <sys/socket.h>
#include <sys/time.h>

#include <optional>
#include <utility>

#include "enciphered_login.h"
#include "lob_fetch.h"
#include "text_util.h"

namespace zv {
namespace {

// A wait for the client, to read from it or to send to it, that lasts longer than `ms`
// fails and so ends the link; 0 waits forever.
void set_timeouts(int fd, int64_t ms) {
  timeval tv{};
  tv.tv_sec = ms / 1000;
  tv.tv_usec = static_cast<suseconds_t>(ms % 1000 * 1000);
  ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
  ::setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &tv, sizeof tv);
}

}  // namespace

Session::Session(int fd, const ServerOptions& options, const Database& database, StopSignal& stop)
    : fd_(fd), options_(options), database_(database), stop_(stop), in_(fd), out_(fd), watch_(fd, stop) {}

void Session::serve() {
  // A client that never finishes its login, or sends it a byte at a time, is not waited
  // for long: all of the login's reads share one deadline.
  set_timeouts(fd_, options_.login_timeout_ms);
  in_.set_deadline(options_.login_timeout_ms);
  if (!login()) return;
  in_.clear_deadline();
  set_timeouts(fd_, options_.idle_timeout_ms);
  while (!stop_.raised() && serve_command()) {
  }
}

bool Session::login() {
  std::string text;
  const auto max = static_cast<size_t>(options_.login_max);
  LoginTextRead read = read_login_text(in_, max, text);
  // Each enciphered login gets a key of its own, so that breaking one opens no other.
  std::optional<ExchangeKey> key;
  if (read == LoginTextRead::kEnciphered && (key = make_exchange_key())) {
    read = read_enciphered_login(in_, out_, *key, max, text);
  }
  switch (read) {
    case LoginTextRead::kComplete:
      break;
    case LoginTextRead::kEnded:
      return false;
    case LoginTextRead::kEnciphered:  // no key could be made
      refuse("[E10008]no key for an enciphered link");
      return false;
    case LoginTextRead::kTooLong:
      refuse("[E10002]login text too long");
      return false;
    case LoginTextRead::kMalformed:
      refuse("[E10002]enciphered login blocks that hold no login text");
      return false;
  }
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
  db_ = database_.connect(options_.busy_timeout_ms, options_.value_max, error);
  if (!db_) {
    refuse("[E10001]" + error);
    return false;
  }
  watch_.watch(db_.get());
  changes_.watch(db_.get());
  LobPolicy lobs;
  if (request.lob_descriptors) lobs = LobPolicy{&lobs_, options_.lob_inline_max};
  const KeepLimits limits{static_cast<size_t>(options_.max_prepared), static_cast<size_t>(options_.name_max),
                          static_cast<size_t>(options_.kept_max)};
  runner_ = std::make_unique<StatementRunner>(db_.get(), request.auto_commit, lobs, limits);
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

// A command over a limit is answered and ends the link: the rest of it is never read, so
// the link cannot be kept in step.
void Session::refuse_command(const std::string& reason) {
  out_.error(reason);
  out_.letter('K');
  out_.flush();
}

bool Session::serve_command() {
  Command command;
  const CommandLimits limits{options_.command_max, options_.parameter_max, options_.reply_version == 301};
  switch (read_command(in_, limits, command)) {
    case CommandRead::kCommand:
      break;
    case CommandRead::kEnded:
      return false;
    case CommandRead::kTextTooLong:
      refuse_command("[E10007]command text longer than " + std::to_string(options_.command_max) + " bytes");
      return false;
    case CommandRead::kParametersTooLarge:
      refuse_command("[E10003]parameters longer than " + std::to_string(options_.parameter_max) + " bytes");
      return false;
  }

  Fault fault = std::exchange(pending_fault_, Fault{});
  if (fault.kind == FaultKind::kLobCloseAfter) {
    // Waits for the command that fetches a large object, and spoils its reply only.
    LobFetch fetch;
    if (parse_lob_fetch(command.text, fetch)) {
      fault.kind = FaultKind::kCloseAfter;
    } else {
      pending_fault_ = fault;
      fault = Fault{};
    }
  }
  if (fault.kind == FaultKind::kStall) {
    stop_.sleep_for(fault.value);
    if (stop_.raised()) return false;  // the server is stopping: the stalled reply is not sent
  }
  if (fault.kind == FaultKind::kCloseAfter) out_.limit_to(fault.value);
  if (fault.kind == FaultKind::kLetter || fault.kind == FaultKind::kLength || fault.kind == FaultKind::kColumns ||
      fault.kind == FaultKind::kResults) {
    write_fault_reply(fault, out_);
  } else {
    answer(command.text, command.parameters);
  }
  // A reply cut short, by a fault or by a large object that could not be read whole, ends the link.
  if (fault.kind == FaultKind::kCloseAfter || out_.limit_reached()) {
    out_.flush();
    return false;
  }
  // The replies of commands that came in one write go back in one: a reply waits in the
  // buffer while the client's next command is already here, and goes once the client waits.
  return in_.buffered() || out_.flush();
}

// The server's own statements take no parameters; SQL, cursors and routine calls do.
void Session::answer(std::string_view text, const Parameters& params) {
  Fault fault;
  LobFetch fetch;
  if (params.given()) {
    runner_->run(text, params, out_);
  } else if (parse_fault(text, fault)) {
    pending_fault_ = fault;
    out_.letter('K');
  } else if (parse_lob_fetch(text, fetch)) {
    write_lob_fetch_reply(fetch, lobs_, db_.get(), out_);
  } else {
    runner_->run(text, params, out_);
  }
}

}  // namespace zv
