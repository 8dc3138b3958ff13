#include "interval_type_quoting.h"

#include <cctype>

#include "text_util.h"

namespace zv {
namespace {

bool is_word_char(char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '_' || c == '$'; }

bool is_unit(std::string_view w) {
  for (const char* unit : {"YEAR", "MONTH", "DAY", "HOUR", "MINUTE", "SECOND"}) {
    if (iequals(w, unit)) return true;
  }
  return false;
}

// Reads blanks, then a word, from `pos`; empty when no word stands there.
std::string_view next_word(std::string_view s, size_t& pos) {
  while (pos < s.size() && is_space(s[pos])) ++pos;
  size_t start = pos;
  while (pos < s.size() && is_word_char(s[pos])) ++pos;
  return s.substr(start, pos - start);
}

// An optional precision "(6)" or "(3, 6)".
void skip_precision(std::string_view s, size_t& pos) {
  size_t p = pos;
  while (p < s.size() && is_space(s[p])) ++p;
  if (p >= s.size() || s[p] != '(') return;
  size_t close = s.find(')', p);
  if (close == std::string_view::npos) return;
  for (size_t i = p + 1; i < close; ++i) {
    if (!std::isdigit(static_cast<unsigned char>(s[i])) && s[i] != ',' && !is_space(s[i])) return;
  }
  pos = close + 1;
}

// Length of "INTERVAL unit TO unit" starting at `start` (just behind the word INTERVAL), or 0.
size_t interval_type_end(std::string_view s, size_t pos) {
  if (!is_unit(next_word(s, pos))) return 0;
  skip_precision(s, pos);
  if (!iequals(next_word(s, pos), "TO")) return 0;
  if (!is_unit(next_word(s, pos))) return 0;
  skip_precision(s, pos);
  return pos;
}

}  // namespace

bool may_hold_interval_type(std::string_view sql) {
  for (size_t i = 0; i + 8 <= sql.size(); ++i) {
    if ((sql[i] | 0x20) == 'i' && iequals(sql.substr(i, 8), "INTERVAL")) return true;
  }
  return false;
}

std::string quote_interval_types(std::string_view s) {
  std::string out;
  out.reserve(s.size() + 8);
  size_t pos = 0;
  while (pos < s.size()) {
    size_t skipped = skip_unparsed(s, pos);
    if (skipped != pos) {
      out.append(s.substr(pos, skipped - pos));
      pos = skipped;
      continue;
    }
    if (!is_word_char(s[pos])) {
      out += s[pos++];
      continue;
    }
    size_t start = pos;
    std::string_view word = next_word(s, pos);
    size_t end = iequals(word, "INTERVAL") ? interval_type_end(s, pos) : 0;
    if (end == 0) {
      out.append(word);
      continue;
    }
    out += '"';
    out.append(s.substr(start, end - start));
    out += '"';
    pos = end;
  }
  return out;
}

}  // namespace zv
