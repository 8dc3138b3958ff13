// The reference server as a child process for end-to-end tests and benchmarks: started on
// an ephemeral port, stopped with SIGTERM when the object goes. Header-only, so that the
// benchmark programs can use it too.
#pragma once
#include <poll.h>
#include <signal.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

class ServerProcess {
 public:
  // Starts ZV_SERVER_BIN with "--port 0" and the extra arguments, and waits (at most 10 s)
  // for its "listening on 127.0.0.1:PORT" line. port() is 0 when that never came.
  explicit ServerProcess(const std::vector<std::string>& extra_args = {}) {
    std::vector<std::string> args = {ZV_SERVER_BIN, "--port", "0"};
    args.insert(args.end(), extra_args.begin(), extra_args.end());
    std::vector<char*> argv;
    for (std::string& a : args) argv.push_back(&a[0]);
    argv.push_back(nullptr);
    int fds[2];
    if (pipe(fds) != 0) return;
    pid_ = fork();
    if (pid_ == 0) {
      dup2(fds[1], STDOUT_FILENO);
      close(fds[0]);
      close(fds[1]);
      execv(argv[0], argv.data());
      _exit(127);
    }
    close(fds[1]);
    out_fd_ = fds[0];
    if (pid_ <= 0) return;
    port_ = wait_for_port(out_fd_);
    // Whatever the server prints later is read and dropped, so that it never blocks on a full pipe.
    drain_ = std::thread([fd = out_fd_] {
      char buf[4096];
      while (read(fd, buf, sizeof buf) > 0) {
      }
    });
  }

  ~ServerProcess() {
    if (pid_ > 0) {
      kill(pid_, SIGTERM);
      int status = 0;
      waitpid(pid_, &status, 0);
    }
    if (drain_.joinable()) drain_.join();
    if (out_fd_ >= 0) close(out_fd_);
  }

  ServerProcess(const ServerProcess&) = delete;
  ServerProcess& operator=(const ServerProcess&) = delete;

  uint16_t port() const { return port_; }

  // "IP=127.0.0.1;PORT=<port>;DB=SYSTEM;USER=SYSDBA;PWD=SYSDBA" and the extra items.
  std::string conn_string(const std::string& extra = "") const {
    return "IP=127.0.0.1;PORT=" + std::to_string(port_) + ";DB=SYSTEM;USER=SYSDBA;PWD=SYSDBA" + extra;
  }

 private:
  // Reads the child's output up to the listening line; the port, or 0.
  static uint16_t wait_for_port(int fd) {
    static const char kListening[] = "listening on 127.0.0.1:";
    std::string seen;
    char buf[256];
    for (;;) {
      pollfd p{fd, POLLIN, 0};
      if (poll(&p, 1, 10000) <= 0) return 0;
      ssize_t n = read(fd, buf, sizeof buf);
      if (n <= 0) return 0;
      seen.append(buf, static_cast<size_t>(n));
      size_t at = seen.find(kListening);
      if (at != std::string::npos && seen.find('\n', at) != std::string::npos) {
        return static_cast<uint16_t>(atoi(seen.c_str() + at + strlen(kListening)));
      }
    }
  }

  pid_t pid_ = -1;
  int out_fd_ = -1;
  uint16_t port_ = 0;
  std::thread drain_;
};
