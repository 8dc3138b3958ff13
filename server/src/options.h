// Command-line options of the server.
#pragma once

#include <cstdint>
#include <string>

namespace zv {

struct ServerOptions {
  int port = 5138;              // 0: the system picks a free port
  std::string host = "127.0.0.1";  // the loopback address (127.0.0.0/8) to listen on
  std::string database;         // empty: a private in-memory database
  std::string user = "SYSDBA";
  std::string password = "SYSDBA";
  int reply_version = 301;      // login reply form: 201 or 301
  int busy_timeout_ms = 1000;   // longest wait for a lock held by another connection
  int64_t lob_inline_max = 4096;  // larger objects go out as descriptors
  bool exit_with_parent = false;  // stop when the process that started the server ends
  bool help = false;              // print the usage and stop
  // What one client may cost the server.
  int64_t login_max = 1024;            // longest login text
  int64_t login_timeout_ms = 10000;    // a login not complete this long after the link opened is cut
  int64_t command_max = 128 << 20;     // longest command text
  int64_t parameter_max = 64 << 20;    // most parameter bytes behind one command
  int64_t value_max = 256 << 20;       // largest string, blob or row a statement may make
  int64_t idle_timeout_ms = 600000;    // a link silent this long is closed; 0: never
  int64_t max_links = 256;             // links served at once; more are refused
  int64_t max_prepared = 1000;         // prepared statements one link keeps at once
  int64_t name_max = 128;              // longest name of a cursor or a prepared statement
  int64_t kept_max = 64 << 20;         // bytes of the names and texts of one link's cursors and prepared statements
};

// Fills `out` from argv; on a bad option returns false with a message in `error`.
bool parse_options(int argc, char** argv, ServerOptions& out, std::string& error);

const char* usage_text();

}  // namespace zv
