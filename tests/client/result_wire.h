// Builders for the wire forms of field values, and a result received from a scripted reply.
#pragma once
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "reply_script.h"
#include "results/reception.h"
#include "results/row_store.h"
#include "statements/command.h"
#include "zvc.h"

// The host-order bytes of a value, as a slot or a caller's buffer holds it.
template <typename T>
std::string host_bytes(T v) {
  return std::string(reinterpret_cast<const char*>(&v), sizeof v);
}
template <typename To, typename From>
To bits_of(From v) {
  To bits;
  memcpy(&bits, &v, sizeof bits);
  return bits;
}
// Fixed-width values as the server sends them: d_len, then the big-endian value.
inline std::string byte_field(char c) { return be32(1) + std::string(1, c); }
inline std::string i16_field(int16_t v) { return be32(2) + be16(v); }
inline std::string i64_field(int64_t v) { return be32(8) + be64(v); }
inline std::string float_field(float f) { return be32(4) + be32(bits_of<int32_t>(f)); }
inline std::string double_field(double f) { return be32(8) + be64(bits_of<int64_t>(f)); }
// The zone types: big-endian time word, then the offset in minutes.
inline std::string time_tz_field(int32_t ms, int16_t tz) { return be32(6) + be32(ms) + be16(tz); }
inline std::string datetime_tz_field(int64_t us, int16_t tz) { return be32(10) + be64(us) + be16(tz); }

inline std::string one_value_reply(int32_t type, const std::string& value) {
  return result_head({field_desc("C", type)}) + "R" + value + "K";
}

// The wire form of TypeCode t: 1, 2, 4 or 8 fixed bytes, f float, d double, v counted bytes.
inline char wire_form(int32_t t) {
  static const std::string forms = "v11248vfd44v8v" + std::string(9, '4') + "8888";
  return t >= 1 && t <= 27 ? forms[t - 1] : 'v';
}

// A value of TypeCode t on the wire, and the bytes it is stored as (host order in a slot).
inline std::pair<std::string, std::string> sample_value(int32_t t) {
  switch (wire_form(t)) {
    case '1': return {byte_field(static_cast<char>(0xF0 + t)), std::string(1, static_cast<char>(0xF0 + t))};
    case '2': return {i16_field(-1000 - t), host_bytes<int16_t>(-1000 - t)};
    case '4': return {int_field(-100000 - t), host_bytes<int32_t>(-100000 - t)};
    case '8': return {i64_field(-10000000000LL - t), host_bytes<int64_t>(-10000000000LL - t)};
    case 'f': return {float_field(-2.5f), host_bytes(-2.5f)};
    case 'd': return {double_field(6.25), host_bytes(6.25)};
    default: {
      std::string v = ("v" + std::to_string(t) + "_________").substr(0, 10);  // long enough for a zone value
      return {wire_str(v), v};
    }
  }
}

// The TypeCode of column i (from 0) of every_type_reply: 1 to 64, then an array.
inline int32_t every_type(int32_t i) { return i == 64 ? 10005 : i + 1; }
inline std::string every_type_reply() {
  std::vector<std::string> descs;
  std::string row = "R";
  for (int32_t i = 0; i < 65; i++) {
    descs.push_back(field_desc("C" + std::to_string(every_type(i)), every_type(i)));
    row += sample_value(every_type(i)).first;
  }
  return result_head(descs) + row + "K";
}

// A reply received by recv_result over a StreamPeer, with its first row made current.
struct Received {
  explicit Received(const std::string& reply) : peer(reply) {
    status = recv_result(peer.conn, &result);
    if (result) next_row(result);
  }
  ~Received() { free_result_chain(result); }
  int32_t get(int32_t column, int32_t ctype, void* buffer, int32_t buffer_len, int32_t* out_len) {
    void* handle = result;
    return ZVC_GetData(&handle, column, ctype, buffer, buffer_len, out_len);
  }
  // The value as text by ctype into a buffer of buffer_len bytes; rc and out_len on the side.
  std::string text(int32_t column, int32_t ctype = 2, int32_t buffer_len = 64) {
    std::vector<char> buf(buffer_len + 1, '\0');
    out_len = -99;
    rc = get(column, ctype, buf.data(), buffer_len, &out_len);
    return std::string(buf.data(), strnlen(buf.data(), buffer_len));
  }
  StreamPeer peer;
  ResultRecord* result = nullptr;
  int32_t status = 0, rc = 0, out_len = 0;
};
