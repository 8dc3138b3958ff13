// The connection string: keyword items separated by ";" or ",".
#pragma once
#include "connection/conn_record.h"

bool parse_conn_string(const char* text, ConnRecord* conn);
bool split_conn_item(const char* item, char* title, char* value);  // both outputs 64 bytes
bool parse_ips_list(ServerList* list, int capacity, const char* item);
void free_server_list(ServerList* list);
