// Parameter records behind a command. The input's first four bytes are the command's
// parameter word (big-endian), its fifth byte says whether packed values have a type byte
// (a newer client's form), and the rest are the bytes that follow the word. Every row that
// is read whole is bound to a statement of as many placeholders.
#include <string>

#include "byte_order.h"
#include "parameter_binding.h"
#include "parameter_reader.h"
#include "socket_input.h"
#include "sqlite_handles.h"

namespace {

// Statements of up to this many placeholders are made; more would only cost time.
constexpr size_t kMaxBound = 64;

sqlite3* database() {
  static sqlite3* db = [] {
    sqlite3* raw = nullptr;
    sqlite3_open(":memory:", &raw);
    return raw;
  }();
  return db;
}

void bind_every_row(const zv::Parameters& params) {
  std::string sql = "SELECT 1";
  for (size_t i = 0; i < params.count(); ++i) sql += ", ?";
  sqlite3_stmt* raw = nullptr;
  sqlite3_prepare_v2(database(), sql.c_str(), -1, &raw, nullptr);
  zv::StmtPtr stmt(raw);
  std::string error;
  for (size_t row = 0; row < params.rows(); ++row) {
    sqlite3_clear_bindings(raw);
    if (zv::bind_row(raw, params, row, error) != error.empty()) __builtin_trap();
    error.clear();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 5 || size > zvfuzz::kMaxInput) return 0;
  const uint32_t word = zv::load_be32(reinterpret_cast<const char*>(data));
  const bool type_byte = (data[4] & 1) != 0;
  zvfuzz::SocketInput input(data + 5, size - 5);
  zv::SocketReader in(input.fd());
  zv::Parameters params;
  if (zv::read_parameters(in, word, type_byte, 1 << 20, params) == zv::ParameterRead::kDone &&
      params.count() <= kMaxBound) {
    bind_every_row(params);
  }
  return 0;
}
