// The project's known-answer vectors, read from tests/vectors.
#pragma once

#include <fstream>
#include <nlohmann/json.hpp>
#include <string>

#include "exchange_key.h"

namespace zvtest {

inline nlohmann::json load_vectors(const std::string& name) {
  std::ifstream in(std::string(ZV_VECTORS_DIR) + "/" + name);
  return nlohmann::json::parse(in);
}

// Bytes as lower-case hex, two digits each.
inline std::string to_hex(const void* data, size_t n) {
  static const char kDigits[] = "0123456789abcdef";
  std::string out;
  for (size_t i = 0; i < n; ++i) {
    auto b = static_cast<const unsigned char*>(data)[i];
    out += kDigits[b >> 4];
    out += kDigits[b & 15];
  }
  return out;
}

inline std::string from_hex(const std::string& hex) {
  std::string out;
  for (size_t i = 0; i + 1 < hex.size(); i += 2) out += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
  return out;
}

// A 256-bit number's image from its 64 hex digits, least significant byte first.
inline zv::Block block_from_hex(const std::string& hex) {
  zv::Block b{};
  std::string bytes = from_hex(hex);
  std::copy(bytes.begin(), bytes.begin() + std::min(bytes.size(), b.size()), b.begin());
  return b;
}

}  // namespace zvtest
