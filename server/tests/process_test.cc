#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <stdexcept>
#include <thread>
#include <vector>

#include "server_fixture.h"

namespace zvtest {
namespace {

// A server child process; one that a failed test leaves running is killed.
class Child {
 public:
  explicit Child(std::vector<const char*> args) {
    int pipe_fds[2];
    if (::pipe(pipe_fds) != 0) return;
    pid_ = ::fork();
    if (pid_ == 0) {
      ::dup2(pipe_fds[1], STDOUT_FILENO);
      ::close(pipe_fds[0]);
      ::close(pipe_fds[1]);
      args.insert(args.begin(), ZV_SERVER_BIN);
      args.push_back(nullptr);
      ::execv(ZV_SERVER_BIN, const_cast<char* const*>(args.data()));
      std::_Exit(127);
    }
    ::close(pipe_fds[1]);
    out_ = ::fdopen(pipe_fds[0], "r");
  }
  ~Child() {
    if (pid_ > 0) {
      ::kill(pid_, SIGKILL);
      ::waitpid(pid_, nullptr, 0);
    }
    if (out_) std::fclose(out_);
  }
  FILE* out() const { return out_; }
  pid_t pid() const { return pid_; }
  void signal(int sig) const { ::kill(pid_, sig); }
  // Waits for the end of the process; its exit code, or -1 when a signal ended it.
  int exit_code() {
    int status = 0;
    ::waitpid(pid_, &status, 0);
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

 private:
  pid_t pid_ = -1;
  FILE* out_ = nullptr;
};

TEST(ServerProcess, PrintsWhereItListensAndStopsOnSigterm) {
  for (int sig : {SIGTERM, SIGINT}) {
    Child child({"--port", "0", "--user", "U", "--password", "P", "--reply-version", "201"});
    int port = 0;
    ASSERT_EQ(std::fscanf(child.out(), "listening on 127.0.0.1:%d", &port), 1);
    EXPECT_EQ(std::fgetc(child.out()), '\n');
    ASSERT_GT(port, 0);
    {
      TestClient c(port);
      EXPECT_EQ(c.login(login_text("U", "P"), 201), "K");
      EXPECT_EQ(c.run("select 5").records.at(0).rows.at(0).at(0), be32(5));
      child.signal(sig);
      EXPECT_TRUE(c.closed_by_server());
    }
    EXPECT_EQ(child.exit_code(), 0);
    EXPECT_EQ(std::fgetc(child.out()), EOF);
  }
}

TEST(ServerProcess, ExitsWithItsParentWhenAsked) {
  int pipe_fds[2];
  ASSERT_EQ(::pipe(pipe_fds), 0);
  pid_t parent = ::fork();
  if (parent == 0) {
    // The parent starts the server, passes on its port and pid, and dies at once.
    Child child({"--port", "0", "--exit-with-parent"});
    int port = 0;
    if (std::fscanf(child.out(), "listening on 127.0.0.1:%d", &port) != 1) std::_Exit(1);
    dprintf(pipe_fds[1], "%d %d\n", port, static_cast<int>(child.pid()));
    std::_Exit(0);
  }
  ::close(pipe_fds[1]);
  FILE* from_parent = ::fdopen(pipe_fds[0], "r");
  int port = 0, server_pid = 0;
  ASSERT_EQ(std::fscanf(from_parent, "%d %d", &port, &server_pid), 2);
  std::fclose(from_parent);
  ::waitpid(parent, nullptr, 0);
  bool refused = false;
  for (int i = 0; i < 200 && !refused; ++i) {
    try {
      TestClient probe(port);
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    } catch (const std::runtime_error&) {
      refused = true;
    }
  }
  EXPECT_TRUE(refused);
  if (!refused) ::kill(server_pid, SIGKILL);
}

TEST(ServerProcess, RefusesBadOptions) {
  for (std::vector<const char*> args : std::vector<std::vector<const char*>>{
           {"--port", "70000"}, {"--reply-version", "300"}, {"--busy-timeout", "-1"}, {"--colour", "red"}, {"--port"}}) {
    Child child(args);
    EXPECT_EQ(child.exit_code(), 2) << args[0];
  }
}

TEST_F(ServerTest, StopClosesOpenLinksAndEndsStalls) {
  auto idle = connect();
  auto stalled = connect();
  stalled->run("ZANVO FAULT STALL 600000");
  stalled->send_command("select 1");
  server_->stop();
  EXPECT_TRUE(idle->closed_by_server());
  EXPECT_TRUE(stalled->closed_by_server());
}

TEST_F(ServerTest, ManyClientsWorkAtOnce) {
  auto setup = connect();
  ASSERT_TRUE(setup->run("create table busy(client INTEGER, n INTEGER)").complete);
  constexpr int kClients = 8;
  constexpr int kRounds = 20;
  std::atomic<int> good{0};
  std::vector<std::thread> threads;
  for (int id = 0; id < kClients; ++id) {
    threads.emplace_back([&, id] {
      auto c = connect();
      for (int n = 0; n < kRounds; ++n) {
        Reply r = c->run("insert into busy values(" + std::to_string(id) + ", " + std::to_string(n) + ")");
        if (r.records.size() == 1 && r.records[0].letter == 'I') ++good;
      }
    });
  }
  for (std::thread& t : threads) t.join();
  EXPECT_EQ(good.load(), kClients * kRounds);
  Reply r = setup->run("select count(*), count(distinct client) from busy");
  EXPECT_EQ(r.records.at(0).rows.at(0), Row({be32(kClients * kRounds), be32(kClients)}));
}

}  // namespace
}  // namespace zvtest
