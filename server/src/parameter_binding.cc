#include "parameter_binding.h"

#include <vector>

#include "parameter_values.h"
#include "text_util.h"

namespace zv {
namespace {

std::string placeholder_label(sqlite3_stmt* stmt, int index) {
  const char* name = sqlite3_bind_parameter_name(stmt, index);
  return name ? name : "?" + std::to_string(index);
}

}  // namespace

int placeholder_index(sqlite3_stmt* stmt, std::string_view name) {
  const int count = sqlite3_bind_parameter_count(stmt);
  for (int i = 1; i <= count; ++i) {
    const char* p = sqlite3_bind_parameter_name(stmt, i);
    if (p && !name.empty() && (iequals(p, name) || iequals(p + 1, name))) return i;
  }
  return 0;
}

bool bind_row(sqlite3_stmt* stmt, const Parameters& params, size_t row, std::string& error) {
  const int placeholders = sqlite3_bind_parameter_count(stmt);
  if (params.count() != static_cast<size_t>(placeholders)) {
    error = "[E10003]the statement has " + std::to_string(placeholders) + " placeholders, " +
            std::to_string(params.count()) + " parameters were sent";
    return false;
  }
  std::vector<bool> filled(static_cast<size_t>(placeholders) + 1);
  for (size_t i = 0; i < params.count(); ++i) {
    const ParameterRecord& r = params.records[i];
    const std::string which = "[E10003]parameter " + std::to_string(i + 1);
    if (r.direction == 0) {
      // A slot the client jumped over when it bound a later position.
      error = which + " was left without a value";
      return false;
    }
    if (r.direction != kIn) {
      error = which + " has direction " + std::to_string(r.direction) + ": only a routine call takes outputs";
      return false;
    }
    const int index = r.name.empty() ? static_cast<int>(i) + 1 : placeholder_index(stmt, r.name);
    if (index == 0) {
      error = "[E10003]no placeholder is named " + r.name;
      return false;
    }
    if (filled[static_cast<size_t>(index)]) {
      error = "[E10003]placeholder " + placeholder_label(stmt, index) + " gets two values";
      return false;
    }
    filled[static_cast<size_t>(index)] = true;
    if (!bind_value(stmt, index, params.value(row, i), error)) {
      error = which + ": " + error;
      return false;
    }
  }
  return true;
}

}  // namespace zv
