// Command messages one after another, as a logged-in client sends them, until the bytes
// end or stop making sense.
#include "command_reader.h"
#include "socket_input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > zvfuzz::kMaxInput) return 0;
  zvfuzz::SocketInput input(data, size);
  zv::SocketReader in(input.fd());
  const zv::CommandLimits limits{1 << 20, 1 << 20, true};
  zv::Command command;
  while (zv::read_command(in, limits, command) == zv::CommandRead::kCommand) command = zv::Command{};
  return 0;
}
