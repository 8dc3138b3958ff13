#include "turing.h"

#include <algorithm>

#include "byte_order.h"
#include "turing_tables.h"

namespace zv {
namespace {

uint32_t rotl(uint32_t w, int bits) { return bits == 0 ? w : (w << bits) | (w >> (32 - bits)); }

// Byte i of w, counting from the most significant.
int byte_at(uint32_t w, int i) { return static_cast<int>((w >> (24 - 8 * i)) & 0xff); }

uint32_t with_byte(uint32_t w, int i, uint32_t b) {
  int shift = 24 - 8 * i;
  return (w & ~(0xffu << shift)) | (b << shift);
}

// The key-independent S-box of a whole word.
uint32_t fixed_s(uint32_t w) {
  for (int i = 0; i < 4; ++i) {
    uint32_t b = kTuringSbox[byte_at(w, i)];
    w = with_byte(w ^ rotl(kTuringQbox[b], 8 * i), i, b);
  }
  return w;
}

// A Pseudo-Hadamard Transform across n words: the last takes the sum of all, then each
// other word adds the new last one.
void mix_words(uint32_t* w, int n) {
  uint32_t sum = 0;
  for (int i = 0; i < n - 1; ++i) sum += w[i];
  w[n - 1] += sum;
  for (int i = 0; i < n - 1; ++i) w[i] += w[n - 1];
}

void pht(uint32_t& a, uint32_t& b, uint32_t& c, uint32_t& d, uint32_t& e) {
  e += a + b + c + d;
  a += e;
  b += e;
  c += e;
  d += e;
}

}  // namespace

void Turing::key(const uint8_t* key, size_t len) {
  keylen_ = static_cast<int>(std::min<size_t>(len, 32) / 4);
  for (int i = 0; i < keylen_; ++i) k_[i] = fixed_s(load_be32(reinterpret_cast<const char*>(key) + 4 * i));
  mix_words(k_, keylen_);
  for (int t = 0; t < 4; ++t) {
    for (int j = 0; j < 256; ++j) {
      uint32_t k = static_cast<uint32_t>(j);
      uint32_t w = 0;
      for (int i = 0; i < keylen_; ++i) {
        k = kTuringSbox[static_cast<uint32_t>(byte_at(k_[i], t)) ^ k];
        w ^= rotl(kTuringQbox[k], i + 8 * t);
      }
      s_[t][j] = with_byte(w, t, k);
    }
  }
}

uint32_t Turing::keyed_s(uint32_t x, int r) const {
  return s_[0][byte_at(x, r % 4)] ^ s_[1][byte_at(x, (r + 1) % 4)] ^ s_[2][byte_at(x, (r + 2) % 4)] ^
         s_[3][byte_at(x, (r + 3) % 4)];
}

void Turing::iv(const uint8_t* iv, size_t len) {
  const int iv_words = static_cast<int>(std::min<size_t>(len / 4, static_cast<size_t>(kRegister - 1 - keylen_)));
  int i = 0;
  for (; i < iv_words; ++i) r_[i] = fixed_s(load_be32(reinterpret_cast<const char*>(iv) + 4 * i));
  for (int j = 0; j < keylen_; ++j) r_[i++] = k_[j];
  r_[i++] = static_cast<uint32_t>(keylen_ << 4) | static_cast<uint32_t>(iv_words) | 0x01020300u;
  for (int j = 0; i < kRegister; ++i, ++j) r_[i] = keyed_s(r_[j] + r_[i - 1], 0);
  mix_words(r_, kRegister);
}

void Turing::step(int z) {
  uint32_t& w = r_[z % kRegister];
  w = r_[(z + 15) % kRegister] ^ r_[(z + 4) % kRegister] ^ (w << 8) ^ kTuringMultab[w >> 24];
}

// 20 bytes of keystream from the register at position z; z is a constant, so the
// register's indices fold into constants too.
template <int z>
void Turing::round(uint8_t* out) {
  step(z);
  uint32_t a = r_[(z + 17) % kRegister], b = r_[(z + 14) % kRegister], c = r_[(z + 7) % kRegister],
           d = r_[(z + 2) % kRegister], e = r_[(z + 1) % kRegister];
  pht(a, b, c, d, e);
  a = keyed_s(a, 0);
  b = keyed_s(b, 1);
  c = keyed_s(c, 2);
  d = keyed_s(d, 3);
  e = keyed_s(e, 0);
  pht(a, b, c, d, e);
  step(z + 1);
  step(z + 2);
  step(z + 3);
  a += r_[(z + 18) % kRegister];
  b += r_[(z + 16) % kRegister];
  c += r_[(z + 12) % kRegister];
  d += r_[(z + 5) % kRegister];
  e += r_[(z + 4) % kRegister];
  char* p = reinterpret_cast<char*>(out);
  for (uint32_t word : {a, b, c, d, e}) {
    store_be32(p, word);
    p += 4;
  }
  step(z + 4);
}

// Seventeen rounds move the register five places each, 85 in all: it ends where it began.
void Turing::gen(uint8_t* out) {
  round<0>(out);
  round<5>(out + 20);
  round<10>(out + 40);
  round<15>(out + 60);
  round<3>(out + 80);
  round<8>(out + 100);
  round<13>(out + 120);
  round<1>(out + 140);
  round<6>(out + 160);
  round<11>(out + 180);
  round<16>(out + 200);
  round<4>(out + 220);
  round<9>(out + 240);
  round<14>(out + 260);
  round<2>(out + 280);
  round<7>(out + 300);
  round<12>(out + 320);
}

}  // namespace zv
