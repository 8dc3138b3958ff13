#include "command_reader.h"

#include "growing_read.h"
#include "parameter_reader.h"

namespace zv {

CommandRead read_command(SocketReader& in, const CommandLimits& limits, Command& out) {
  int intro;
  while ((intro = in.byte()) == '.') {
  }
  int32_t len;
  if (intro != '?' || !in.int32(len) || len < 0) return CommandRead::kEnded;
  if (len > limits.text_max) return CommandRead::kTextTooLong;
  int32_t word;
  if (!read_appending(in, static_cast<size_t>(len) + 1, out.text) || !in.int32(word)) return CommandRead::kEnded;
  out.text.pop_back();
  if (word == 0) return CommandRead::kCommand;
  switch (read_parameters(in, static_cast<uint32_t>(word), limits.values_have_type_byte, limits.parameter_max,
                          out.parameters)) {
    case ParameterRead::kDone:
      return CommandRead::kCommand;
    case ParameterRead::kTooLarge:
      return CommandRead::kParametersTooLarge;
    case ParameterRead::kBroken:
      break;
  }
  return CommandRead::kEnded;
}

}  // namespace zv
