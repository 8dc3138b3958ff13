#include "connection/conn_string.h"

#include <strings.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "connection/client_text.h"

namespace {

enum { ITEM_BUFF_SIZE = 128, ITEM_PART_SIZE = 64, IPS_CAPACITY = 20, IPS_GROWTH = 80 };

enum ValueRule {
  RULE_TEXT,     // copied into a char array; a value that does not fit refuses the string
  RULE_PORT,     // decimal, cut to 16 bits
  RULE_DECIMAL,  // decimal int32
  RULE_FLAG,     // int32 1 when the value is one of the words (any case), else 0
  RULE_SET,      // int32 1 whatever the value says
  RULE_DROP,     // accepted and ignored
};

const char* const off_words[] = {"off", "false", nullptr};
const char* const on_words[] = {"on", "true", nullptr};
const char* const ssl_words[] = {"on", "yes", "true", nullptr};

struct Keyword {
  const char* title;
  ValueRule rule;
  size_t offset;
  size_t size;
  const char* const* words;
};

#define FIELD(name) offsetof(ConnRecord, name), sizeof(ConnRecord::name)
#define NO_FIELD 0, 0

// Compared from the top with the whole title, in any case.
const Keyword keywords[] = {
    {"DB", RULE_TEXT, FIELD(database), nullptr},
    {"DataBase", RULE_TEXT, FIELD(database), nullptr},
    {"USER", RULE_TEXT, FIELD(user), nullptr},
    {"UID", RULE_TEXT, FIELD(user), nullptr},
    {"USER ID", RULE_TEXT, FIELD(user), nullptr},
    {"USERID", RULE_TEXT, FIELD(user), nullptr},
    {"PWD", RULE_TEXT, FIELD(password), nullptr},
    {"PASSWORD", RULE_TEXT, FIELD(password), nullptr},
    {"PORT", RULE_PORT, FIELD(port), nullptr},
    {"SERVER", RULE_TEXT, FIELD(server_ip), nullptr},
    {"IP", RULE_TEXT, FIELD(server_ip), nullptr},
    {"AUTO_COMMIT", RULE_FLAG, FIELD(auto_commit_off), off_words},
    {"auto commit", RULE_FLAG, FIELD(auto_commit_off), off_words},
    {"autocommit", RULE_FLAG, FIELD(auto_commit_off), off_words},
    {"verbose_mode", RULE_DECIMAL, FIELD(verbose_mode), nullptr},
    {"use_ssl", RULE_FLAG, FIELD(use_ssl), ssl_words},
    {"ssl", RULE_FLAG, FIELD(use_ssl), ssl_words},
    {"USESSL", RULE_FLAG, FIELD(use_ssl), ssl_words},
    {"USE SSL", RULE_FLAG, FIELD(use_ssl), ssl_words},
    {"CHAR_SET", RULE_TEXT, FIELD(char_set), nullptr},
    {"CHARACTER_SET", RULE_TEXT, FIELD(char_set), nullptr},
    {"CHARSET", RULE_TEXT, FIELD(char_set), nullptr},
    {"CHARACTER SET", RULE_TEXT, FIELD(char_set), nullptr},
    {"CURRENT_SCHEMA", RULE_TEXT, FIELD(current_schema), nullptr},
    {"COMPATIBLE_MODE", RULE_TEXT, FIELD(compatible_mode), nullptr},
    {"KEYWORD_FILTER", RULE_TEXT, FIELD(keyword_filter), nullptr},
    {"TIME_ZONE", RULE_DROP, NO_FIELD, nullptr},
    {"time zone", RULE_DROP, NO_FIELD, nullptr},
    {"timezone", RULE_DROP, NO_FIELD, nullptr},
    {"ISO_LEVEL", RULE_TEXT, FIELD(iso_level), nullptr},
    {"ISO LEVEL", RULE_TEXT, FIELD(iso_level), nullptr},
    {"ISOLEVEL", RULE_TEXT, FIELD(iso_level), nullptr},
    {"RETURN_ROWID", RULE_FLAG, FIELD(return_rowid), on_words},
    {"RETURN ROWID", RULE_FLAG, FIELD(return_rowid), on_words},
    {"RETURN ROW_ID", RULE_FLAG, FIELD(return_rowid), on_words},
    {"RETURN_ROW_ID", RULE_FLAG, FIELD(return_rowid), on_words},
    {"LOB_RET", RULE_SET, FIELD(lob_ret), nullptr},
    {"LOB RET", RULE_SET, FIELD(lob_ret), nullptr},
    {"LOBRET", RULE_SET, FIELD(lob_ret), nullptr},
    {"LOCKTIMEOUT", RULE_DECIMAL, FIELD(lock_timeout), nullptr},
    {"LOCK TIMEOUT", RULE_DECIMAL, FIELD(lock_timeout), nullptr},
    {"LOCK_TIMEOUT", RULE_DECIMAL, FIELD(lock_timeout), nullptr},
    {"RETURN_CURSOR_ID", RULE_FLAG, FIELD(return_cursor_id_off), off_words},
    {"RETURN CURSOR_ID", RULE_FLAG, FIELD(return_cursor_id_off), off_words},
    {"RETURN_CURSORID", RULE_FLAG, FIELD(return_cursor_id_off), off_words},
    {"USE_SRVCURSOR", RULE_FLAG, FIELD(use_srvcursor_off), off_words},
    {"RECV_TIMEOUT", RULE_DECIMAL, FIELD(recv_timeout), nullptr},
    {"CONNECT_TIMEOUT", RULE_DECIMAL, FIELD(connect_timeout), nullptr},
    {"SILENT", RULE_FLAG, FIELD(silent), on_words},
};

#undef FIELD
#undef NO_FIELD

bool is_one_of(const char* value, const char* const* words) {
  for (; *words; ++words)
    if (strcasecmp(value, *words) == 0) return true;
  return false;
}

// The first fault of the string is kept; later ones add nothing.
void refuse_string(ConnRecord* conn, const char* reason) {
  if (conn->conn_string_fault[0] != '\0') return;
  client_sprintf(conn->conn_string_fault, sizeof conn->conn_string_fault, "[EC016]Connection string refused: %s",
                 reason);
}

// Names the keyword, never the value: the value may be a password.
void refuse_value(ConnRecord* conn, const char* title, size_t max) {
  char reason[CONN_FAULT_SIZE];
  client_sprintf(reason, sizeof reason, "the value of %s may have %zu bytes at most", title, max);
  refuse_string(conn, reason);
}

void apply_keyword(const Keyword& kw, const char* title, const char* value, ConnRecord* conn) {
  char* field = reinterpret_cast<char*>(conn) + kw.offset;
  int32_t number = 0;
  switch (kw.rule) {
    case RULE_TEXT:
      // A cut or skipped user name or password would log in as someone else, or as no one.
      if (strlen(value) >= kw.size) return refuse_value(conn, title, kw.size - 1);
      str_copy_bounded(field, kw.size, value);
      return;
    case RULE_PORT: {
      uint16_t port = static_cast<uint16_t>(atoi(value));
      memcpy(field, &port, sizeof port);
      return;
    }
    case RULE_DECIMAL:
      number = atoi(value);
      break;
    case RULE_FLAG:
      number = is_one_of(value, kw.words) ? 1 : 0;
      break;
    case RULE_SET:
      number = 1;
      break;
    case RULE_DROP:
      return;
  }
  memcpy(field, &number, sizeof number);
}

// The span [begin, end) without the spaces at either end; tabs stay.
void trim_blanks(const char** begin, const char** end) {
  while (*begin < *end && **begin == ' ') ++*begin;
  while (*end > *begin && (*end)[-1] == ' ') --*end;
}

// True when the list had more addresses than it can hold.
bool store_server_list(ConnRecord* conn, const char* item) {
  ServerList* list = static_cast<ServerList*>(client_alloc(sizeof(ServerList)));
  if (!list) return false;
  bool too_many = parse_ips_list(list, IPS_CAPACITY, item) == IPS_TOO_MANY;
  // A later "IPS=" item replaces the earlier list.
  free_server_list(conn->server_list);
  conn->server_list = list;
  conn->ips_given = 1;
  return too_many;
}

// *ips_error is set when a server list had too many addresses.
void parse_item(ConnRecord* conn, const char* item, bool* ips_error) {
  if (strstr(item, "IPS=") || strstr(item, "ips=")) {
    if (store_server_list(conn, item)) *ips_error = true;
    return;
  }
  // Only the item itself may be read; one that does not fit is refused, never cut or skipped.
  if (strlen(item) >= ITEM_BUFF_SIZE) return refuse_string(conn, "an item may have 127 bytes at most");
  // An item without "=" names nothing and is passed over.
  if (!strchr(item, '=')) return;
  char title[ITEM_PART_SIZE] = {};
  char value[ITEM_PART_SIZE] = {};
  if (!split_conn_item(item, title, value)) {
    if (title[0] == '\0') return refuse_string(conn, "a keyword may have 63 bytes at most");
    return refuse_value(conn, title, ITEM_PART_SIZE - 1);
  }
  for (const Keyword& kw : keywords) {
    if (strcasecmp(title, kw.title) == 0) {
      apply_keyword(kw, title, value, conn);
      return;
    }
  }
}

}  // namespace

