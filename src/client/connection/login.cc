#include "connection/login.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "connection/client_text.h"
#include "connection/link_cipher.h"
#include "connection/link_image.h"
#include "connection/wire.h"

namespace {

enum { AUTH_STR_SIZE = 512, REPLY_SIZE = 32 };

const char* const no_k_text = "[EC0196]Error Can't finish build connect ,Receives K failed";

struct LoginClause {
  bool include;
  const char* head;
  const char* value;
  const char* tail;
};

struct LoginValue {
  const char* name;
  size_t offset;
};

// Every text the login carries; nothing in it is escaped, so a quote would end a value early.
const LoginValue login_values[] = {
    {"database", offsetof(ConnRecord, database)},
    {"user", offsetof(ConnRecord, user)},
    {"password", offsetof(ConnRecord, password)},
    {"char_set", offsetof(ConnRecord, char_set)},
    {"iso_level", offsetof(ConnRecord, iso_level)},
    {"current_schema", offsetof(ConnRecord, current_schema)},
    {"compatible_mode", offsetof(ConnRecord, compatible_mode)},
    {"keyword_filter", offsetof(ConnRecord, keyword_filter)},
};

// The name of the first login value that holds a quote, or null.
const char* quoted_login_value(const ConnRecord* conn) {
  for (const LoginValue& v : login_values) {
    const char* text = reinterpret_cast<const char*>(conn) + v.offset;
    if (strchr(text, '\'')) return v.name;
  }
  return nullptr;
}

// A failed login leaves the record disconnected, with no keystream.
LoginResult fail_login(ConnRecord* conn, const char* text, LoginResult result = LOGIN_FAILED) {
  set_error_text(&conn->error_text, text);
  if (conn->socket != 0) plat_socket_close(static_cast<int>(conn->socket));
  conn->socket = 0;
  link_cipher_free(conn);
  return result;
}

LoginResult fail_too_long(ConnRecord* conn, int limit) {
  char text[128];
  client_sprintf(text, sizeof text, "[EC0193]Error in build-database-connect LOGIN text longer than %d characters",
                 limit);
  return fail_login(conn, text, LOGIN_REFUSED_HERE);
}

// The server's answer: "K" for a 201 server, "N", four bytes and "K" for a 301 server,
// anything else a refusal followed by the server's message, which is dropped.
LoginResult read_login_reply(ConnRecord* conn, const uint8_t* reply) {
  if (reply[0] == 'K') {
    str_copy_bounded(conn->version, sizeof conn->version, "201");
    return LOGIN_OK;
  }
  if (reply[0] == 'N') {
    str_copy_bounded(conn->version, sizeof conn->version, "301");
    uint8_t rest[REPLY_SIZE] = {};
    if (recv_bytes(conn, rest, 5) && rest[4] == 'K') return LOGIN_OK;
  }
  char* message = nullptr;
  recv_string(conn, &message);
  free(message);
  return fail_login(conn, no_k_text);
}

// The plain login: the text goes to the socket as it is.
LoginResult plain_login(ConnRecord* conn) {
  char auth_str[AUTH_STR_SIZE];
  if (!build_login_text(conn, false, auth_str, sizeof auth_str)) return fail_too_long(conn, AUTH_STR_SIZE - 1);
  // Straight to the socket, past the send buffer; a failed write shows up as a failed read.
  send_direct(conn, auth_str, static_cast<int32_t>(strlen(auth_str)));
  uint8_t reply[REPLY_SIZE] = {};
  if (!recv_bytes(conn, reply, 1)) return fail_login(conn, "[EC0195]Error when RECIEVING ,Net Recieve Error");
  return read_login_reply(conn, reply);
}

// The enciphered login: the server hands over its exponent and modulus, the client answers with
// the link key and the login text in blocks raised to that power, and from the reply on both
// directions run through the keystream of that key.
LoginResult enciphered_login(ConnRecord* conn) {
  link_cipher_free(conn);
  conn->send_len = 0;
  uint8_t auth_str[AUTH_STR_SIZE] = {};
  char* text = reinterpret_cast<char*>(auth_str + LINK_KEY_SIZE);
  // Checked before anything goes out, as on a plain link.
  if (!build_login_text(conn, true, text, LINK_TEXT_MAX + 1)) return fail_too_long(conn, LINK_TEXT_MAX);
  send_direct(conn, "~ssl~", 5);
  // A server that closes early leaves zeros behind what it sent: the blocks then come out zero
  // and the login fails at its reply.
  memset(conn->link_exponent, 0, sizeof conn->link_exponent);
  memset(conn->link_modulus, 0, sizeof conn->link_modulus);
  recv_direct(conn, conn->link_exponent, sizeof conn->link_exponent);
  recv_direct(conn, conn->link_modulus, sizeof conn->link_modulus);
  uint8_t key[LINK_KEY_SIZE];
  if (!link_key_make(key, conn->password))
    return fail_login(conn, "[EC0192]Error in build-database-connect no random bytes for the link key",
                      LOGIN_REFUSED_HERE);
  memcpy(auth_str, key, LINK_KEY_SIZE);
  int32_t n = login_text_stuff(text) + 1;  // with the NUL
  link_encrypt_blocks(conn, auth_str, n + LINK_KEY_SIZE);
  send_direct(conn, auth_str, (n + LINK_BLOCK - 1) / LINK_BLOCK * LINK_BLOCK + LINK_KEY_SIZE);
  explicit_bzero(auth_str, sizeof auth_str);
  bool keyed = link_cipher_setup(conn, key, LINK_KEY_SIZE);
  explicit_bzero(key, sizeof key);
  if (!keyed) return fail_login(conn, no_k_text);
  // A failed read leaves the zeroed reply, which the reply refuses.
  uint8_t reply[REPLY_SIZE] = {};
  recv_bytes(conn, reply, 1);
  return read_login_reply(conn, reply);
}

}  // namespace

