// The command messages a client sends once it is logged in.
#pragma once

#include <cstdint>
#include <string>

#include "parameters.h"
#include "socket_reader.h"

namespace zv {

struct Command {
  std::string text;  // without its closing NUL
  Parameters parameters;
};

struct CommandLimits {
  int64_t text_max = 0;       // longest text read
  int64_t parameter_max = 0;  // most parameter bytes read
  bool values_have_type_byte = true;
};

enum class CommandRead {
  kCommand,
  kEnded,               // the link failed or closed, or its bytes are not a command
  kTextTooLong,         // the length of the text is over the limit; the text is not read
  kParametersTooLarge,  // the parameters run over the limit; the rest is not read
};

// Reads a command: "?", int32 length, the text and its NUL, int32 parameter word and the
// parameters. A lone "." before it asks for more rows of a reply already sent in full, so
// it is passed over.
CommandRead read_command(SocketReader& in, const CommandLimits& limits, Command& out);

}  // namespace zv