bool parse_conn_string(const char* text, ConnRecord* conn) {
  if (!text) return false;
  size_t length = strlen(text);
  if (length < 5) return false;
  char sep = strchr(text, ';') ? ';' : strchr(text, ',') ? ',' : '\0';
  if (sep == '\0') return false;
  char* copy = strdup(text);
  if (!copy) return false;
  bool ips_error = false;
  for (size_t pos = 0; pos < length;) {
    char* item = copy + pos;
    char* end = strchr(item, sep);
    if (end) *end = '\0';
    pos += strlen(item) + 1;
    parse_item(conn, item, &ips_error);
  }
  free(copy);
  // Printed once the whole string is read, so that a SILENT item anywhere in it counts.
  if (ips_error) client_print(conn, "set ips error \n");
  return true;
}

bool split_conn_item(const char* item, char* title, char* value) {
  const char* eq = strchr(item, '=');
  if (!eq) return false;
  const char* title_begin = item;
  const char* title_end = eq;
  const char* value_begin = eq + 1;
  const char* value_end = value_begin + strlen(value_begin);
  trim_blanks(&title_begin, &title_end);
  trim_blanks(&value_begin, &value_end);
  // A title or value that does not fit its 64 bytes is refused whole rather than cut:
  // a cut user name or password would log in as someone else or fail obscurely. A title that
  // fits is kept, so that a refusal can name it.
  size_t title_len = static_cast<size_t>(title_end - title_begin);
  size_t value_len = static_cast<size_t>(value_end - value_begin);
  if (title_len >= ITEM_PART_SIZE) return false;
  memcpy(title, title_begin, title_len);
  title[title_len] = '\0';
  if (value_len >= ITEM_PART_SIZE) return false;
  memcpy(value, value_begin, value_len);
  value[value_len] = '\0';
  return true;
}

