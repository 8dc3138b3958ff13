// A listening socket on the loopback at a port the kernel picks, for the raw transfers that
// the benchmarks measure beside the server's.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

// The listening socket; `addr` receives its address, for connect.
inline int listen_on_loopback(sockaddr_in& addr) {
  int listen_fd = socket(AF_INET, SOCK_STREAM, 0);
  addr = sockaddr_in{};
  addr.sin_family = AF_INET;
  addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t len = sizeof addr;
  bind(listen_fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr);
  listen(listen_fd, 1);
  getsockname(listen_fd, reinterpret_cast<sockaddr*>(&addr), &len);
  return listen_fd;
}
