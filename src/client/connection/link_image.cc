#include "connection/link_image.h"

#include <sys/random.h>

#include <cstring>

#include "connection/bignum.h"

namespace {

enum { BLOCK_WORDS = LINK_BLOCK / 4, TEXT_RUN = 30 };

void words_from_bytes(uint32_t* w, const uint8_t* p) {
  for (int i = 0; i < BLOCK_WORDS; ++i, p += 4)
    w[i] = p[0] | static_cast<uint32_t>(p[1]) << 8 | static_cast<uint32_t>(p[2]) << 16 |
           static_cast<uint32_t>(p[3]) << 24;
}

void words_to_bytes(uint8_t* p, const uint32_t* w) {
  for (int i = 0; i < BLOCK_WORDS; ++i, p += 4) {
    p[0] = static_cast<uint8_t>(w[i]);
    p[1] = static_cast<uint8_t>(w[i] >> 8);
    p[2] = static_cast<uint8_t>(w[i] >> 16);
    p[3] = static_cast<uint8_t>(w[i] >> 24);
  }
}

void encrypt_block(ConnRecord* conn, const uint8_t* in, uint8_t* out) {
  uint32_t value[BLOCK_WORDS], exp[BLOCK_WORDS], mod[BLOCK_WORDS];
  words_from_bytes(value, in);
  words_from_bytes(exp, conn->link_exponent);
  words_from_bytes(mod, conn->link_modulus);
  bn_modexp(value, value, exp, mod, BLOCK_WORDS);
  words_to_bytes(out, value);
  bn_zero(value, BLOCK_WORDS);
}

}  // namespace

bool link_key_make(uint8_t* key, const char* password) {
  // The key's strength matters little, as the server learns it from the image; the system's
  // random source is simply the best one at hand.
  if (getentropy(key, LINK_BLOCK) != 0) return false;
  link_key_mix(key, password);
  return true;
}

void link_key_mix(uint8_t* key, const char* password) {
  if (password[0] != '\0') {
    const char* p = password;
    for (int i = 0; i < LINK_BLOCK; ++i) {
      key[i] ^= static_cast<uint8_t>(*p++);
      if (*p == '\0') p = password;
    }
  }
  key[LINK_BLOCK - 1] &= 0x7F;
}

int32_t login_text_stuff(char* text) {
  int32_t len = static_cast<int32_t>(strlen(text));
  for (int32_t k = len / TEXT_RUN; k >= 1; --k) {
    memmove(text + LINK_BLOCK * k, text + TEXT_RUN * k, TEXT_RUN);
    text[LINK_BLOCK * k - 2] = 7;
    text[LINK_BLOCK * k - 1] = 7;
  }
  return len + 2 * (len / TEXT_RUN);
}

void link_encrypt_blocks(ConnRecord* conn, uint8_t* buf, int len) {
  for (; len >= LINK_BLOCK; len -= LINK_BLOCK, buf += LINK_BLOCK) encrypt_block(conn, buf, buf);
  uint8_t s_buff[LINK_BLOCK] = {}, t_buff[LINK_BLOCK];
  if (len > 0) memcpy(s_buff, buf, static_cast<size_t>(len));
  encrypt_block(conn, s_buff, t_buff);
  memcpy(buf, t_buff, LINK_BLOCK);
  explicit_bzero(s_buff, sizeof s_buff);
}
