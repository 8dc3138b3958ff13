// Turning one stored field of the current row into what a caller asks for.
#pragma once
#include <cstdint>
#include "results/result_record.h"

int32_t field_to_value(void** handle, int32_t column, int32_t ctype, void* buffer, int32_t buffer_len,
                       int32_t* out_len);
// The value bytes of field index (from 0) of row: null for a null field.
const uint8_t* field_bytes(const uint8_t* row, const FieldDesc* fields, int32_t index, int32_t* len_out);
// Renders field 0 of the row at row_cursor into value_buf (scalar replies). Always returns 1.
int32_t field_to_text(ResultRecord* result, uint8_t* value_buf, int32_t* long_form_out);
void double_to_text(char* buffer, double value);
