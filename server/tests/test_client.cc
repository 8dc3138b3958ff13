#include "test_client.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <stdexcept>
#include <utility>

namespace zvtest {

std::string be32(int32_t v) {
  uint32_t u = static_cast<uint32_t>(v);
  return {static_cast<char>(u >> 24), static_cast<char>(u >> 16), static_cast<char>(u >> 8), static_cast<char>(u)};
}

std::string be16(int16_t v) {
  uint16_t u = static_cast<uint16_t>(v);
  return {static_cast<char>(u >> 8), static_cast<char>(u)};
}

std::string be64(int64_t v) {
  return be32(static_cast<int32_t>(static_cast<uint64_t>(v) >> 32)) + be32(static_cast<int32_t>(v));
}

std::string login_text(const std::string& user, const std::string& password, const std::string& clauses) {
  return "login database = SYSTEM user='" + user + "' password='" + password + "'" + clauses + " version = '301'";
}

TestClient::TestClient(int port) {
  fd_ = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in addr{};
  addr.sin_family = AF_INET;
  addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  addr.sin_port = htons(static_cast<uint16_t>(port));
  if (::connect(fd_, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0) throw std::runtime_error("connect failed");
  int one = 1;
  ::setsockopt(fd_, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
  // A reply that never comes fails the test instead of hanging it.
  timeval tv{};
  tv.tv_sec = 20;
  ::setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
}

TestClient::~TestClient() { ::close(fd_); }

void TestClient::send_raw(std::string_view bytes) {
  size_t done = 0;
  while (done < bytes.size()) {
    ssize_t n = ::send(fd_, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
    if (n <= 0) {
      failed_ = true;
      return;
    }
    done += static_cast<size_t>(n);
  }
}

void TestClient::send_command(std::string_view text, int32_t word, std::string_view parameters) {
  std::string msg = "?" + be32(static_cast<int32_t>(text.size()));
  msg.append(text);
  msg += '\0';
  msg += be32(word);
  msg.append(parameters);
  send_raw(msg);
}

std::string TestClient::login(const std::string& text, int reply_version) {
  send_raw(text);
  std::string answer;
  int first = letter();
  if (first < 0) return answer;
  answer += static_cast<char>(first);
  if (first == 'N' && reply_version == 301) answer += bytes(5);
  return answer;
}

int TestClient::letter() {
  if (pushed_ >= 0) return std::exchange(pushed_, -1);
  unsigned char c;
  ssize_t n = ::recv(fd_, &c, 1, 0);
  if (n != 1) {
    failed_ = true;
    return -1;
  }
  return c;
}

std::string TestClient::bytes(size_t n) {
  std::string out(n, '\0');
  size_t done = 0;
  while (done < n) {
    ssize_t got = ::recv(fd_, &out[done], n - done, 0);
    if (got <= 0) {
      failed_ = true;
      out.resize(done);
      return out;
    }
    done += static_cast<size_t>(got);
  }
  return out;
}

int32_t TestClient::int32() {
  std::string b = bytes(4);
  if (b.size() != 4) return 0;
  uint32_t v = 0;
  for (char c : b) v = (v << 8) | static_cast<unsigned char>(c);
  return static_cast<int32_t>(v);
}

std::string TestClient::string() {
  int32_t n = int32();
  return n > 0 ? bytes(static_cast<size_t>(n)) : std::string();
}

Record TestClient::result_set() {
  Record r;
  r.letter = 'A';
  int32_t count = int32();
  for (int32_t i = 0; i < count && !failed_; ++i) {
    Field f;
    f.name = string();
    f.type = int32();
    f.size = int32();
    f.detail = int32();
    r.fields.push_back(f);
  }
  for (;;) {
    int c = letter();
    if (c != 'R') {
      pushed_ = c;  // the letter behind the rows belongs to the next record
      return r;
    }
    Row row;
    for (int32_t i = 0; i < count; ++i) {
      int32_t len = int32();
      row.push_back(len > 0 ? Value(bytes(static_cast<size_t>(len))) : std::nullopt);
    }
    r.rows.push_back(row);
  }
}

Reply TestClient::reply() {
  Reply out;
  for (;;) {
    int c = letter();
    if (c < 0) return out;
    Record r;
    r.letter = static_cast<char>(c);
    switch (c) {
      case 'K':
        out.complete = true;
        return out;
      case 'E':
      case 'F':
      case 'W':
      case 'M':
      case 'I':
        r.text = string();
        break;
      case 'U':
      case 'D':
        r.count = int32();
        break;
      case 'A':
        r = result_set();
        break;
      default:
        out.records.push_back(r);
        return out;
    }
    out.records.push_back(r);
  }
}

Reply TestClient::run(std::string_view text) {
  send_command(text);
  return reply();
}

bool TestClient::closed_by_server() {
  char c;
  return ::recv(fd_, &c, 1, 0) == 0;
}

}  // namespace zvtest
