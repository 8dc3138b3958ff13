#include "routine_definition.h"

#include <cctype>

#include "parameters.h"
#include "text_util.h"

namespace zv {
namespace {

constexpr const char* kSyntax =
    "[E10009]a routine is defined as CREATE ROUTINE name(p1 IN type, p2 OUT type, p3 INOUT type, ...) "
    "[RETURNS type] AS 'sql'";

bool is_name_char(char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '_'; }

bool is_name(std::string_view s) {
  if (s.empty() || std::isdigit(static_cast<unsigned char>(s[0]))) return false;
  for (char c : s) {
    if (!is_name_char(c)) return false;
  }
  return true;
}

// Reads a definition from left to right.
class Scanner {
 public:
  explicit Scanner(std::string_view s) : s_(s) {}

  size_t pos() const { return pos_; }
  void skip_space() {
    while (pos_ < s_.size() && is_space(s_[pos_])) ++pos_;
  }
  std::string_view name() {
    skip_space();
    size_t start = pos_;
    while (pos_ < s_.size() && is_name_char(s_[pos_])) ++pos_;
    return s_.substr(start, pos_ - start);
  }
  bool keyword(std::string_view word) {
    size_t start = pos_;
    if (iequals(name(), word)) return true;
    pos_ = start;
    return false;
  }
  // The text inside balanced parentheses, the scanner standing at the "(".
  bool group(std::string& out) {
    skip_space();
    if (pos_ >= s_.size() || s_[pos_] != '(') return false;
    int depth = 0;
    for (size_t start = pos_; pos_ < s_.size(); ++pos_) {
      depth += s_[pos_] == '(' ? 1 : s_[pos_] == ')' ? -1 : 0;
      if (depth == 0) {
        out = std::string(s_.substr(start + 1, pos_++ - start - 1));
        return true;
      }
    }
    return false;
  }
  // The words up to the keyword `end`, which is taken too.
  bool words_until(std::string_view end, std::string& out) {
    size_t start = pos_;
    for (;;) {
      skip_space();
      size_t word_start = pos_;
      while (pos_ < s_.size() && !is_space(s_[pos_])) ++pos_;
      std::string_view word = s_.substr(word_start, pos_ - word_start);
      if (word.empty()) return false;
      if (iequals(word, end)) {
        out = std::string(trim(s_.substr(start, word_start - start)));
        return !out.empty();
      }
    }
  }
  // A quoted literal: '...' with '' for a quote inside.
  bool literal(std::string& out) {
    skip_space();
    if (pos_ >= s_.size() || s_[pos_] != '\'') return false;
    for (++pos_; pos_ < s_.size(); ++pos_) {
      if (s_[pos_] != '\'') {
        out += s_[pos_];
      } else if (pos_ + 1 < s_.size() && s_[pos_ + 1] == '\'') {
        out += s_[++pos_];
      } else {
        ++pos_;
        return true;
      }
    }
    return false;
  }
  // The end of the text or of the statement, whose ";" is taken.
  bool end() {
    skip_space();
    if (pos_ == s_.size()) return true;
    if (s_[pos_] != ';') return false;
    ++pos_;
    return true;
  }

 private:
  std::string_view s_;
  size_t pos_ = 0;
};

// Splits at the commas that stand outside parentheses, as in "a IN NUMERIC(10, 2), b OUT INT".
std::vector<std::string_view> split_list(std::string_view s) {
  std::vector<std::string_view> items;
  int depth = 0;
  size_t start = 0;
  for (size_t i = 0; i < s.size(); ++i) {
    depth += s[i] == '(' ? 1 : s[i] == ')' ? -1 : 0;
    if (s[i] == ',' && depth == 0) {
      items.push_back(trim(s.substr(start, i - start)));
      start = i + 1;
    }
  }
  if (!trim(s).empty()) items.push_back(trim(s.substr(start)));
  return items;
}

// A declared type; an INTERVAL x TO y type comes in the double quotes the server put
// around it before SQLite saw the text.
bool read_type(std::string_view text, ColumnType& out, std::string& error) {
  std::string unquoted;
  for (char c : text) {
    if (c != '"') unquoted += c;
  }
  out = type_from_declared(unquoted.c_str());
  if (out.code != kUndeclared) return true;
  error = "[E10009]unknown type " + std::string(text) + " in a routine";
  return false;
}

bool read_mode(std::string_view word, int16_t& mode) {
  if (iequals(word, "IN")) mode = kIn;
  else if (iequals(word, "OUT")) mode = kOut;
  else if (iequals(word, "INOUT")) mode = kInOut;
  else return false;
  return true;
}

bool read_parameter(std::string_view item, const Routine& so_far, RoutineParameter& out, std::string& error) {
  Scanner in(item);
  std::string_view name = in.name(), mode = in.name();
  std::string_view type = trim(item.substr(in.pos()));
  if (!is_name(name) || !read_mode(mode, out.mode) || type.empty()) {
    error = "[E10009]a routine parameter is written as: name IN|OUT|INOUT type, not " + std::string(item);
    return false;
  }
  out.name = std::string(name);
  for (const RoutineParameter& p : so_far.parameters) {
    if (iequals(p.name, out.name)) {
      error = "[E10009]a routine has two parameters named " + out.name;
      return false;
    }
  }
  return read_type(type, out.type, error);
}

}  // namespace

bool parse_routine_definition(std::string_view text, RoutineText& out, size_t& length, std::string& error) {
  Scanner in(text);
  std::string_view name;
  bool good = in.keyword("CREATE") && in.keyword("ROUTINE") && is_name(name = in.name()) && in.group(out.parameters);
  if (good) {
    out.name = upper_case(name);
    in.skip_space();
    good = in.keyword("RETURNS") ? in.words_until("AS", out.returns) : in.keyword("AS");
  }
  if (!good || !in.literal(out.body) || !in.end()) {
    error = kSyntax;
    return false;
  }
  length = in.pos();
  Routine check;
  return parse_routine(out, check, error);
}

bool parse_routine(const RoutineText& text, Routine& out, std::string& error) {
  for (std::string_view item : split_list(text.parameters)) {
    RoutineParameter p;
    if (!read_parameter(item, out, p, error)) return false;
    out.parameters.push_back(std::move(p));
  }
  out.returns_value = !text.returns.empty();
  if (out.returns_value && !read_type(text.returns, out.returns, error)) return false;
  out.body = text.body;
  return true;
}

}  // namespace zv
