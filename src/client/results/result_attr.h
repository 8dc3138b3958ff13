// The numeric attributes of a held result.
#pragma once
#include <cstdint>
#include "results/result_record.h"

// Attribute number attribute of result into value_out (value_size bytes), with its type code and
// length; -3 with a text on the result for a number it does not know.
int32_t result_get_attr(ResultRecord* result, int32_t attribute, void* value_out, int32_t value_size, int32_t* type_out,
                        int32_t* length_out);
