// The keystream of an enciphered link: how each direction consumes its batches.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "cipher_peer.h"
#include "connection/link_cipher.h"

namespace {

const std::string link_key = std::string("0123456789abcdefghijklmnopqrstu") + "\x11";

struct CipherRecord {
  ConnRecord conn{};
  CipherRecord() { EXPECT_TRUE(link_cipher_setup(&conn, reinterpret_cast<const uint8_t*>(link_key.data()), 32)); }
  ~CipherRecord() { link_cipher_free(&conn); }
};

}  // namespace

// Whatever the sizes of the writes, the bytes see one keystream: each 340-byte batch ten times,
// then the next.
TEST(LinkCipher, KeystreamInAnyPieces) {
  const size_t total = 7200;
  std::string expected = link_keystream(link_key, total);
  EXPECT_EQ(expected.substr(0, 340), expected.substr(340, 340));
  EXPECT_EQ(expected.substr(0, 340), expected.substr(3060, 340));
  EXPECT_NE(expected.substr(0, 340), expected.substr(3400, 340));
  const std::vector<std::vector<size_t>> pieces = {
      {total}, {1}, {7}, {339, 1}, {340}, {341}, {3399, 1, 3399, 1, 400}, {2049}, {8192},
  };
  for (const std::vector<size_t>& sizes : pieces) {
    CipherRecord rec;
    std::string data(total, '\0');
    size_t done = 0;
    for (size_t i = 0; done < total; ++i) {
      size_t n = std::min(sizes[i % sizes.size()], total - done);
      link_cipher_out(&rec.conn, reinterpret_cast<uint8_t*>(&data[done]), static_cast<int32_t>(n));
      done += n;
    }
    EXPECT_EQ(expected, data) << sizes[0];
    EXPECT_EQ(static_cast<int32_t>(total % 3400), rec.conn.send_cipher->counter);
    EXPECT_EQ(0, rec.conn.recv_cipher->counter);
  }
}

// The 3400th byte of one direction brings the next batch there, and nothing in the other.
TEST(LinkCipher, RefillInOneDirectionOnly) {
  CipherRecord rec;
  std::string first(reinterpret_cast<const char*>(rec.conn.send_cipher->batch), TURING_BATCH);
  EXPECT_EQ(first, std::string(reinterpret_cast<const char*>(rec.conn.recv_cipher->batch), TURING_BATCH));
  std::string out(3399, 'x');
  link_cipher_out(&rec.conn, reinterpret_cast<uint8_t*>(&out[0]), 3399);
  EXPECT_EQ(3399, rec.conn.send_cipher->counter);
  EXPECT_EQ(first, std::string(reinterpret_cast<const char*>(rec.conn.send_cipher->batch), TURING_BATCH));
  uint8_t one = 'x';
  link_cipher_out(&rec.conn, &one, 1);
  EXPECT_EQ(0, rec.conn.send_cipher->counter);
  EXPECT_EQ(link_keystream(link_key, 3740).substr(3400),
            std::string(reinterpret_cast<const char*>(rec.conn.send_cipher->batch), TURING_BATCH));
  EXPECT_EQ(0, rec.conn.recv_cipher->counter);
  EXPECT_EQ(first, std::string(reinterpret_cast<const char*>(rec.conn.recv_cipher->batch), TURING_BATCH));
  std::string in(3399, 'y');
  link_cipher_in(&rec.conn, reinterpret_cast<uint8_t*>(&in[0]), 3399);
  EXPECT_EQ(3399, rec.conn.recv_cipher->counter);
  // Both directions run through the same keystream, each at its own position.
  std::string diff;
  for (size_t i = 0; i < in.size(); ++i) diff += static_cast<char>(in[i] ^ out[i]);
  EXPECT_EQ(std::string(3399, 'x' ^ 'y'), diff);
}

TEST(LinkCipher, ContextsMadeAndFreed) {
  CipherRecord rec;
  ASSERT_NE(nullptr, rec.conn.send_cipher);
  ASSERT_NE(nullptr, rec.conn.recv_cipher);
  EXPECT_NE(rec.conn.send_cipher, rec.conn.recv_cipher);
  EXPECT_EQ(8, rec.conn.send_cipher->keylen);
  EXPECT_EQ(0, rec.conn.send_cipher->counter);
  link_cipher_free(&rec.conn);
  EXPECT_EQ(nullptr, rec.conn.send_cipher);
  EXPECT_EQ(nullptr, rec.conn.recv_cipher);
}
