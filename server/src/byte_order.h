// Big-endian (network order) packing of the integers and floats of the wire.
#pragma once

#include <cstdint>
#include <cstring>

namespace zv {

inline void store_be16(char* p, uint16_t v) {
  p[0] = static_cast<char>(v >> 8);
  p[1] = static_cast<char>(v);
}

inline void store_be32(char* p, uint32_t v) {
  for (int i = 3; i >= 0; --i, v >>= 8) p[i] = static_cast<char>(v);
}

inline void store_be64(char* p, uint64_t v) {
  for (int i = 7; i >= 0; --i, v >>= 8) p[i] = static_cast<char>(v);
}

inline uint16_t load_be16(const char* p) {
  return static_cast<uint16_t>((static_cast<uint8_t>(p[0]) << 8) | static_cast<uint8_t>(p[1]));
}

inline uint32_t load_be32(const char* p) {
  uint32_t v = 0;
  for (int i = 0; i < 4; ++i) v = (v << 8) | static_cast<uint8_t>(p[i]);
  return v;
}

inline uint64_t load_be64(const char* p) {
  uint64_t v = 0;
  for (int i = 0; i < 8; ++i) v = (v << 8) | static_cast<uint8_t>(p[i]);
  return v;
}

inline uint32_t float_bits(float f) {
  uint32_t u;
  std::memcpy(&u, &f, sizeof u);
  return u;
}

inline uint64_t double_bits(double d) {
  uint64_t u;
  std::memcpy(&u, &d, sizeof u);
  return u;
}

}  // namespace zv
