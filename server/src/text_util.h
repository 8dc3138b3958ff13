// Small text helpers shared by the statement and login parsers.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace zv {

std::string lower_case(std::string_view s);
std::string upper_case(std::string_view s);
bool iequals(std::string_view a, std::string_view b);
// The first whitespace-separated word of `text` is `word`, in any case.
bool first_word_is(std::string_view text, std::string_view word);
bool ends_with(std::string_view s, std::string_view tail);
bool is_space(char c);
std::string_view trim(std::string_view s);
// Trims, then drops one trailing ";" and what surrounds it.
std::string_view strip_statement_end(std::string_view s);
// Whitespace-separated words, at most `max_words` of them.
std::vector<std::string_view> split_words(std::string_view s, size_t max_words = SIZE_MAX);
// `s` when it has at most `max` bytes, else its first `max` bytes or fewer (a character
// is not cut in two) and "...".
std::string clip(std::string_view s, size_t max);
// End of an SQL literal, quoted name or comment that starts at `pos`, or `pos` when none does.
size_t skip_unparsed(std::string_view s, size_t pos);
// Optional sign and decimal digits, nothing else; false on overflow.
bool parse_int64(std::string_view s, int64_t& out);

}  // namespace zv
