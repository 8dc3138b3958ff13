// Opening a connection to one of several equivalent servers, skipping those that cannot be
// reached. The caller keeps the working list between calls, so a later open goes on where the
// last one stood and a struck server stays struck.
#include <cstdlib>
#include <ctime>

#include "connection/client_text.h"
#include "connection/conn_string.h"
#include "connection/login.h"
#include "connection/server_list.h"
#include "zvc.h"

namespace {

enum { STEP = 3 };  // how far position moves on after each strike

// Rises with every working list built, so that lists built in the same second start apart.
int32_t lists_built = 0;

int32_t random_index(int32_t count) {
  ++lists_built;
  srand(static_cast<unsigned>(time(nullptr)) + static_cast<unsigned>(lists_built));
  return rand() % count;
}

// A new working list over *state, with a random first server. The caller's old list is freed
// whatever position asked for: *state is the only pointer to it, and overwriting it would leak.
bool start_new_list(const ConnRecord* conn, ServerList** state) {
  free_server_list(*state);
  *state = copy_server_list(conn->server_list);
  if (!*state) return false;
  (*state)->current = random_index((*state)->count);
  return true;
}

// Fresh per attempt, so a LOCK_TIMEOUT of the string never reaches this login.
void reset_for_attempt(ConnRecord* conn) {
  conn->pushback = 0;
  conn->lock_timeout = LOCK_TIMEOUT_DEFAULT;
  conn->ltimeout = conn->recv_timeout > 0 ? conn->recv_timeout : LTIMEOUT_DEFAULT;
  str_copy_bounded(conn->version, sizeof conn->version, "301");
  conn->socket = 0;
}

// An address too long for server_ip counts as unreachable rather than being cut into another.
bool connect_current(ConnRecord* conn, const ServerList* list) {
  reset_for_attempt(conn);
  const char* address = list->addrs[list->current];
  return str_copy_bounded(conn->server_ip, sizeof conn->server_ip, address) == 0 && net_connect(conn);
}

}  // namespace

int32_t ZVC_OpenConnectionIPS(const char* conn_string, int position, ServerList** state, ConnRecord** out) {
  if (!conn_string || !state || !out) return ZV_BAD_HANDLE;  // no record is made
  ConnRecord* conn = static_cast<ConnRecord*>(client_alloc(sizeof(ConnRecord)));
  *out = conn;
  if (!conn) return ZV_NO_MEMORY;
  conn->kind = HT_CONN;
  conn->lock_timeout = LOCK_TIMEOUT_DEFAULT;
  conn->connect_timeout = CONNECT_TIMEOUT_DEFAULT;
  parse_conn_string(conn_string, conn);
  conn->verbose_mode = 1;
  if (conn_string_refused(conn)) return ZV_BAD_CONN_STRING;
  if (!conn->server_list) {
    set_error_text(&conn->error_text, "[EC015]IPS Connect needs an IPS= server list");
    return ZV_NO_SERVER_LIST;
  }
  // Wide enough that adding STEP per strike can never overflow. A position below -1 starts as 0
  // does, so that after any strike it is above 1 and indexes the list from its front.
  int64_t pos = position < -1 ? 0 : position;
  ServerList* list = *state;
  if (pos > 1 && list && list->remaining > 0) {
    list->current = static_cast<int32_t>(pos % list->remaining);
  } else {
    if (!start_new_list(conn, state)) return ZV_NO_MEMORY;
    list = *state;
  }
  // A server that cannot be reached, or that accepts but says nothing before the deadline, is
  // struck and the next one tried; one that answers, even with a refusal, ends the search.
  LoginResult login = LOGIN_FAILED;
  for (;;) {
    bool linked = connect_current(conn, list);
    if (linked) login = login_dialogue(conn);
    if (linked && login != LOGIN_NO_ANSWER) break;
    if (list->remaining < 2) {
      if (linked) break;  // the last server's silence is its failed login
      set_error_text(&conn->error_text, "[EC013]Error IPS Connect database Failed,sock build failure!\n");
      return ZV_SOCKET_FAILED;
    }
    strike_server(list);
    set_error_text(&conn->error_text, nullptr);
    pos += STEP;
    list->current = static_cast<int32_t>(pos % list->remaining);
  }
  if (login != LOGIN_OK) {
    // A refusal of the client's own keeps its text: it says what to change.
    if (login != LOGIN_REFUSED_HERE)
      set_error_textf(&conn->error_text, "[EC014]IPS LOGIN database Failure,IP is %s  \n", conn->server_ip);
    return ZV_LOGIN_FAILED;
  }
  if (!create_conn_lock(conn)) return ZV_NO_MEMORY;
  return ZV_OK;
}
