// The proleptic Gregorian calendar of the wire's date and time values.
#pragma once
#include <cstdint>

// p_t: year, month, day, hour, minute, second, millisecond.
void ms_to_datetime(int64_t ms, int32_t p_t[7]);
// p_time: hour, minute, second, millisecond.
void ms_to_time(int32_t ms, int32_t p_time[4]);
// p_date: year, month, day.
void days_to_date(int32_t days, int32_t p_date[3]);
// "%04d-%02d-%02d %02d:%02d:%02d"; buffer of at least 64 bytes.
void datetime_to_text(int64_t ms, char* buffer);
