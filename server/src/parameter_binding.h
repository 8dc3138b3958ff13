// Which placeholder of a statement each parameter of a command fills.
#pragma once

#include <sqlite3.h>

#include <string>
#include <string_view>

#include "parameters.h"

namespace zv {

// Binds row `row` of `params`: a parameter with a name fills the placeholder of that name
// (":name", "@name" or "$name", case ignored), one without fills the placeholder of its own
// position. False with an "[E10003]" text in `error` when the count differs from the
// statement's placeholders, a name matches none, a placeholder would get two values, a
// parameter is not an input or its value cannot be bound.
bool bind_row(sqlite3_stmt* stmt, const Parameters& params, size_t row, std::string& error);

// The index (from 1) of the placeholder named `name`, with or without its mark; 0 when
// there is none.
int placeholder_index(sqlite3_stmt* stmt, std::string_view name);

}  // namespace zv
