// Parameter records behind a command. The input's first four bytes are the command's
// parameter word (big-endian), its fifth byte says whether packed values have a type byte
// (a newer client's form), and the rest are the bytes that follow the word.
#include "byte_order.h"
#include "parameter_skipper.h"
#include "socket_input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 5 || size > zvfuzz::kMaxInput) return 0;
  const uint32_t word = zv::load_be32(reinterpret_cast<const char*>(data));
  const bool type_byte = (data[4] & 1) != 0;
  zvfuzz::SocketInput input(data + 5, size - 5);
  zv::SocketReader in(input.fd());
  zv::skip_parameters(in, word, type_byte, 1 << 20);
  return 0;
}
