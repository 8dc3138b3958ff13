// A whole result's rows to row objects by blocks: the values are converted here, a block at a
// time, and the objects are made in script by an object literal of the result's shape, which
// gives each row its properties in the object itself, the cheapest row to make, keep and read.
#pragma once
#include <node.h>

#include "binding/row_values.h"

namespace zvdbms {

// Appends the current row and every one behind it to `out`, keyed by ctx->names. Returns the
// ZVC_NextRow code that ended the rows (ZV_NO_MORE at the end of the result), or 0 when a row
// could not be read: the rows before it are in `out` and "Error" says why, as row_to_object does.
int32_t append_rows(RowContext* ctx, int32_t count, v8::Local<v8::Array> out);

}  // namespace zvdbms
