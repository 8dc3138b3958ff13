// The caller's working copy of a connection's server list, from which fail-over strikes the
// servers it cannot reach.
#pragma once
#include "connection/conn_record.h"

// A fresh working list with its own copies of parsed's addresses, all live; null when parsed
// holds no address or memory runs out. Free with free_server_list.
ServerList* copy_server_list(const ServerList* parsed);
// Moves the address at current from the live ones to the end of those tried, keeping the live
// ones packed at the front.
void strike_server(ServerList* list);
