// SQLite's grammar takes no "TO" inside a type name, so "INTERVAL DAY TO SECOND" in a
// column definition or a CAST is a syntax error there. Quoted, the same words are a valid
// type name whose declared type SQLite reports without the quotes.
#pragma once

#include <string>
#include <string_view>

namespace zv {

// True when the text may hold such a type (it mentions "interval" at all).
bool may_hold_interval_type(std::string_view sql);
// Wraps every "INTERVAL <unit>[(p)] TO <unit>[(p)]" outside literals and comments in
// double quotes.
std::string quote_interval_types(std::string_view sql);

}  // namespace zv
