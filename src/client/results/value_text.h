// Text forms of stored values, shared by field reads and by the scalar renderer.
#pragma once
#include <cstdint>
#include <cstring>

enum { VALUE_TEXT_SIZE = 64 };

// Stored values lie unaligned inside a row: read them byte-wise.
inline int16_t load_i16(const uint8_t* v) {
  int16_t n;
  memcpy(&n, v, sizeof n);
  return n;
}
inline int32_t load_i32(const uint8_t* v) {
  int32_t n;
  memcpy(&n, v, sizeof n);
  return n;
}
inline int64_t load_i64(const uint8_t* v) {
  int64_t n;
  memcpy(&n, v, sizeof n);
  return n;
}
inline float load_f32(const uint8_t* v) {
  float f;
  memcpy(&f, v, sizeof f);
  return f;
}
inline double load_f64(const uint8_t* v) {
  double f;
  memcpy(&f, v, sizeof f);
  return f;
}

// The signed integer of a stored TC_BOOL, TC_TINYINT, TC_SMALLINT, TC_INTEGER or TC_BIGINT.
int64_t load_integer(int32_t type, const uint8_t* v);

// Renders a stored value of type into buff (VALUE_TEXT_SIZE bytes, zeroed by the caller): numbers,
// dates, times, zone texts and intervals. Types without such a form leave buff empty; so does a zone
// value shorter than its stored form.
void render_value_text(int32_t type, const uint8_t* v, int32_t len, char* buff);
