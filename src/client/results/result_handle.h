// The ResultRecord behind a caller's handle, for the calls that read a held result.
#pragma once
#include "results/result_record.h"
#include "results/smart_cursor.h"

// The record when the handle holds a result, or the block in hand of a smart cursor; else null
// (no handle, another kind, or a cursor whose refill failed).
inline ResultRecord* result_of(void** handle) {
  if (!handle || !*handle) return nullptr;
  int32_t kind = *static_cast<int32_t*>(*handle);
  if (kind == HT_SMART_CURSOR) return static_cast<SmartCursor*>(*handle)->result;
  return kind == HT_RESULT ? static_cast<ResultRecord*>(*handle) : nullptr;
}

// The cursor when the handle holds one, else null.
inline SmartCursor* smart_cursor_of(void** handle) {
  if (!handle || !*handle || *static_cast<int32_t*>(*handle) != HT_SMART_CURSOR) return nullptr;
  return static_cast<SmartCursor*>(*handle);
}

// The description of column (counted from 1), or null when the number is out of range.
inline const FieldDesc* column_of(const ResultRecord* result, int32_t column) {
  if (column < 1 || column > result->field_count || !result->fields) return nullptr;
  return &result->fields[column - 1];
}

// What callers see as a column's name: its alias when it has one.
inline const char* column_label(const FieldDesc* field) { return field->alias ? field->alias : field->name; }
