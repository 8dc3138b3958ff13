// The connection string: keyword items separated by ";" or ",".
#pragma once
#include "connection/conn_record.h"

// Sets the record's fields from the items of text. An item of 128 bytes or more, a keyword or
// value of 64 or more, or a value too long for its field leaves the first such fault in
// conn_string_fault. False when text is null, shorter than 5 bytes or has no separator.
bool parse_conn_string(const char* text, ConnRecord* conn);
bool split_conn_item(const char* item, char* title, char* value);  // both outputs 64 bytes
enum IpsParse { IPS_OK, IPS_NO_MEMORY, IPS_TOO_MANY };
IpsParse parse_ips_list(ServerList* list, int capacity, const char* item);
void free_server_list(ServerList* list);
