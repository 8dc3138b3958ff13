// The reference server as a child process on an ephemeral port, stopped with SIGTERM when the
// object goes. Header-only, so that the benchmark programs can use it too.
#pragma once
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <string>

class ServerProcess {
 public:
  // port() stays 0 when the server's first line is not "listening on HOST:PORT". The pipe
  // stays open until the end; the server writes nothing more into it. By default the server
  // listens on 127.0.0.1 on a port of the system's choosing; several servers may share one port
  // on different loopback addresses, as the servers of an "IPS=" list do.
  explicit ServerProcess(const std::string& host = "127.0.0.1", uint16_t port = 0,
                         const std::string& password = "SYSDBA") {
    int fds[2];
    if (pipe(fds) != 0) return;
    const std::string port_text = std::to_string(port);
    pid_ = fork();
    if (pid_ == 0) {
      dup2(fds[1], STDOUT_FILENO);
      execl(ZV_SERVER_BIN, ZV_SERVER_BIN, "--host", host.c_str(), "--port", port_text.c_str(), "--password",
            password.c_str(), static_cast<char*>(nullptr));
      _exit(127);
    }
    close(fds[1]);
    out_fd_ = fds[0];
    std::string line;
    char ch = 0;
    while (pid_ > 0 && read(out_fd_, &ch, 1) == 1 && ch != '\n') line += ch;
    const std::string head = "listening on " + host + ":";
    unsigned listened = 0;
    if (line.compare(0, head.size(), head) == 0 && sscanf(line.c_str() + head.size(), "%u", &listened) == 1)
      port_ = static_cast<uint16_t>(listened);
  }
  ~ServerProcess() {
    stop();
    if (out_fd_ >= 0) close(out_fd_);
  }
  // Stops the server now; its port no longer answers.
  void stop() {
    if (pid_ > 0) {
      kill(pid_, SIGTERM);
      waitpid(pid_, nullptr, 0);
    }
    pid_ = -1;
  }
  ServerProcess(const ServerProcess&) = delete;

  uint16_t port() const { return port_; }
  std::string conn_string(const std::string& extra = "") const {
    return "IP=127.0.0.1;PORT=" + std::to_string(port_) + ";DB=SYSTEM;USER=SYSDBA;PWD=SYSDBA" + extra;
  }

 private:
  pid_t pid_ = -1;
  int out_fd_ = -1;
  uint16_t port_ = 0;
};
