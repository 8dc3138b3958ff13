// Turning one stored field of the current row into what a caller asks for.
#pragma once
#include <cstdint>
#include "results/result_record.h"

int32_t field_to_value(void** handle, int32_t column, int32_t ctype, void* buffer, int32_t buffer_len,
                       int32_t* out_len);
// The value bytes of field index (from 0) of row: null for a null field.
const uint8_t* field_bytes(const uint8_t* row, const FieldDesc* fields, int32_t index, int32_t* len_out);
// Renders field 0 of the row at row_cursor into value_buf (cap bytes, always terminated); *cut_out
// is 1 when the value had to be cut to fit. Always returns 1.
int32_t field_to_text(ResultRecord* result, uint8_t* value_buf, int32_t cap, int32_t* cut_out);
void double_to_text(char* buffer, double value);

// The forms of field_to_value that copy a value into the caller's buffer. v and len are the stored
// value as field_bytes gives it; each returns 0, -12 or -13 and sets *out_len as field_to_value does.
// CType 2 and 10 to 14: the value's text.
int32_t text_rule(int32_t type, const uint8_t* v, int32_t len, char* buffer, int32_t buffer_len, int32_t* out_len);
// CType 15: binary into a bounded buffer, without terminator.
int32_t binary_copy(int32_t type, const uint8_t* v, int32_t len, uint8_t* buffer, int32_t buffer_len,
                    int32_t* out_len);
// CType 18: the next piece from the offset in *out_len; -18 when that offset lies past the end.
int32_t piece_copy(int32_t type, const uint8_t* v, int32_t len, uint8_t* buffer, int32_t buffer_len,
                   int32_t* out_len);
