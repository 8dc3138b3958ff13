// The numeric attributes of a connection.
#pragma once
#include <cstdint>
#include "connection/attr_value.h"
#include "connection/conn_record.h"

// Attribute number attribute of conn into out: 0, or a negative code with error_text set (-3 for
// a number it does not know, -12 for a buffer too small, a failed exchange's own code for 1).
int32_t conn_get_attr(ConnRecord* conn, int32_t attribute, const AttrOut* out);
// Sets attribute number attribute from the value_size bytes at value: 0, or a negative code with
// error_text set (-3 for a number that cannot be set, -12 for a value shorter than its type).
int32_t conn_set_attr(ConnRecord* conn, int32_t attribute, const void* value, int32_t value_size);
