#include <netinet/in.h>

#include <cstdint>

#include "connection/login.h"

void drop_link(ConnRecord* conn) {
  if (conn->socket != 0) plat_socket_close(static_cast<int>(conn->socket));
  conn->socket = 0;
  conn->send_len = 0;
  conn->recv_len = conn->recv_pos = 0;
  conn->pushback = 0;
  conn->out_of_step = 0;
  conn->closing_count = 0;
  conn->close_held = 0;
  conn->link_deadline = 0;
}

bool net_connect(ConnRecord* conn) {
  drop_link(conn);
  // Dotted IPv4 text only: there is no name resolution.
  conn->addr = plat_inet_addr(conn->server_ip);
  // A text that is no address must not become a connect to the broadcast address.
  if (conn->addr == INADDR_NONE) return false;
  int fd = plat_socket_open(conn->ltimeout);
  if (fd < 0) return false;
  // One deadline for the connect and the login behind it (which ends it).
  if (conn->connect_timeout > 0) conn->link_deadline = plat_now_ms() + conn->connect_timeout;
  if (!plat_socket_connect(fd, conn->addr, conn->port, conn->connect_timeout)) {
    plat_socket_close(fd);
    conn->link_deadline = 0;
    return false;
  }
  // Closing then resets the link at once instead of lingering.
  plat_socket_set_abortive(fd);
  conn->socket = fd;
  return true;
}
