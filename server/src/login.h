// The login text a client opens its link with: "login database = X user='U' ...".
#pragma once

#include <string>
#include <string_view>

#include "socket_reader.h"

namespace zv {

struct LoginRequest {
  std::string database;
  std::string user;
  std::string password;
  std::string char_set;
  std::string iso_level;
  std::string current_schema;
  std::string compatible_mode;
  std::string keyword_filter;
  std::string version;
  long lock_timeout = 0;
  bool auto_commit = true;
  bool return_cursor_id = false;
  bool lob_descriptors = false;  // large objects may be sent as descriptors
};

enum class LoginTextRead {
  kComplete,
  kEnded,       // the link failed or closed first
  kEnciphered,  // the client asks for an enciphered link
  kTooLong,     // more than `max` bytes came without the text being complete
  kMalformed,   // enciphered blocks that do not decipher to a text
};

// Reads a login text of at most `max` bytes into `text`. The text carries no length and no
// terminator: it is complete once the closing quote of its last clause, " version = '...'",
// has arrived.
LoginTextRead read_login_text(SocketReader& in, size_t max, std::string& text);

// Parses the clauses; false with a reason when the text is not a login.
bool parse_login(std::string_view text, LoginRequest& out, std::string& error);

}  // namespace zv
