// The listening socket and one thread per client link.
#pragma once

#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "database.h"
#include "options.h"
#include "stop_signal.h"

namespace zv {

class Server {
 public:
  explicit Server(ServerOptions options);
  ~Server();

  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  // Opens the database and listens on 127.0.0.1; false with a reason in `error`.
  bool start(std::string& error);
  // The port listened on, the system's pick when the options asked for 0.
  int port() const { return port_; }
  // Links open now.
  size_t links();
  // Closes every link, waits for their threads and releases the database.
  void stop();

 private:
  struct Client {
    std::thread thread;
    int fd = -1;  // -1 once the link is closed
    bool done = false;
  };

  void accept_loop();
  void serve(Client* client);
  void refuse_link(int fd);
  void reap_finished_clients();

  ServerOptions options_;
  std::unique_ptr<Database> database_;
  int listen_fd_ = -1;
  int port_ = 0;
  StopSignal stop_;
  std::thread acceptor_;
  std::mutex clients_mutex_;
  std::list<Client> clients_;
};

}  // namespace zv
