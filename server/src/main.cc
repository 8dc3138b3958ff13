// zanvo-server: the Zanvo wire protocol from the server's side, SQL run on SQLite.
#include <pthread.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <string>

#include "options.h"
#include "server.h"

int main(int argc, char** argv) {
  zv::ServerOptions options;
  std::string error;
  if (!zv::parse_options(argc, argv, options, error)) {
    std::fprintf(stderr, "zanvo-server: %s\n%s", error.c_str(), zv::usage_text());
    return 2;
  }
  if (options.help) {
    std::fputs(zv::usage_text(), stdout);
    return 0;
  }
  // SIGINT and SIGTERM are taken by sigwait below; blocked before any thread starts so
  // that every thread inherits the mask and none of them is interrupted by them.
  sigset_t stop_signals;
  sigemptyset(&stop_signals);
  sigaddset(&stop_signals, SIGINT);
  sigaddset(&stop_signals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &stop_signals, nullptr);
  std::signal(SIGPIPE, SIG_IGN);
  if (options.exit_with_parent) {
    // The parent's end arrives as SIGTERM and stops the server like any other SIGTERM;
    // a parent that is already gone leaves nothing to serve.
    pid_t parent = getppid();
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent) return 0;
  }

  zv::Server server(options);
  if (!server.start(error)) {
    std::fprintf(stderr, "zanvo-server: %s\n", error.c_str());
    return 1;
  }
  std::printf("listening on %s:%d\n", options.host.c_str(), server.port());
  std::fflush(stdout);

  int received = 0;
  sigwait(&stop_signals, &received);
  server.stop();
  return 0;
}
