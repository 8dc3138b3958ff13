// The ResultRecord behind a caller's handle, for the calls that read a held result.
#pragma once
#include "results/result_record.h"

// The record when the handle holds a result, else null (no handle, or another kind).
inline ResultRecord* result_of(void** handle) {
  if (!handle || !*handle) return nullptr;
  ResultRecord* result = static_cast<ResultRecord*>(*handle);
  return result->kind == HT_RESULT ? result : nullptr;
}

// The description of column (counted from 1), or null when the number is out of range.
inline const FieldDesc* column_of(const ResultRecord* result, int32_t column) {
  if (column < 1 || column > result->field_count || !result->fields) return nullptr;
  return &result->fields[column - 1];
}

// What callers see as a column's name: its alias when it has one.
inline const char* column_label(const FieldDesc* field) { return field->alias ? field->alias : field->name; }
