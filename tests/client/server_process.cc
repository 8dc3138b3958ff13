#include "server_process.h"

#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

namespace {
const char kListening[] = "listening on 127.0.0.1:";

// Reads the child's output until the listening line; the port, or 0.
uint16_t wait_for_port(int fd) {
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
}  // namespace

ServerProcess::ServerProcess(const std::vector<std::string>& extra_args) {
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
  drain_ = std::thread([fd = out_fd_] {
    char buf[4096];
    while (read(fd, buf, sizeof buf) > 0) {
    }
  });
}

ServerProcess::~ServerProcess() {
  if (pid_ > 0) {
    kill(pid_, SIGTERM);
    int status = 0;
    waitpid(pid_, &status, 0);
  }
  if (drain_.joinable()) drain_.join();
  if (out_fd_ >= 0) close(out_fd_);
}

std::string ServerProcess::conn_string(const std::string& extra) const {
  return "IP=127.0.0.1;PORT=" + std::to_string(port_) + ";DB=SYSTEM;USER=SYSDBA;PWD=SYSDBA" + extra;
}
