// One parameter value bound to a placeholder as the SQLite value its type stands for.
#pragma once

#include <sqlite3.h>

#include <string>

#include "parameters.h"

namespace zv {

// Integers and BOOLEAN (0/1) as integers, FLOAT and DOUBLE as reals, DATETIME as its
// canonical text, BINARY and BLOB as blobs, every other type as text. False, with the
// reason in `error`, when the value has not its type's form or SQLite refuses it.
bool bind_value(sqlite3_stmt* stmt, int index, const ParameterValue& value, std::string& error);

}  // namespace zv
