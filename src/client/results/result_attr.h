// The numeric attributes of a held result.
#pragma once
#include <cstdint>
#include "connection/attr_value.h"
#include "results/result_record.h"

// Attribute number attribute of result into out: 0; -3 with a text on the result for a number it
// does not know; -12 with a text when the value does not fit the caller's buffer.
int32_t result_get_attr(ResultRecord* result, int32_t attribute, const AttrOut* out);
