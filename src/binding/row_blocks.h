// A whole result's rows to row objects by blocks: the values are converted here, a block at a
// time, and the objects are made in script by an object literal of the result's shape, which
// gives each row its properties in the object itself, the cheapest row to make, keep and read.
// The script that does it is written here for each shape and uses nothing of the script's
// globals or prototypes, so that no change a script makes to them can bend a row.
#pragma once
#include <node.h>

#include "binding/row_values.h"

namespace zvdbms {

// The current row and every one behind it, keyed by ctx->names, into a new array in *rows.
// Returns the ZVC_NextRow code that ended the rows (ZV_NO_MORE at the end of the result, below 0
// when a block could not be fetched), or 0 when a row could not be read: the rows before it are
// in *rows and "Error" says why, as row_to_object does.
int32_t read_rows(RowContext* ctx, int32_t count, v8::Local<v8::Array>* rows);

}  // namespace zvdbms
