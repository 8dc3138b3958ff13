// One client link: the login, then commands until the link ends.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "client_watch.h"
#include "command_reader.h"
#include "database.h"
#include "faults.h"
#include "lob_store.h"
#include "login.h"
#include "options.h"
#include "reply_writer.h"
#include "row_references.h"
#include "socket_reader.h"
#include "statement_runner.h"
#include "stop_signal.h"

namespace zv {

class Session {
 public:
  Session(int fd, const ServerOptions& options, const Database& database, StopSignal& stop);

  // Serves the link until the client leaves, misbehaves or the server stops.
  void serve();

 private:
  bool login();
  void refuse(const std::string& reason);
  void refuse_command(const std::string& reason);
  bool serve_command();
  void answer(std::string_view text, const Parameters& params);

  int fd_;
  const ServerOptions& options_;
  const Database& database_;
  StopSignal& stop_;
  SocketReader in_;
  ReplyWriter out_;
  ClientWatch watch_;  // before db_, which must not outlive it
  RowChangeWatch changes_;  // the same
  DbPtr db_;
  LobStore lobs_;
  std::unique_ptr<StatementRunner> runner_;
  Fault pending_fault_;
};

}  // namespace zv
