// The block image of an enciphered login as it arrives after "~ssl~", then what follows
// it through the deciphering reader. The key raises to the power 1 modulo 2^256 - 1, so
// the input's blocks are what the reader deciphers and the fuzzer steers the text itself.
#include "enciphered_login.h"
#include "options.h"
#include "socket_input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > zvfuzz::kMaxInput) return 0;
  zv::ExchangeKey key;
  key.exponent[0] = 1;
  key.private_exponent[0] = 1;
  key.modulus.fill(0xff);

  zvfuzz::SocketInput input(data, size);
  zv::SocketReader in(input.fd());
  zv::ReplyWriter out(input.fd());
  std::string text;
  zv::LoginTextRead read =
      zv::read_enciphered_login(in, out, key, static_cast<size_t>(zv::ServerOptions{}.login_max), text);
  if (read == zv::LoginTextRead::kEnded) return 0;
  zv::LoginRequest request;
  std::string error;
  if (read == zv::LoginTextRead::kComplete) zv::parse_login(text, request, error);
  out.error(error);
  out.flush();
  while (in.byte() >= 0) {
  }
  return 0;
}
