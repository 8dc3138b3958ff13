// A small client of the wire protocol that reads every reply byte by byte, and a fixture
// that starts a server in this process on an ephemeral port.
#pragma once

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "link_keystream.h"
#include "server.h"

namespace zvtest {

using Value = std::optional<std::string>;  // nullopt for a null
using Row = std::vector<Value>;

struct Field {
  std::string name;
  int32_t type = 0, size = 0, detail = 0;
};

// One record of a reply: E, W and I carry `text`, U and D `count`, A `fields` and `rows` (tests
// that look at the placeholders of $, or at the values of O and P, compare the bytes).
struct Record {
  std::string text;
  int32_t count = 0;
  std::vector<Field> fields;
  std::vector<Row> rows;
};

// The records before the closing "K", and their letters; `complete` is false when no "K" came.
struct Reply {
  std::vector<Record> records;
  std::string letters;
  bool complete = false;
};

inline std::string be32(int32_t v) {
  auto u = static_cast<uint32_t>(v);
  return {static_cast<char>(u >> 24), static_cast<char>(u >> 16), static_cast<char>(u >> 8), static_cast<char>(u)};
}
inline std::string be16(int16_t v) { return be32(v).substr(2); }
inline std::string be64(int64_t v) {
  return be32(static_cast<int32_t>(static_cast<uint64_t>(v) >> 32)) + be32(static_cast<int32_t>(v));
}

// A string as the wire carries it: int32 length, then the bytes.
inline std::string wire_string(const std::string& s) { return be32(static_cast<int32_t>(s.size())) + s; }
// A field description as a result set carries it: name, type, size, detail.
inline std::string field(const std::string& name, int32_t type, int32_t size, int32_t detail = 0) {
  return wire_string(name) + be32(type) + be32(size) + be32(detail);
}

// One parameter record as a client sends it behind a command: name length and name,
// direction, type code, data length and value. A value of length 0 is a null.
inline std::string parameter_record(int16_t type, const std::string& value, const std::string& name = "",
                                    int16_t direction = 1) {
  return be16(static_cast<int16_t>(name.size())) + name + be16(direction) + be16(type) +
         be32(static_cast<int32_t>(value.size())) + value;
}
// A value of a later row of an array batch: its type byte (which a client of version 201
// leaves out), its length and its bytes.
inline std::string packed_value(char type, const std::string& value, bool typed = true) {
  return (typed ? std::string(1, type) : std::string()) + be32(static_cast<int32_t>(value.size())) + value;
}
// A block of packed values: their length in bytes, then them.
inline std::string block(const std::string& values) { return be32(static_cast<int32_t>(values.size())) + values; }

inline std::string login_text(const std::string& user, const std::string& password, const std::string& clauses = "") {
  return "login database = SYSTEM user='" + user + "' password='" + password + "'" + clauses + " version = '301'";
}
inline const std::string kLoggedIn = "N" + be32(301) + "K";

// Polls `done` every 10 ms for up to `ms` milliseconds; its last answer.
template <typename Check>
bool within_ms(int ms, Check done) {
  for (int waited = 0; waited < ms && !done(); waited += 10) std::this_thread::sleep_for(std::chrono::milliseconds(10));
  return done();
}

class TestClient {
 public:
  explicit TestClient(int port) : fd_(::socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    addr.sin_port = htons(static_cast<uint16_t>(port));
    EXPECT_EQ(::connect(fd_, reinterpret_cast<sockaddr*>(&addr), sizeof addr), 0) << "connect failed";
    int one = 1;
    ::setsockopt(fd_, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    timeval tv{20, 0};  // a reply that never comes fails the test instead of hanging it
    ::setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
  }
  ~TestClient() { ::close(fd_); }

  void send(std::string bytes) {
    if (send_keystream_) send_keystream_->apply(bytes.data(), bytes.size());
    ::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
  }
  // "?", the text's length, the text and its terminator, the parameter word and the records.
  void command(const std::string& text, int32_t word = 0, const std::string& parameters = "") {
    send("?" + be32(static_cast<int32_t>(text.size())) + text + '\0' + be32(word) + parameters);
  }
  // Sends a login text and returns the answer's bytes.
  std::string login(const std::string& text) {
    send(text);
    return login_answer();
  }
  // "K", "N" + int32 + "K", or "E".
  std::string login_answer() {
    std::string answer = bytes(1);
    return answer == "N" ? answer + bytes(5) : answer;
  }
  // From now on what is sent and received runs through keystreams of this link key.
  void encipher(const zv::Block& key) {
    send_keystream_ = std::make_unique<zv::LinkKeystream>(key);
    receive_keystream_ = std::make_unique<zv::LinkKeystream>(key);
  }
  // Up to n bytes: fewer when the link ends first.
  std::string bytes(size_t n) {
    std::string out(n, '\0');
    size_t done = 0;
    for (ssize_t got; done < n && (got = ::recv(fd_, &out[done], n - done, 0)) > 0;) done += static_cast<size_t>(got);
    out.resize(done);
    if (receive_keystream_) receive_keystream_->apply(out.data(), out.size());
    return out;
  }
  int32_t int32() {
    std::string b = bytes(4);
    uint32_t v = 0;
    for (char c : b) v = (v << 8) | static_cast<unsigned char>(c);
    return b.size() == 4 ? static_cast<int32_t>(v) : 0;
  }
  std::string string() { return bytes(static_cast<size_t>(std::max(int32(), 0))); }
  Reply reply() {
    Reply out;
    std::string c;
    while ((c = next_letter()).size() == 1 && c != "K") {
      Record& r = out.records.emplace_back();
      out.letters += c;
      if (c == "E" || c == "W" || c == "I") r.text = string();
      if (c == "U" || c == "D") r.count = int32();
      if (c == "A") rows(r);
      for (int32_t n = c == "$" ? int32() : 0; n > 0; --n) {
        string();   // a placeholder's name
        bytes(12);  // its position, type and size
      }
      if (std::string("EWIUDA$").find(c) == std::string::npos) break;
    }
    out.complete = c == "K";
    return out;
  }
  Reply run(const std::string& text) {
    command(text);
    return reply();
  }
  // The first value of the first row of a query's reply.
  Value value(const std::string& text) { return run(text).records.at(0).rows.at(0).at(0); }
  bool closed_by_server() {
    char c;
    return ::recv(fd_, &c, 1, 0) == 0;
  }

 private:
  std::string next_letter() { return pushed_.empty() ? bytes(1) : std::exchange(pushed_, ""); }
  // An "A" record's field descriptions and rows; the letter behind the rows starts the next record.
  void rows(Record& r) {
    r.fields.resize(static_cast<size_t>(int32()));
    for (Field& f : r.fields) f = {string(), int32(), int32(), int32()};  // read in this order
    while ((pushed_ = bytes(1)) == "R") {
      for (Value& v : r.rows.emplace_back(r.fields.size())) {
        int32_t len = int32();
        if (len >= 0) v = bytes(static_cast<size_t>(len));
      }
    }
  }

  int fd_;
  std::string pushed_;
  std::unique_ptr<zv::LinkKeystream> send_keystream_, receive_keystream_;  // null on a plain link
};

class ServerTest : public ::testing::Test {
 protected:
  void SetUp() override { start([](zv::ServerOptions&) {}); }
  // A server in place of the last one, with the default options as `set` changes them.
  void start(void (*set)(zv::ServerOptions&)) {
    zv::ServerOptions options;
    set(options);
    options.port = 0;
    server_ = std::make_unique<zv::Server>(options);
    std::string error;
    ASSERT_TRUE(server_->start(error)) << error;
  }
  int port() const { return server_->port(); }
  // A client logged in as SYSDBA with the given extra login clauses.
  std::unique_ptr<TestClient> connect(const std::string& clauses = "") {
    auto client = std::make_unique<TestClient>(port());
    EXPECT_EQ(client->login(login_text("SYSDBA", "SYSDBA", clauses)), kLoggedIn);
    return client;
  }

  std::unique_ptr<zv::Server> server_;
};

}  // namespace zvtest
