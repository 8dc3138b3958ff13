// The numeric attributes of a held result.
#pragma once
#include <cstdint>
#include "connection/attr_value.h"
#include "results/result_record.h"
#include "results/smart_cursor.h"

// Attribute number attribute of result into out: 0; -3 with a text on the result for a number it
// does not know; -12 with a text when the value does not fit the caller's buffer.
int32_t result_get_attr(ResultRecord* result, int32_t attribute, const AttrOut* out);
// The same numbers on a smart cursor's block in hand, but for 64, which gives the cursor's kind,
// and 66, which a cursor does not answer; -3 without a block. The texts of -3 and -12 go to the
// cursor's error, where ZVC_GetErrorText on the cursor's handle reads them.
int32_t smart_get_attr(SmartCursor* cursor, int32_t attribute, const AttrOut* out);
