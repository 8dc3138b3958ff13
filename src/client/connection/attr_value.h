// How a numeric attribute reaches the caller: the value in the caller's buffer, a type code and
// a byte length. Shared by the connection's and the result's attribute tables.
#pragma once
#include <cstdint>

// What the caller's buffer holds: a text without a terminator, an int32 or an int64.
enum AttrType : int32_t { ATTR_TEXT = 1, ATTR_INT32 = 2, ATTR_INT64 = 3 };

// The caller's buffer (size bytes) and out-values; type and length may be null.
struct AttrOut {
  void* value;
  int32_t size;
  int32_t* type;
  int32_t* length;
};

// The text a handle keeps when its value would not fit the caller's buffer.
extern const char kAttrBufferTooSmall[];

// Each writes the value with its type and length: 0, or -12 with nothing written when the
// buffer cannot hold the whole value.
int32_t put_attr_int32(const AttrOut* out, int32_t value);
int32_t put_attr_int64(const AttrOut* out, int64_t value);
int32_t put_attr_text(const AttrOut* out, const char* text);
