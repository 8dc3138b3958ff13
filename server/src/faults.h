// Faults a client's reliability tests arm with "ZANVO FAULT ..." statements: each one
// spoils the reply to the connection's next command.
#pragma once

#include <cstdint>
#include <string_view>

#include "reply_writer.h"

namespace zv {

enum class FaultKind {
  kNone,
  kCloseAfter,  // ZANVO FAULT CLOSE AFTER <n>: send n bytes of the reply, then close the link
  kStall,       // ZANVO FAULT STALL <ms>: wait before replying
  kLetter,      // ZANVO FAULT LETTER <c>: the reply is the single byte c
  kLength,      // ZANVO FAULT LENGTH <n>: the reply is "E" and the int32 n
  kColumns,     // ZANVO FAULT COLUMNS <n>: "A", n, n CHAR columns c1.., "K"
  kResults,     // ZANVO FAULT RESULTS <n>: n results of one INTEGER column r and no rows, "K"
  kLobCloseAfter,  // ZANVO FAULT LOB CLOSE AFTER <n>: as CLOSE AFTER, for the next large-object fetch
};

struct Fault {
  FaultKind kind = FaultKind::kNone;
  int64_t value = 0;
  char letter = 0;
};

constexpr int64_t kMaxStallMs = 600000;
constexpr int64_t kMaxFaultColumns = 1000000;
constexpr int64_t kMaxFaultResults = 10000000;

// Recognises a fault statement; false for any other text.
bool parse_fault(std::string_view text, Fault& out);

// The reply that a LETTER, LENGTH or COLUMNS fault sends instead of the statement's own.
void write_fault_reply(const Fault& fault, ReplyWriter& out);

}  // namespace zv
