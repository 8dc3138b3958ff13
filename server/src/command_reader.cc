#include "command_reader.h"

#include <algorithm>

#include "parameter_skipper.h"

namespace zv {
namespace {

// Grows the text as its bytes arrive, so that a length alone reserves no memory.
bool read_text(SocketReader& in, size_t n, std::string& text) {
  constexpr size_t kStep = 1 << 20;
  while (text.size() < n) {
    size_t done = text.size();
    text.resize(done + std::min(kStep, n - done));
    if (!in.exact(&text[done], text.size() - done)) return false;
  }
  return true;
}

}  // namespace

CommandRead read_command(SocketReader& in, const CommandLimits& limits, Command& out) {
  int intro;
  while ((intro = in.byte()) == '.') {
  }
  int32_t len;
  if (intro != '?' || !in.int32(len) || len < 0) return CommandRead::kEnded;
  if (len > limits.text_max) return CommandRead::kTextTooLong;
  int32_t word;
  if (!read_text(in, static_cast<size_t>(len) + 1, out.text) || !in.int32(word)) return CommandRead::kEnded;
  out.text.pop_back();
  out.parameter_word = static_cast<uint32_t>(word);
  if (word == 0) return CommandRead::kCommand;
  switch (skip_parameters(in, out.parameter_word, limits.values_have_type_byte, limits.parameter_max)) {
    case ParameterSkip::kDone:
      return CommandRead::kCommand;
    case ParameterSkip::kTooLarge:
      return CommandRead::kParametersTooLarge;
    case ParameterSkip::kBroken:
      break;
  }
  return CommandRead::kEnded;
}

}  // namespace zv
