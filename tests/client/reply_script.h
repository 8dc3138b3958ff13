// Builders for scripted server replies: field descriptions, rows and the command message.
#pragma once
#include <string>
#include <vector>

#include "peer.h"

// name as "table.name%alias"
inline std::string field_desc(const std::string& name, int32_t type, int32_t size = 0, int32_t detail = 0) {
  return wire_str(name) + be32(type) + be32(size) + be32(detail);
}
inline std::string result_head(const std::vector<std::string>& descs) {
  std::string out = "A" + be32(static_cast<int32_t>(descs.size()));
  for (const std::string& d : descs) out += d;
  return out;
}
inline std::string int_field(int32_t v) { return be32(4) + be32(v); }
inline std::string null_field() { return be32(0); }
// n rows of one TC_INTEGER column holding first, first+1, ...
inline std::string int_rows(int n, int32_t first = 0) {
  std::string out;
  for (int i = 0; i < n; i++) out += "R" + int_field(first + i);
  return out;
}
// The command message of a statement without parameters, as the client writes it.
inline std::string command_bytes(const std::string& sql, int32_t word = 0) {
  return "?" + be32(static_cast<int32_t>(sql.size())) + sql + std::string(1, '\0') + be32(word);
}
