// A working list of ZVC_OpenConnectionIPS held between its calls, as a caller holds it, and the
// connection of the latest call.
#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "connection/client_text.h"
#include "connection/conn_string.h"
#include "zvc.h"

struct HeldServerList {
  ServerList* list = nullptr;
  ConnRecord* conn = nullptr;
  // An open of the servers of ips on port at position; the latest call's connection is closed first.
  int32_t run(const char* ips, uint16_t port, int position, const std::string& login = "USER=U;PWD=P") {
    ZVC_CloseConnection(&conn);
    std::string text = std::string(ips) + ";PORT=" + std::to_string(port) + ";DB=SYSTEM;" + login;
    return ZVC_OpenConnectionIPS(text.c_str(), position, &list, &conn);
  }
  // A working list in the given order, as an earlier call would have left it.
  void hold(const char* ips) {
    list = static_cast<ServerList*>(client_alloc(sizeof(ServerList)));
    parse_ips_list(list, 20, ips);
  }
  std::vector<std::string> struck() const { return {list->tried, list->tried + list->count - list->remaining}; }
  ~HeldServerList() {
    ZVC_CloseConnection(&conn);
    free_server_list(list);
  }
};
