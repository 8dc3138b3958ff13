// The server's answer to a login, read by login_dialogue: "K", "N" with four bytes and "K", or
// a refusal with its text.
#include <cstdint>
#include <cstring>
#include <string>

#include "connection/login.h"
#include "peer.h"
#include "require.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  StreamPeer peer(std::string(reinterpret_cast<const char*>(data), size));
  ConnRecord* conn = peer.conn;
  if (login_dialogue(conn) == LOGIN_OK) {
    fuzz_require(strcmp(conn->version, "201") == 0 || strcmp(conn->version, "301") == 0,
                 "a login settles the version at 201 or 301");
  } else {
    fuzz_require(conn->socket == 0 && conn->error_text, "a failed login leaves the link closed and its reason");
  }
  return 0;
}
