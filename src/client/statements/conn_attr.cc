// Numeric attributes of a connection: its settings by number, the server's version by asking it,
// and the two switches that a caller may change between statements.
#include "statements/conn_attr.h"

#include <strings.h>

#include <cstdlib>
#include <cstring>

#include "connection/client_text.h"
#include "statements/command.h"
#include "statements/exchange.h"
#include "zvc.h"

namespace {
enum {
  ATTR_SERVER_VERSION = 1,
  ATTR_DATABASE = 2,
  ATTR_PROTOCOL = 3,
  ATTR_ENCODING = 4,
  ATTR_CHAR_SET = 5,
  ATTR_USE_SSL = 6,
  ATTR_SERVER_LIST = 7,
  ATTR_TIME_ZONE = 8,
  ATTR_LOB_RET = 9,
  ATTR_AUTO_COMMIT_OFF = 11,
  ATTR_SRVCURSOR_OFF = 12,
};
enum { PROTOCOL_VERSION = 2 };

// The reply is read into a block one byte wider than the caller's buffer, so that a version
// which fits without its terminator is not taken for one cut short.
int32_t put_server_version(ConnRecord* conn, const AttrOut* out) {
  int32_t cap = out->size > 7 ? out->size + 1 : 8;  // a reply without rows writes a 4-byte word
  char* text = static_cast<char*>(client_alloc(static_cast<size_t>(cap)));
  if (!text) return ZV_NO_MEMORY;
  Exchange ex;
  int32_t rc = ZV_NO_MEMORY;
  int32_t type = 0;
  if (begin_exchange(&ex, conn, "show version", false)) {
    rc = recv_scalar(conn, text, cap, &type);
    end_exchange(&ex);
  }
  if (rc >= 0) rc = type >= 100 ? ZV_TRUNCATED : put_attr_text(out, type == 0 ? "" : text);
  free(text);
  return rc;
}

// "2:1.1.1.1,2.2.2.2": the count, then the addresses in the order of the list.
int32_t put_server_list(const ServerList* list, const AttrOut* out) {
  size_t cap = 16;  // the count and its colon
  for (int32_t i = 0; i < list->count; ++i) cap += strlen(list->addrs[i]) + 1;
  char* text = static_cast<char*>(client_alloc(cap));
  if (!text) return ZV_NO_MEMORY;
  client_sprintf(text, cap, "%d:", list->count);
  for (int32_t i = 0; i < list->count; ++i) {
    if (i > 0) str_append_bounded(text, cap, ",");
    str_append_bounded(text, cap, list->addrs[i]);
  }
  int32_t rc = put_attr_text(out, text);
  free(text);
  return rc;
}

int32_t put_by_number(ConnRecord* conn, int32_t attribute, const AttrOut* out) {
  switch (attribute) {
    case ATTR_SERVER_VERSION:
      return put_server_version(conn, out);
    case ATTR_DATABASE:
      return put_attr_text(out, conn->database);
    case ATTR_PROTOCOL:
      return put_attr_int32(out, PROTOCOL_VERSION);
    case ATTR_ENCODING:
      return put_attr_text(out, "UTF-8");
    case ATTR_CHAR_SET:
      return put_attr_text(out, conn->char_set);
    case ATTR_USE_SSL:
      return put_attr_int32(out, conn->use_ssl);
    case ATTR_SERVER_LIST:
      // A connection given no "IPS=" item has no list to tell; that is no error of the link's.
      if (!conn->ips_given || !conn->server_list) return ZV_BAD_HANDLE;
      return put_server_list(conn->server_list, out);
    case ATTR_TIME_ZONE:
      return put_attr_text(out, "GTM+8");
    case ATTR_LOB_RET:
      return put_attr_int32(out, conn->lob_ret);
    case ATTR_AUTO_COMMIT_OFF:
      return put_attr_int32(out, conn->auto_commit_off);
    case ATTR_SRVCURSOR_OFF:
      return put_attr_int32(out, conn->use_srvcursor_off);
    default:
      set_error_text(&conn->error_text, "[EC0103]connection attribute type get error,unknown attribute type\n");
      return ZV_BAD_HANDLE;
  }
}

// Number 11 is the switch "auto commit off", read as the login reads the field: "ON" or "TRUE"
// turns auto commit off at the next login, anything else leaves it on.
int32_t set_auto_commit_off(ConnRecord* conn, const void* value, int32_t value_size) {
  if (!value || value_size < 1) return ZV_TRUNCATED;
  const char* text = static_cast<const char*>(value);
  size_t n = strnlen(text, static_cast<size_t>(value_size));
  conn->auto_commit_off = (n == 2 && strncasecmp(text, "ON", 2) == 0) || (n == 4 && strncasecmp(text, "TRUE", 4) == 0);
  return 0;
}

// Read by the next execution.
int32_t set_srvcursor_off(ConnRecord* conn, const void* value, int32_t value_size) {
  if (!value || value_size < 4) return ZV_TRUNCATED;
  memcpy(&conn->use_srvcursor_off, value, 4);
  return 0;
}

int32_t set_by_number(ConnRecord* conn, int32_t attribute, const void* value, int32_t value_size) {
  switch (attribute) {
    case ATTR_AUTO_COMMIT_OFF:
      return set_auto_commit_off(conn, value, value_size);
    case ATTR_SRVCURSOR_OFF:
      return set_srvcursor_off(conn, value, value_size);
    default:
      set_error_text(&conn->error_text, "[EC0104]connection attribute type set error,un-supported attribute type\n");
      return ZV_BAD_HANDLE;
  }
}
}  // namespace

int32_t conn_get_attr(ConnRecord* conn, int32_t attribute, const AttrOut* out) {
  int32_t rc = put_by_number(conn, attribute, out);
  if (rc == ZV_TRUNCATED) set_error_text(&conn->error_text, kAttrBufferTooSmall);
  return rc;
}

int32_t conn_set_attr(ConnRecord* conn, int32_t attribute, const void* value, int32_t value_size) {
  int32_t rc = set_by_number(conn, attribute, value, value_size);
  if (rc == ZV_TRUNCATED) set_error_text(&conn->error_text, kAttrBufferTooSmall);
  return rc;
}
