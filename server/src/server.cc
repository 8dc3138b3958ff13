#include "server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "reply_writer.h"
#include "session.h"

namespace zv {

Server::Server(ServerOptions options) : options_(std::move(options)) {}

Server::~Server() { stop(); }

bool Server::start(std::string& error) {
  database_ = Database::open(options_.database, error);
  if (!database_) return false;
  listen_fd_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (listen_fd_ < 0) {
    error = std::string("socket: ") + std::strerror(errno);
    return false;
  }
  int one = 1;
  ::setsockopt(listen_fd_, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
  sockaddr_in addr{};
  addr.sin_family = AF_INET;
  ::inet_pton(AF_INET, options_.host.c_str(), &addr.sin_addr);  // checked when the options were read
  addr.sin_port = htons(static_cast<uint16_t>(options_.port));
  socklen_t addr_len = sizeof addr;
  if (::bind(listen_fd_, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0 || ::listen(listen_fd_, 128) != 0 ||
      ::getsockname(listen_fd_, reinterpret_cast<sockaddr*>(&addr), &addr_len) != 0) {
    error = "cannot listen on " + options_.host + ":" + std::to_string(options_.port) + ": " + std::strerror(errno);
    return false;
  }
  port_ = ntohs(addr.sin_port);
  acceptor_ = std::thread(&Server::accept_loop, this);
  return true;
}

void Server::accept_loop() {
  while (!stop_.raised()) {
    int fd = ::accept4(listen_fd_, nullptr, nullptr, SOCK_CLOEXEC);
    if (fd < 0) {
      if (errno == EINTR || errno == ECONNABORTED) continue;
      if (stop_.raised()) break;
      stop_.sleep_for(10);  // out of descriptors or memory: give the others time to finish
      continue;
    }
    int one = 1;
    ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    std::lock_guard<std::mutex> lock(clients_mutex_);
    reap_finished_clients();
    if (stop_.raised()) {
      ::close(fd);
      continue;
    }
    if (clients_.size() >= static_cast<size_t>(options_.max_links)) {
      refuse_link(fd);
      continue;
    }
    Client& client = clients_.emplace_back();
    client.fd = fd;
    client.thread = std::thread(&Server::serve, this, &client);
  }
}

// Answered as a refused login, which the client reports, rather than by a bare close.
// The few bytes fit in the new socket's empty send buffer, so the send does not wait.
void Server::refuse_link(int fd) {
  ReplyWriter out(fd);
  out.error("[E10002]too many links: this server serves at most " + std::to_string(options_.max_links) + " at once");
  out.flush();
  ::shutdown(fd, SHUT_WR);
  ::close(fd);
}

void Server::serve(Client* client) {
  {
    Session session(client->fd, options_, *database_, stop_);
    session.serve();
  }
  std::lock_guard<std::mutex> lock(clients_mutex_);
  ::shutdown(client->fd, SHUT_RDWR);
  ::close(client->fd);
  client->fd = -1;
  client->done = true;
}

size_t Server::links() {
  std::lock_guard<std::mutex> lock(clients_mutex_);
  return static_cast<size_t>(std::count_if(clients_.begin(), clients_.end(), [](const Client& c) { return !c.done; }));
}

// Called with clients_mutex_ held.
void Server::reap_finished_clients() {
  for (auto it = clients_.begin(); it != clients_.end();) {
    if (it->done) {
      it->thread.join();
      it = clients_.erase(it);
    } else {
      ++it;
    }
  }
}

void Server::stop() {
  if (listen_fd_ < 0) return;
  stop_.raise();
  ::shutdown(listen_fd_, SHUT_RDWR);
  if (acceptor_.joinable()) acceptor_.join();
  ::close(listen_fd_);
  listen_fd_ = -1;
  {
    std::lock_guard<std::mutex> lock(clients_mutex_);
    for (Client& c : clients_) {
      if (c.fd >= 0) ::shutdown(c.fd, SHUT_RDWR);
    }
  }
  // The threads take the lock to close their links, so they are joined without it.
  for (Client& c : clients_) c.thread.join();
  clients_.clear();
  database_.reset();
}

}  // namespace zv
