#include <signal.h>
#include <sys/wait.h>

#include <chrono>
#include <cstdio>
#include <thread>

#include "options.h"
#include "test_client.h"

namespace zvtest {
namespace {

// A server child process with its stdout on a pipe; one that a failed test leaves running is killed.
struct Child {
  explicit Child(std::vector<const char*> args) {
    int fds[2];
    if (::pipe(fds) != 0) return;
    if ((pid = ::fork()) == 0) {
      ::dup2(fds[1], STDOUT_FILENO);
      args.insert(args.begin(), ZV_SERVER_BIN);
      args.push_back(nullptr);
      ::execv(ZV_SERVER_BIN, const_cast<char* const*>(args.data()));
      std::_Exit(127);
    }
    ::close(fds[1]);
    out = ::fdopen(fds[0], "r");
  }
  ~Child() {
    if (pid > 0) ::kill(pid, SIGKILL);
    exit_code();
    if (out) std::fclose(out);
  }
  int port() {
    int port = 0;
    return std::fscanf(out, "listening on 127.0.0.1:%d", &port) == 1 ? port : 0;
  }
  // Waits for the process to end: its exit code, or -1 when a signal ended it.
  int exit_code() {
    int status = 0;
    if (pid > 0) ::waitpid(std::exchange(pid, -1), &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  pid_t pid = -1;
  FILE* out = nullptr;
};

TEST(ServerProcess, PrintsWhereItListensAndStopsOnSigtermOrSigint) {
  for (int sig : {SIGTERM, SIGINT}) {
    Child child({"--port", "0", "--user", "U", "--password", "P", "--reply-version", "201"});
    int port = child.port();
    ASSERT_GT(port, 0);
    EXPECT_EQ(std::fgetc(child.out), '\n');
    {
      TestClient c(port);
      EXPECT_EQ(c.login(login_text("U", "P")), "K");
      EXPECT_EQ(c.value("select 5"), be32(5));
      ::kill(child.pid, sig);
      EXPECT_TRUE(c.closed_by_server());
    }
    EXPECT_EQ(child.exit_code(), 0);
    EXPECT_EQ(std::fgetc(child.out), EOF);
  }
  for (std::vector<const char*> bad : {std::vector<const char*>{"--port", "70000"}, {"--colour", "red"}, {"--port"}}) {
    EXPECT_EQ(Child(bad).exit_code(), 2) << bad[0];
  }
  // --help prints the usage on stdout and starts nothing, whatever follows it.
  Child help({"--help", "--colour", "red"});
  std::string printed;
  for (int ch; (ch = std::fgetc(help.out)) != EOF;) printed += static_cast<char>(ch);
  EXPECT_EQ(printed, zv::usage_text());
  EXPECT_EQ(help.exit_code(), 0);
}

TEST(ServerProcess, ExitsWithItsParentWhenAsked) {
  int fds[2], got[2] = {0, 0};  // the server's port and pid
  ASSERT_EQ(::pipe(fds), 0);
  pid_t parent = ::fork();
  if (parent == 0) {  // starts the server, passes on its port and pid, and waits to be killed
    Child child({"--port", "0", "--exit-with-parent"});
    int sent[2] = {child.port(), child.pid};
    if (::write(fds[1], sent, sizeof sent) > 0) ::pause();
    std::_Exit(1);
  }
  ASSERT_EQ(::read(fds[0], got, sizeof got), static_cast<ssize_t>(sizeof got));
  ::close(fds[0]);
  ::close(fds[1]);
  TestClient c(got[0]);
  EXPECT_EQ(c.login(login_text("SYSDBA", "SYSDBA")), kLoggedIn);
  ::kill(parent, SIGKILL);
  ::waitpid(parent, nullptr, 0);
  bool stopped = c.closed_by_server();
  EXPECT_TRUE(stopped);
  if (!stopped) ::kill(got[1], SIGKILL);
}

TEST_F(ServerTest, AQueryWhoseClientHasGoneStops) {
  const char* endless = "WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c) SELECT count(*) FROM c";
  {
    auto c = connect();
    c->command(endless);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));  // the query is running
    EXPECT_EQ(server_->links(), 1u);
  }
  EXPECT_TRUE(within_ms(3000, [&] { return server_->links() == 0; }));
  // A client that is still there keeps its link while a long query runs for it.
  auto c = connect();
  EXPECT_EQ(c->value("WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c WHERE x < 2000000) "
                     "SELECT count(*) FROM c"),
            be32(2000000));
}

}  // namespace
}  // namespace zvtest
