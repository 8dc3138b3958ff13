#include "faults.h"

#include <string>
#include <vector>

#include "text_util.h"
#include "type_codes.h"

namespace zv {
namespace {

std::string_view without_semicolon(std::string_view word) {
  if (word.size() > 1 && word.back() == ';') word.remove_suffix(1);
  return word;
}

bool number_in(std::string_view word, int64_t low, int64_t high, int64_t& out) {
  return parse_int64(without_semicolon(word), out) && out >= low && out <= high;
}

}  // namespace

bool parse_fault(std::string_view text, Fault& out) {
  if (!first_word_is(text, "ZANVO")) return false;
  std::vector<std::string_view> w = split_words(trim(text), 7);
  if (w.size() < 4 || !iequals(w[0], "ZANVO") || !iequals(w[1], "FAULT")) return false;
  Fault f;
  bool good = false;
  if (w.size() == 5 && iequals(w[2], "CLOSE") && iequals(w[3], "AFTER")) {
    f.kind = FaultKind::kCloseAfter;
    good = number_in(w[4], 0, INT64_MAX, f.value);
  } else if (w.size() == 6 && iequals(w[2], "LOB") && iequals(w[3], "CLOSE") && iequals(w[4], "AFTER")) {
    f.kind = FaultKind::kLobCloseAfter;
    good = number_in(w[5], 0, INT64_MAX, f.value);
  } else if (w.size() == 4 && iequals(w[2], "STALL")) {
    f.kind = FaultKind::kStall;
    good = number_in(w[3], 0, kMaxStallMs, f.value);
  } else if (w.size() == 4 && iequals(w[2], "LETTER")) {
    std::string_view c = without_semicolon(w[3]);
    f.kind = FaultKind::kLetter;
    f.letter = c.empty() ? 0 : c[0];
    good = c.size() == 1;
  } else if (w.size() == 4 && iequals(w[2], "LENGTH")) {
    f.kind = FaultKind::kLength;
    good = number_in(w[3], INT32_MIN, INT32_MAX, f.value);
  } else if (w.size() == 4 && iequals(w[2], "COLUMNS")) {
    f.kind = FaultKind::kColumns;
    good = number_in(w[3], INT32_MIN, kMaxFaultColumns, f.value);
  } else if (w.size() == 4 && iequals(w[2], "RESULTS")) {
    f.kind = FaultKind::kResults;
    good = number_in(w[3], 0, kMaxFaultResults, f.value);
  }
  if (!good) return false;
  out = f;
  return true;
}

void write_fault_reply(const Fault& fault, ReplyWriter& out) {
  switch (fault.kind) {
    case FaultKind::kLetter:
      out.letter(fault.letter);
      break;
    case FaultKind::kLength:
      out.letter('E');
      out.int32(static_cast<int32_t>(fault.value));
      break;
    case FaultKind::kColumns:
      out.letter('A');
      out.int32(static_cast<int32_t>(fault.value));
      for (int64_t i = 1; i <= fault.value; ++i) {
        out.string("c" + std::to_string(i));
        out.int32(kChar);
        out.int32(0);
        out.int32(0);
      }
      out.letter('K');
      break;
    case FaultKind::kResults:
      for (int64_t i = 0; i < fault.value; ++i) {
        out.letter('A');
        out.int32(1);
        out.string("r");
        out.int32(kInteger);
        out.int32(4);
        out.int32(0);
      }
      out.letter('K');
      break;
    default:
      break;
  }
}

}  // namespace zv
