// The block image of an enciphered login: the link key, the stuffed login text and the blocks
// raised to the server's exponent.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "cipher_peer.h"
#include "connection/link_image.h"

namespace {

// The text of length n: letters, so that every moved byte can be told apart.
std::string letters(size_t n) {
  std::string s;
  for (size_t i = 0; i < n; ++i) s += static_cast<char>('a' + i % 26);
  return s;
}

const std::string s77("\x07\x07", 2);

// A record holding the test key's exponent and modulus.
ConnRecord keyed_record() {
  ConnRecord conn{};
  memcpy(conn.link_exponent, test_exponent.data(), 32);
  memcpy(conn.link_modulus, test_modulus.data(), 32);
  return conn;
}

}  // namespace

TEST(LinkKey, PasswordMixAndTopBit) {
  const std::string p32 = letters(32), p40 = letters(40);
  const struct {
    std::string random, password, key;
  } cases[] = {
      // Zero random bytes show the password's pattern: short ones repeat, only 32 bytes count.
      {std::string(32, '\0'), "abc", "abcabcabcabcabcabcabcabcabcabcab"},
      {std::string(32, '\0'), p32, p32},
      {std::string(32, '\0'), p40, p40.substr(0, 32)},
      {std::string(32, '\0'), "", std::string(32, '\0')},
      // The top bit of byte 31 is cleared, whatever the random bytes and the password give.
      {std::string(32, '\xff'), "", std::string(31, '\xff') + "\x7f"},
      {std::string(32, '\x0f'), "\xf0", std::string(31, '\xff') + "\x7f"},
      {std::string(32, '\x01'), "ab", "`c`c`c`c`c`c`c`c`c`c`c`c`c`c`c`c"},
  };
  for (const auto& c : cases) {
    uint8_t key[32];
    memcpy(key, c.random.data(), 32);
    link_key_mix(key, c.password.c_str());
    EXPECT_EQ(to_hex(reinterpret_cast<const uint8_t*>(c.key.data()), 32), to_hex(key, 32)) << c.password;
  }
}

TEST(LinkKey, FreshKeysStayBelowTheTopBit) {
  uint8_t first[32], key[32];
  ASSERT_TRUE(link_key_make(first, "P"));
  int same = 0;
  for (int i = 0; i < 200; ++i) {
    ASSERT_TRUE(link_key_make(key, "P"));
    EXPECT_LT(key[31], 0x80);
    same += memcmp(first, key, 32) == 0;
  }
  EXPECT_EQ(0, same);
}

// Texts of 29, 30, 31 and 61 characters: 07 07 behind every full 30, the NUL counted in n, and
// the image that goes out has the key's block and ((n + 31) / 32) text blocks.
TEST(LinkImage, StuffingAndBlockCounts) {
  const std::string t29 = letters(29), t30 = letters(30), t31 = letters(31), t61 = letters(61);
  const struct {
    std::string text, stuffed;
    int n, blocks;
  } cases[] = {
      {t29, t29, 30, 1},
      {t30, t30 + s77, 33, 2},
      {t31, t30 + s77 + t31.substr(30), 34, 2},
      {t61, t61.substr(0, 30) + s77 + t61.substr(30, 30) + s77 + t61.substr(60), 66, 3},
      {"", "", 1, 1},
  };
  for (const auto& c : cases) {
    char buf[LINK_IMAGE_SIZE] = {};
    memcpy(buf, c.text.data(), c.text.size());
    int32_t len = login_text_stuff(buf);
    EXPECT_EQ(c.n, len + 1) << c.text.size();
    EXPECT_EQ(c.stuffed + std::string(64, '\0'), std::string(buf, c.stuffed.size() + 64)) << c.text.size();
    EXPECT_EQ(c.blocks, (len + 1 + 31) / 32) << c.text.size();
  }
}

// Each block comes back under the private exponent; the area written is (len / 32 + 1) blocks,
// the last zero-padded, and nothing behind it is touched.
TEST(LinkImage, BlocksRaisedToTheExponent) {
  ConnRecord conn = keyed_record();
  const std::string key = std::string(31, '\x5a') + "\x3c", text = letters(30) + s77 + "xyz";
  const struct {
    std::string plain;
    size_t written;
  } cases[] = {
      {key + text, 96},         // 67 bytes: two full blocks and three bytes padded
      {key + letters(30) + s77, 96},  // 64 bytes: the further block is zero
      {"", 32},
  };
  for (const auto& c : cases) {
    std::string area = c.plain + std::string(160 - c.plain.size(), '\x55');
    link_encrypt_blocks(&conn, reinterpret_cast<uint8_t*>(&area[0]), static_cast<int>(c.plain.size()));
    std::string padded = c.plain + std::string(c.written - c.plain.size(), '\0');
    for (size_t at = 0; at < c.written; at += 32) {
      EXPECT_EQ(padded.substr(at, 32), block_power(area.substr(at, 32), test_private)) << at;
    }
    EXPECT_EQ(std::string(160 - c.written, '\x55'), area.substr(c.written)) << c.plain.size();
  }
  // Without a usable exponent or modulus every block comes out zero.
  ConnRecord no_exponent = keyed_record(), no_modulus = keyed_record();
  memset(no_exponent.link_exponent, 0, 32);
  memset(no_modulus.link_modulus, 0, 32);
  for (ConnRecord* broken : {&no_exponent, &no_modulus}) {
    std::string area = key + text + std::string(29, 'q');
    link_encrypt_blocks(broken, reinterpret_cast<uint8_t*>(&area[0]), 64);
    EXPECT_EQ(std::string(96, '\0'), area);
  }
}
