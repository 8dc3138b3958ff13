#include "text_util.h"

#include <algorithm>
#include <cctype>
#include <limits>

namespace zv {

std::string lower_case(std::string_view s) {
  std::string out(s);
  for (char& c : out) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return out;
}

std::string upper_case(std::string_view s) {
  std::string out(s);
  for (char& c : out) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return out;
}

// ASCII letters only: every keyword compared here is ASCII, and the server runs in the C locale.
bool iequals(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    char x = a[i], y = b[i];
    if (x == y) continue;
    if (static_cast<unsigned char>((x | 0x20) - 'a') > 'z' - 'a' || (x | 0x20) != (y | 0x20)) return false;
  }
  return true;
}

bool first_word_is(std::string_view text, std::string_view word) {
  text = trim(text);
  return text.size() >= word.size() && iequals(text.substr(0, word.size()), word) &&
         (text.size() == word.size() || is_space(text[word.size()]));
}

std::string clip(std::string_view s, size_t max) {
  if (s.size() <= max) return std::string(s);
  size_t end = max;
  while (end > 0 && (static_cast<unsigned char>(s[end]) & 0xC0) == 0x80) --end;  // a UTF-8 continuation byte
  return std::string(s.substr(0, end)) + "...";
}

bool ends_with(std::string_view s, std::string_view tail) {
  return s.size() >= tail.size() && s.substr(s.size() - tail.size()) == tail;
}

bool is_space(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\f' || c == '\v'; }

std::string_view trim(std::string_view s) {
  while (!s.empty() && is_space(s.front())) s.remove_prefix(1);
  while (!s.empty() && is_space(s.back())) s.remove_suffix(1);
  return s;
}

std::string_view strip_statement_end(std::string_view s) {
  s = trim(s);
  if (!s.empty() && s.back() == ';') s = trim(s.substr(0, s.size() - 1));
  return s;
}

std::vector<std::string_view> split_words(std::string_view s, size_t max_words) {
  std::vector<std::string_view> words;
  words.reserve(std::min<size_t>(max_words, 8));
  size_t i = 0;
  while (i < s.size() && words.size() < max_words) {
    while (i < s.size() && is_space(s[i])) ++i;
    size_t start = i;
    while (i < s.size() && !is_space(s[i])) ++i;
    if (i > start) words.push_back(s.substr(start, i - start));
  }
  return words;
}

bool parse_int64(std::string_view s, int64_t& out) {
  bool negative = false;
  if (!s.empty() && (s[0] == '-' || s[0] == '+')) {
    negative = s[0] == '-';
    s.remove_prefix(1);
  }
  if (s.empty()) return false;
  uint64_t limit = negative ? uint64_t{1} << 63 : static_cast<uint64_t>(std::numeric_limits<int64_t>::max());
  uint64_t v = 0;
  for (char c : s) {
    if (c < '0' || c > '9') return false;
    unsigned d = static_cast<unsigned>(c - '0');
    if (v > (limit - d) / 10) return false;
    v = v * 10 + d;
  }
  out = negative ? static_cast<int64_t>(0 - v) : static_cast<int64_t>(v);
  return true;
}

// End of a literal, quoted name or comment that starts at `pos`, or `pos` when none does.
size_t skip_unparsed(std::string_view s, size_t pos) {
  char c = s[pos];
  if (c == '\'' || c == '"' || c == '`' || c == '[') {
    char close = c == '[' ? ']' : c;
    size_t end = s.find(close, pos + 1);
    return end == std::string_view::npos ? s.size() : end + 1;
  }
  if (s.compare(pos, 2, "--") == 0) {
    size_t end = s.find('\n', pos);
    return end == std::string_view::npos ? s.size() : end + 1;
  }
  if (s.compare(pos, 2, "/*") == 0) {
    size_t end = s.find("*/", pos + 2);
    return end == std::string_view::npos ? s.size() : end + 2;
  }
  return pos;
}

}  // namespace zv
