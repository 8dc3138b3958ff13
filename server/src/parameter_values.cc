#include "parameter_values.h"

#include <cstring>

#include "calendar.h"
#include "type_codes.h"

namespace zv {
namespace {

struct FixedWidth {
  int32_t code;
  const char* name;
  size_t width;
};

// The types whose values have one size on the wire.
constexpr FixedWidth kFixedWidths[] = {
    {kBool, "BOOLEAN", 1}, {kTinyInt, "TINYINT", 1}, {kSmallInt, "SMALLINT", 2}, {kInteger, "INTEGER", 4},
    {kBigInt, "BIGINT", 8}, {kFloat, "FLOAT", 4},     {kDouble, "DOUBLE", 8},     {kDateTime, "DATETIME", 8},
};

bool has_fixed_width(const ParameterValue& v, std::string& error) {
  for (const FixedWidth& f : kFixedWidths) {
    if (f.code != v.type || f.width == v.bytes.size()) continue;
    error = std::string("a value of type ") + f.name + " takes " + std::to_string(f.width) + " bytes, not " +
            std::to_string(v.bytes.size());
    return false;
  }
  return true;
}

// The big-endian integer of 1 to 8 bytes, sign-extended.
int64_t signed_be(std::string_view b) {
  uint64_t v = 0;
  for (char c : b) v = (v << 8) | static_cast<uint8_t>(c);
  const unsigned unused = 64 - 8 * static_cast<unsigned>(b.size());
  return static_cast<int64_t>(v << unused) >> unused;
}

// A boolean travels as the byte 0 or 1, or as the letter "F" or "T" that a result carries.
bool read_truth(char c, int& out) {
  out = c == 1 || c == 'T';
  return out || c == 0 || c == 'F';
}

int bind_text(sqlite3_stmt* stmt, int index, std::string_view text) {
  return sqlite3_bind_text64(stmt, index, text.data(), text.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
}

}  // namespace

// Values are copied into the statement (SQLITE_TRANSIENT): a cursor's statement outlives
// the command that brought them.
bool bind_value(sqlite3_stmt* stmt, int index, const ParameterValue& v, std::string& error) {
  if (!v.null && !has_fixed_width(v, error)) return false;
  const std::string_view b = v.bytes;
  int rc = SQLITE_OK;
  if (v.null) {
    rc = sqlite3_bind_null(stmt, index);
  } else if (v.type == kBool) {
    int truth;
    if (!read_truth(b[0], truth)) {
      error = "a BOOLEAN value is the byte 0, 1, 'F' or 'T'";
      return false;
    }
    rc = sqlite3_bind_int(stmt, index, truth);
  } else if (v.type == kTinyInt || v.type == kSmallInt || v.type == kInteger || v.type == kBigInt) {
    rc = sqlite3_bind_int64(stmt, index, signed_be(b));
  } else if (v.type == kFloat) {
    auto bits = static_cast<uint32_t>(signed_be(b));
    float f;
    std::memcpy(&f, &bits, sizeof f);
    rc = sqlite3_bind_double(stmt, index, f);
  } else if (v.type == kDouble) {
    auto bits = static_cast<uint64_t>(signed_be(b));
    double d;
    std::memcpy(&d, &bits, sizeof d);
    rc = sqlite3_bind_double(stmt, index, d);
  } else if (v.type == kDateTime) {
    std::string text;
    if (!datetime_text(signed_be(b), text)) {
      error = "a DATETIME value outside the years 1 to 9999";
      return false;
    }
    rc = bind_text(stmt, index, text);
  } else if (v.type == kBinary || v.type == kBlob) {
    rc = sqlite3_bind_blob64(stmt, index, b.data(), b.size(), SQLITE_TRANSIENT);
  } else {
    rc = bind_text(stmt, index, b);
  }
  if (rc != SQLITE_OK) error = sqlite3_errstr(rc);
  return rc == SQLITE_OK;
}

}  // namespace zv
