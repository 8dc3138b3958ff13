// A small client of the wire protocol for the server's own tests: it speaks the bytes
// directly so that every letter and value of a reply can be checked.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zvtest {

struct Field {
  std::string name;
  int32_t type = 0;
  int32_t size = 0;
  int32_t detail = 0;
};

using Value = std::optional<std::string>;  // the value's bytes; nullopt for a null
using Row = std::vector<Value>;

// One record of a reply: its letter and what came with it.
struct Record {
  char letter = 0;
  std::string text;  // E, F, W, M: the message; I: the row id
  int32_t count = 0;  // U, D
  std::vector<Field> fields;  // A
  std::vector<Row> rows;      // A
};

// Records up to the closing "K"; `complete` is false when the link failed first.
struct Reply {
  std::vector<Record> records;
  bool complete = false;
};

std::string be32(int32_t v);
std::string be16(int16_t v);
std::string be64(int64_t v);

// "login database = SYSTEM user='U' password='P'", `clauses`, " version = '301'".
std::string login_text(const std::string& user, const std::string& password, const std::string& clauses = "");

class TestClient {
 public:
  explicit TestClient(int port);
  ~TestClient();
  TestClient(const TestClient&) = delete;
  TestClient& operator=(const TestClient&) = delete;

  void send_raw(std::string_view bytes);
  void send_command(std::string_view text, int32_t word = 0, std::string_view parameters = {});
  // Sends the login text and reads the one-letter answer ("K"), or "N", 4 bytes and "K".
  // Returns the bytes of the answer as far as it goes.
  std::string login(const std::string& text, int reply_version = 301);

  // Reads; on a closed or failed link they return -1, 0 or empty and set failed().
  int letter();
  int32_t int32();
  std::string bytes(size_t n);
  std::string string();
  Reply reply();
  // Sends one command and reads its reply.
  Reply run(std::string_view text);
  // True when the server closed the link: a read finds its end.
  bool closed_by_server();
  bool failed() const { return failed_; }

 private:
  Record result_set();

  int fd_ = -1;
  bool failed_ = false;
  int pushed_ = -1;
};

}  // namespace zvtest
