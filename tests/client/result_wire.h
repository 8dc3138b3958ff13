// Builders for the wire forms of field values, and a result received from a scripted reply.
#pragma once
#include <cstring>
#include <string>
#include <vector>

#include "peer.h"
#include "reply_script.h"
#include "results/reception.h"
#include "results/result_record.h"
#include "results/row_store.h"
#include "zvc.h"

inline std::string be_float(float f) {
  int32_t bits;
  memcpy(&bits, &f, 4);
  return be32(bits);
}
inline std::string be_double(double f) {
  int64_t bits;
  memcpy(&bits, &f, 8);
  return be64(bits);
}

// Fixed-width values as the server sends them: d_len, then the value.
inline std::string byte_field(char c) { return be32(1) + std::string(1, c); }
inline std::string i16_field(int16_t v) { return be32(2) + be16(v); }
inline std::string i64_field(int64_t v) { return be32(8) + be64(v); }
inline std::string float_field(float f) { return be32(4) + be_float(f); }
inline std::string double_field(double f) { return be32(8) + be_double(f); }
// The stored forms of the zone types: big-endian time word, then the offset in minutes.
inline std::string time_tz_field(int32_t ms, int16_t tz) { return be32(6) + be32(ms) + be16(tz); }
inline std::string datetime_tz_field(int64_t us, int16_t tz) { return be32(10) + be64(us) + be16(tz); }

// A one-column reply of one row holding value.
inline std::string one_value_reply(int32_t type, const std::string& value) {
  return result_head({field_desc("C", type)}) + "R" + value + "K";
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
  // The value as text by CType ctype into a buffer of buffer_len bytes; rc and out_len on the side.
  std::string text(int32_t column, int32_t ctype = 2, int32_t buffer_len = 64) {
    std::vector<char> buf(buffer_len + 1, '\0');
    out_len = -99;
    rc = get(column, ctype, buf.data(), buffer_len, &out_len);
    return std::string(buf.data(), strnlen(buf.data(), buffer_len));
  }
  StreamPeer peer;
  ResultRecord* result = nullptr;
  int32_t status = 0;
  int32_t rc = 0;
  int32_t out_len = 0;
};
