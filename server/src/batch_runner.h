// An array batch: one statement that changes rows, run once for each row of parameters.
#pragma once

#include <sqlite3.h>

#include <string_view>

#include "parameters.h"
#include "reply_writer.h"

namespace zv {

// Runs `stmt` for every row of `params` inside one savepoint and answers one record: "D"
// and the rows deleted for a DELETE, else "U" and the rows changed. When row k fails, the
// savepoint is rolled back, so no row of the batch stays, and the "E" names the row
// ("row k of the batch", counted from 1). False on a failure.
bool run_batch(sqlite3* db, sqlite3_stmt* stmt, std::string_view verb, const Parameters& params, ReplyWriter& out);

}  // namespace zv
