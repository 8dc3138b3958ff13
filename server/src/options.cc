#include "options.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace zv {
namespace {

struct NumberOption {
  const char* name;
  int64_t low, high;
  int64_t ServerOptions::*field;
};

// SQLite makes no string or blob longer than 1,000,000,000 bytes, whatever it is asked.
constexpr NumberOption kNumberOptions[] = {
    {"--lob-inline-max", 0, 1 << 30, &ServerOptions::lob_inline_max},
    {"--login-max", 64, 1 << 20, &ServerOptions::login_max},
    {"--login-timeout", 1, INT32_MAX, &ServerOptions::login_timeout_ms},
    {"--command-max", 0, INT32_MAX, &ServerOptions::command_max},
    {"--parameter-max", 0, INT64_MAX, &ServerOptions::parameter_max},
    {"--value-max", 1, 1000000000, &ServerOptions::value_max},
    {"--idle-timeout", 0, INT32_MAX, &ServerOptions::idle_timeout_ms},
    {"--max-links", 1, 100000, &ServerOptions::max_links},
    {"--max-prepared", 1, 1000000, &ServerOptions::max_prepared},
    {"--name-max", 1, 1 << 20, &ServerOptions::name_max},
    {"--kept-max", 0, INT64_MAX, &ServerOptions::kept_max},
};

const NumberOption* number_option(const std::string& name) {
  for (const NumberOption& o : kNumberOptions) {
    if (name == o.name) return &o;
  }
  return nullptr;
}

bool to_number(const char* text, int64_t low, int64_t high, int64_t& out) {
  errno = 0;
  char* end = nullptr;
  long long v = std::strtoll(text, &end, 10);
  if (errno != 0 || end == text || *end != '\0' || v < low || v > high) return false;
  out = v;
  return true;
}

// A dotted IPv4 address in 127.0.0.0/8: the server never listens beyond this machine.
bool is_loopback(const char* text) {
  in_addr addr{};
  return inet_pton(AF_INET, text, &addr) == 1 && (ntohl(addr.s_addr) >> 24) == 127;
}

}  // namespace

const char* usage_text() {
  return "usage: zanvo-server [--port N] [--host 127.x.y.z] [--database FILE] [--user U --password P]\n"
         "                    [--reply-version 201|301] [--busy-timeout MS] [--lob-inline-max BYTES]\n"
         "                    [--exit-with-parent] [--login-max BYTES] [--login-timeout MS]\n"
         "                    [--command-max BYTES] [--parameter-max BYTES] [--value-max BYTES]\n"
         "                    [--idle-timeout MS] [--max-links N] [--max-prepared N]\n"
         "                    [--name-max BYTES] [--kept-max BYTES] [--help]\n";
}

bool parse_options(int argc, char** argv, ServerOptions& out, std::string& error) {
  for (int i = 1; i < argc; ++i) {
    std::string name = argv[i];
    // Whatever else the command line says, --help only prints the usage.
    if (name == "--help") {
      out.help = true;
      return true;
    }
    if (name == "--exit-with-parent") {
      out.exit_with_parent = true;
      continue;
    }
    if (i + 1 >= argc) {
      error = "missing value for " + name;
      return false;
    }
    const char* value = argv[++i];
    int64_t n = 0;
    bool good = true;
    if (name == "--port") {
      good = to_number(value, 0, 65535, n);
      out.port = static_cast<int>(n);
    } else if (name == "--host") {
      good = is_loopback(value);
      out.host = value;
    } else if (name == "--database") {
      out.database = value;
    } else if (name == "--user") {
      out.user = value;
    } else if (name == "--password") {
      out.password = value;
    } else if (name == "--reply-version") {
      good = to_number(value, 201, 301, n) && (n == 201 || n == 301);
      out.reply_version = static_cast<int>(n);
    } else if (name == "--busy-timeout") {
      good = to_number(value, 0, 3600 * 1000, n);
      out.busy_timeout_ms = static_cast<int>(n);
    } else if (const NumberOption* o = number_option(name)) {
      good = to_number(value, o->low, o->high, out.*(o->field));
    } else {
      error = "unknown option " + name;
      return false;
    }
    if (!good) {
      error = "bad value for " + name + ": " + value;
      return false;
    }
  }
  return true;
}

}  // namespace zv
