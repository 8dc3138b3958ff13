// Calls of routines, "EXEC name(?, ?, ?)" or "EXECUTE name(...)", answered with the return
// value ("O") and the output parameters ("P").
#pragma once

#include <sqlite3.h>

#include <string_view>

#include "parameters.h"
#include "reply_writer.h"

namespace zv {

// Runs the routine's body with the call's IN and INOUT values bound to its placeholders
// of their names, then writes "O" (type, length, value) for the return value and "P"
// (parameter index from 0, type, length, value) for each OUT and INOUT parameter, taken
// from the body's first row in that order: the parameters first, the return value last.
// A null goes out with length 0. False when the call failed; its "E" is written.
bool call_routine(sqlite3* db, std::string_view call, const Parameters& params, ReplyWriter& out);

}  // namespace zv