bool build_login_text(const ConnRecord* conn, bool enciphered, char* out, size_t cap) {
  memset(out, 0, cap);
  if (quoted_login_value(conn)) return false;
  char lock[20];
  client_sprintf(lock, sizeof lock, "%d", conn->lock_timeout);
  const LoginClause clauses[] = {
      {true, "login database = ", conn->database, ""},
      {true, " user='", conn->user, ""},
      {true, "' password='", conn->password, "'"},
      {enciphered || conn->char_set[0] != '\0', " char_set = '", conn->char_set, "'"},
      {enciphered || conn->iso_level[0] != '\0', " iso_level = '", conn->iso_level, "'"},
      {conn->current_schema[0] != '\0', " current_schema = '", conn->current_schema, "'"},
      {conn->compatible_mode[0] != '\0', " compatible_mode = '", conn->compatible_mode, "'"},
      {conn->keyword_filter[0] != '\0', " keyword_filter='", conn->keyword_filter, "'"},
      {enciphered ? conn->lock_timeout > 0 : conn->lock_timeout != 0, " lock_timeout = ", lock, ""},
      {true, conn->auto_commit_off == 1 ? " auto_commit = 'off'" : " auto_commit = 'on'", "", ""},
      {conn->return_cursor_id_off != 1, " return_cursor_id  = 'on'", "", ""},
      {conn->lob_ret != 0, enciphered ? " lob_ret=descriptor" : " lob_ret  =descriptor", "", ""},
      {true, " version = '", conn->version, "'"},
  };
  for (const LoginClause& c : clauses) {
    if (!c.include) continue;
    if (str_append_bounded(out, cap, c.head) != 0 || str_append_bounded(out, cap, c.value) != 0 ||
        str_append_bounded(out, cap, c.tail) != 0) {
      memset(out, 0, cap);
      return false;
    }
  }
  return true;
}

LoginResult login_dialogue(ConnRecord* conn) {
  const char* quoted = quoted_login_value(conn);
  LoginResult result;
  if (quoted) {
    char text[128];
    client_sprintf(text, sizeof text, "[EC0194]Error in build-database-connect quote (') not allowed in %s",
                   quoted);
    result = fail_login(conn, text, LOGIN_REFUSED_HERE);
  } else {
    // Every read of the login waits at most for what is left of the deadline (wire.cc), so a
    // server that says nothing, or drips its answer, holds the open no longer than connect_timeout.
    result = conn->use_ssl != 0 ? enciphered_login(conn) : plain_login(conn);
  }
  if (result == LOGIN_FAILED && link_deadline_passed(conn)) result = LOGIN_NO_ANSWER;
  conn->link_deadline = 0;
  return result;
}