// A copy of address behind the list's last; false when memory runs out.
static bool add_address(ServerList* list, const char* address) {
  char* copy = strdup(address);
  if (!copy) return false;
  list->addrs[list->count++] = copy;
  return true;
}

// When memory runs out the list keeps what it holds, and stays safe to free.
IpsParse parse_ips_list(ServerList* list, int capacity, const char* item) {
  list->count = 0;
  list->addrs = static_cast<char**>(client_alloc(sizeof(char*) * static_cast<size_t>(capacity)));
  // The last address always has a place behind the bound.
  int bound = capacity - 2;
  bool grown = false;
  // The item starts with its four-character prefix "IPS=".
  char* rest = strdup(strlen(item) >= 4 ? item + 4 : "");
  if (!list->addrs || !rest) {
    free(rest);
    return IPS_NO_MEMORY;
  }
  char* address = rest;
  for (char* comma = strchr(address, ','); comma; comma = strchr(address, ',')) {
    *comma = '\0';
    if (list->count > bound) {
      if (grown) {
        free(rest);
        return IPS_TOO_MANY;
      }
      int new_capacity = capacity + IPS_GROWTH;
      char** addrs = static_cast<char**>(realloc(list->addrs, sizeof(char*) * static_cast<size_t>(new_capacity)));
      if (!addrs) {
        free(rest);
        return IPS_NO_MEMORY;
      }
      list->addrs = addrs;
      memset(list->addrs + capacity, 0, sizeof(char*) * IPS_GROWTH);
      capacity = new_capacity;
      bound += IPS_GROWTH;
      grown = true;
    }
    if (!add_address(list, address)) {
      free(rest);
      return IPS_NO_MEMORY;
    }
    address = comma + 1;
  }
  bool added = add_address(list, address);
  free(rest);
  list->remaining = list->count;
  list->tried = static_cast<char**>(client_alloc(sizeof(char*) * static_cast<size_t>(list->count + 1)));
  return added && list->tried ? IPS_OK : IPS_NO_MEMORY;
}

void free_server_list(ServerList* list) {
  if (!list) return;
  for (int32_t i = 0; i < list->count; ++i) {
    if (list->addrs) free(list->addrs[i]);
    if (list->tried) free(list->tried[i]);
  }
  free(list->addrs);
  free(list->tried);
  free(list);
}
