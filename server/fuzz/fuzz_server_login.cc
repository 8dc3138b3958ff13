// The login text as it arrives: read with the server's own limit, then parsed.
#include "login.h"
#include "options.h"
#include "socket_input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > zvfuzz::kMaxInput) return 0;
  zvfuzz::SocketInput input(data, size);
  zv::SocketReader in(input.fd());
  std::string text;
  if (zv::read_login_text(in, static_cast<size_t>(zv::ServerOptions{}.login_max), text) !=
      zv::LoginTextRead::kComplete) {
    return 0;
  }
  zv::LoginRequest request;
  std::string error;
  zv::parse_login(text, request, error);
  return 0;
}
