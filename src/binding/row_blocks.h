// Row objects from blocks of values, for both faces: the objects are made in script by an
// object literal of the result's shape, which gives each row its properties in the object
// itself, the cheapest row to make, keep and read. The script that does it is written here for
// each shape and uses nothing of the script's globals or prototypes, so that no change a script
// makes to them can bend a row.
#pragma once
#include <node.h>

#include <vector>

#include "binding/row_values.h"

namespace zvdbms {

// The builder of the rows keyed by names, compiled at the first use of its shape. False when
// there are no names, or our text could not be compiled (no memory left for it).
bool shape_builder(v8::Isolate* isolate, v8::Local<v8::Context> context, const std::vector<v8::Local<v8::Name>>& names,
                   v8::Local<v8::Function>* out);
// The values of whole rows, width to a row, made into a new array of row objects by build.
// Empty when the builder threw (no memory left).
v8::Local<v8::Array> build_rows(v8::Local<v8::Context> context, v8::Local<v8::Function> build,
                                std::vector<v8::Local<v8::Value>>* values, size_t width);

// The current row and every one behind it, keyed by ctx->names, into a new array in *rows.
// Returns the ZVC_NextRow code that ended the rows (ZV_NO_MORE at the end of the result, below 0
// when a block could not be fetched), or 0 when a row could not be read: the rows before it are
// in *rows and "Error" says why, as row_to_object does.
int32_t read_rows(RowContext* ctx, int32_t count, v8::Local<v8::Array>* rows);

}  // namespace zvdbms
