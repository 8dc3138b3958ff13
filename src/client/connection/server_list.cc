#include "connection/server_list.h"

#include <cstdlib>
#include <cstring>

#include "connection/client_text.h"
#include "connection/conn_string.h"

ServerList* copy_server_list(const ServerList* parsed) {
  if (!parsed || parsed->count < 1 || !parsed->addrs) return nullptr;
  ServerList* list = static_cast<ServerList*>(client_alloc(sizeof(ServerList)));
  if (!list) return nullptr;
  size_t n = static_cast<size_t>(parsed->count);
  list->addrs = static_cast<char**>(client_alloc(sizeof(char*) * n));
  list->tried = static_cast<char**>(client_alloc(sizeof(char*) * (n + 1)));
  bool whole = list->addrs && list->tried;
  // count grows with each copy made, so that a list cut short by memory still frees cleanly.
  for (size_t i = 0; whole && i < n; ++i) {
    list->addrs[i] = strdup(parsed->addrs[i]);
    whole = list->addrs[i] != nullptr;
    if (whole) list->count++;
  }
  if (!whole) {
    free_server_list(list);
    return nullptr;
  }
  list->remaining = list->count;
  return list;
}

void strike_server(ServerList* list) {
  int32_t last = list->remaining - 1;
  // The pointer moves: each address sits in exactly one of the two tables.
  list->tried[list->count - list->remaining] = list->addrs[list->current];
  list->addrs[list->current] = list->addrs[last];
  list->addrs[last] = nullptr;
  list->remaining--;
}
