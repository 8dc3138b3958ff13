// Known-answer vector files and the hex they are written in.
#pragma once
#include <nlohmann/json.hpp>

#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

// The parsed file from the vectors folder; null when it cannot be read.
inline nlohmann::json vector_file(const std::string& name) {
  std::ifstream in(std::string(ZV_VECTORS_DIR) + "/" + name);
  return nlohmann::json::parse(in, nullptr, false);
}

inline std::vector<uint8_t> from_hex(const std::string& hex) {
  std::vector<uint8_t> out;
  for (size_t i = 0; i + 1 < hex.size(); i += 2) out.push_back(static_cast<uint8_t>(std::stoul(hex.substr(i, 2), nullptr, 16)));
  return out;
}

inline std::string to_hex(const uint8_t* p, size_t n) {
  static const char digits[] = "0123456789abcdef";
  std::string out;
  for (size_t i = 0; i < n; ++i) {
    out += digits[p[i] >> 4];
    out += digits[p[i] & 15];
  }
  return out;
}
