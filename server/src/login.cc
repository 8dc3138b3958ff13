#include "login.h"

#include <cctype>
#include <cstdlib>

#include "text_util.h"

namespace zv {
namespace {

constexpr std::string_view kVersionClause = " version = '";
constexpr std::string_view kCipherIntro = "~ssl~";

struct Clause {
  std::string key;
  std::string value;
};

class ClauseScanner {
 public:
  explicit ClauseScanner(std::string_view text) : text_(text) {}

  bool at_end() {
    skip_blanks();
    return pos_ >= text_.size();
  }

  // key, blanks, "=", blanks, then a quoted or a bare value.
  bool next(Clause& out) {
    skip_blanks();
    size_t start = pos_;
    while (pos_ < text_.size() && (std::isalnum(static_cast<unsigned char>(text_[pos_])) || text_[pos_] == '_')) ++pos_;
    if (pos_ == start) return false;
    out.key = lower_case(text_.substr(start, pos_ - start));
    skip_blanks();
    if (pos_ >= text_.size() || text_[pos_] != '=') return false;
    ++pos_;
    skip_blanks();
    return value(out.value);
  }

 private:
  void skip_blanks() {
    while (pos_ < text_.size() && text_[pos_] == ' ') ++pos_;
  }

  bool value(std::string& out) {
    if (pos_ < text_.size() && text_[pos_] == '\'') {
      size_t close = text_.find('\'', pos_ + 1);
      if (close == std::string_view::npos) return false;
      out = std::string(text_.substr(pos_ + 1, close - pos_ - 1));
      pos_ = close + 1;
      return true;
    }
    size_t end = text_.find(' ', pos_);
    if (end == std::string_view::npos) end = text_.size();
    std::string_view token = text_.substr(pos_, end - pos_);
    // An empty bare value: what follows is already the next clause.
    if (token.find('=') != std::string_view::npos) {
      out.clear();
      return true;
    }
    out = std::string(token);
    pos_ = end;
    return true;
  }

  std::string_view text_;
  size_t pos_ = 0;
};

bool is_on(const std::string& value) { return lower_case(value) == "on"; }

void apply(const Clause& c, LoginRequest& out) {
  if (c.key == "database") out.database = c.value;
  else if (c.key == "user") out.user = c.value;
  else if (c.key == "password") out.password = c.value;
  else if (c.key == "char_set") out.char_set = c.value;
  else if (c.key == "iso_level") out.iso_level = c.value;
  else if (c.key == "current_schema") out.current_schema = c.value;
  else if (c.key == "compatible_mode") out.compatible_mode = c.value;
  else if (c.key == "keyword_filter") out.keyword_filter = c.value;
  else if (c.key == "lock_timeout") out.lock_timeout = std::strtol(c.value.c_str(), nullptr, 10);
  else if (c.key == "auto_commit") out.auto_commit = !(lower_case(c.value) == "off");
  else if (c.key == "return_cursor_id") out.return_cursor_id = is_on(c.value);
  else if (c.key == "lob_ret") out.lob_descriptors = lower_case(c.value) == "descriptor";
  else if (c.key == "version") out.version = c.value;
  // Clauses this server does not know are passed over.
}

}  // namespace

// Only a quote can open the version's value or close it, so the text is looked at for
// each quote alone, and only at its end: the work stays in proportion to the text.
LoginTextRead read_login_text(SocketReader& in, size_t max, std::string& text) {
  bool in_version_value = false;
  for (;;) {
    if (text == kCipherIntro) return LoginTextRead::kEnciphered;
    if (text.size() >= max) return LoginTextRead::kTooLong;
    int b = in.byte();
    if (b < 0) return LoginTextRead::kEnded;
    text += static_cast<char>(b);
    if (b != '\'') continue;
    if (ends_with(text, kVersionClause)) {
      in_version_value = true;
    } else if (in_version_value) {
      return LoginTextRead::kComplete;
    }
  }
}

bool parse_login(std::string_view text, LoginRequest& out, std::string& error) {
  constexpr std::string_view kHead = "login ";
  if (text.substr(0, kHead.size()) != kHead) {
    error = "not a login text";
    return false;
  }
  ClauseScanner scanner(text.substr(kHead.size()));
  bool saw_database = false;
  while (!scanner.at_end()) {
    Clause c;
    if (!scanner.next(c)) {
      error = "malformed login clause";
      return false;
    }
    saw_database = saw_database || c.key == "database";
    apply(c, out);
  }
  if (!saw_database) {
    error = "login text without a database clause";
    return false;
  }
  return true;
}

}  // namespace zv
