#include "special_statements.h"

#include <vector>

#include "text_util.h"

namespace zv {
namespace {

bool word_is(const std::vector<std::string_view>& words, size_t i, std::string_view w) {
  return i < words.size() && iequals(words[i], w);
}

// COMMIT, COMMIT WORK, COMMIT TRANSACTION; ROLLBACK TO a savepoint is SQLite's.
bool is_transaction_end(const std::vector<std::string_view>& words, std::string_view verb) {
  if (!word_is(words, 0, verb)) return false;
  return words.size() == 1 || (words.size() == 2 && (word_is(words, 1, "WORK") || word_is(words, 1, "TRANSACTION")));
}

// Position just behind the n-th word (from 0) of `text`.
size_t end_of_word(std::string_view text, size_t n) {
  size_t i = 0;
  for (size_t w = 0; w <= n; ++w) {
    while (i < text.size() && is_space(text[i])) ++i;
    while (i < text.size() && !is_space(text[i])) ++i;
  }
  return i;
}

// Whether the first word of `text` begins one of the statements here. Most texts are plain
// SQL, which this tells apart without splitting the text into words.
bool may_be_special(std::string_view text) {
  static constexpr std::string_view kFirstWords[] = {"SHOW",  "SET",    "COMMIT",  "END",     "ROLLBACK", "DECLARE",
                                                     "OPEN",  "FETCH",  "CLOSE",   "CREATE",  "DROP",     "EXEC",
                                                     "EXECUTE", "PREPARE", "?",    "DEALLOCATE"};
  size_t end = 0;
  while (end < text.size() && !is_space(text[end]) && text[end] != ';') ++end;
  const std::string_view word = text.substr(0, end);
  for (std::string_view first : kFirstWords) {
    if (iequals(word, first)) return true;
  }
  return false;
}

}  // namespace

SpecialStatement recognize_special(std::string_view text) {
  SpecialStatement s;
  if (!may_be_special(text)) return s;
  size_t semicolon = text.find(';');
  std::string_view segment = text.substr(0, semicolon);
  // Five words tell every statement here apart; a long statement is not split further.
  std::vector<std::string_view> words = split_words(segment, 5);
  s.length = semicolon == std::string_view::npos ? text.size() : semicolon + 1;

  if (words.size() == 2 && word_is(words, 0, "SHOW") && word_is(words, 1, "AUTO_COMMIT")) {
    s.kind = SpecialKind::kShowAutoCommit;
  } else if (words.size() == 3 && word_is(words, 0, "SET") && word_is(words, 1, "AUTO_COMMIT") &&
             (word_is(words, 2, "ON") || word_is(words, 2, "OFF"))) {
    s.kind = SpecialKind::kSetAutoCommit;
    s.on = word_is(words, 2, "ON");
  } else if (is_transaction_end(words, "COMMIT") || is_transaction_end(words, "END")) {
    s.kind = SpecialKind::kCommit;
  } else if (is_transaction_end(words, "ROLLBACK")) {
    s.kind = SpecialKind::kRollback;
  } else if (words.size() == 2 && word_is(words, 0, "SHOW") && word_is(words, 1, "VERSION")) {
    s.kind = SpecialKind::kShowVersion;
  } else if (words.size() >= 4 && word_is(words, 0, "DECLARE") && word_is(words, 2, "CURSOR") &&
             word_is(words, 3, "FOR")) {
    s.kind = SpecialKind::kDeclareCursor;
    s.name = upper_case(words[1]);
    s.query_start = end_of_word(text, 3);
  } else if (words.size() == 2 && word_is(words, 0, "OPEN")) {
    s.kind = SpecialKind::kOpenCursor;
    s.name = upper_case(words[1]);
  } else if (words.size() == 4 && word_is(words, 0, "FETCH") && word_is(words, 2, "FROM") &&
             parse_int64(words[1], s.count) && s.count >= 0) {
    s.kind = SpecialKind::kFetchCursor;
    s.name = upper_case(words[3]);
  } else if (words.size() == 2 && word_is(words, 0, "CLOSE")) {
    s.kind = SpecialKind::kCloseCursor;
    s.name = upper_case(words[1]);
  } else if (words.size() >= 2 && word_is(words, 0, "CREATE") && word_is(words, 1, "ROUTINE")) {
    s.kind = SpecialKind::kCreateRoutine;
  } else if (words.size() == 3 && word_is(words, 0, "DROP") && word_is(words, 1, "ROUTINE")) {
    s.kind = SpecialKind::kDropRoutine;
    s.routine = std::string(words[2]);
  } else if (word_is(words, 0, "EXEC") || word_is(words, 0, "EXECUTE")) {
    s.kind = SpecialKind::kCallRoutine;
  } else if (words.size() >= 4 && word_is(words, 0, "PREPARE") && word_is(words, 2, "AS")) {
    // The statement is the rest of the text, ";" and all: it is one statement or none.
    s.kind = SpecialKind::kPrepare;
    s.name = upper_case(words[1]);
    s.query_start = end_of_word(text, 2);
    s.length = text.size();
  } else if (words.size() == 2 && word_is(words, 0, "?")) {
    s.kind = SpecialKind::kRunPrepared;
    s.name = upper_case(words[1]);
  } else if (words.size() == 2 && word_is(words, 0, "DEALLOCATE")) {
    s.kind = SpecialKind::kDeallocate;
    s.name = upper_case(words[1]);
  }
  return s;
}

}  // namespace zv
