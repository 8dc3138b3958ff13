// The reference server as a child process for end-to-end tests: started on an ephemeral
// port, stopped with SIGTERM when the object goes.
#pragma once
#include <sys/types.h>

#include <cstdint>
#include <string>
#include <thread>
#include <vector>

class ServerProcess {
 public:
  // Starts ZV_SERVER_BIN with "--port 0" and the extra arguments, and waits (at most 10 s)
  // for its "listening on 127.0.0.1:PORT" line. port() is 0 when that never came.
  explicit ServerProcess(const std::vector<std::string>& extra_args = {});
  ~ServerProcess();
  ServerProcess(const ServerProcess&) = delete;
  ServerProcess& operator=(const ServerProcess&) = delete;

  uint16_t port() const { return port_; }
  // "IP=127.0.0.1;PORT=<port>;DB=SYSTEM;USER=SYSDBA;PWD=SYSDBA" and the extra items.
  std::string conn_string(const std::string& extra = "") const;

 private:
  pid_t pid_ = -1;
  int out_fd_ = -1;
  std::thread drain_;  // keeps reading what the server prints, so that it never blocks on it
  uint16_t port_ = 0;
};
