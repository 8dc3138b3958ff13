#include "connection/turing.h"

namespace {

// Byte i of w, counting from the most significant.
inline uint32_t byte_of(uint32_t w, int i) { return (w >> (24 - 8 * i)) & 0xFF; }

inline uint32_t rotl(uint32_t w, int n) { return n == 0 ? w : (w << n) | (w >> (32 - n)); }

// w with byte i (from the most significant) replaced by b.
inline uint32_t with_byte(uint32_t w, int i, uint32_t b) {
  int shift = 24 - 8 * i;
  return (w & ~(0xFFu << shift)) | (b << shift);
}

uint32_t word_from_bytes(const uint8_t* p) {
  return static_cast<uint32_t>(p[0]) << 24 | static_cast<uint32_t>(p[1]) << 16 | static_cast<uint32_t>(p[2]) << 8 |
         p[3];
}

void word_to_bytes(uint32_t w, uint8_t* p) {
  p[0] = static_cast<uint8_t>(w >> 24);
  p[1] = static_cast<uint8_t>(w >> 16);
  p[2] = static_cast<uint8_t>(w >> 8);
  p[3] = static_cast<uint8_t>(w);
}

// A word-wide Pseudo-Hadamard Transform over w[0..n-1].
void mixwords(uint32_t* w, int n) {
  uint32_t sum = 0;
  for (int i = 0; i < n - 1; ++i) sum += w[i];
  w[n - 1] += sum;
  for (int i = 0; i < n - 1; ++i) w[i] += w[n - 1];
}

// The keyed filter S(x, r).
inline uint32_t keyed_s(const TuringContext* ctx, uint32_t x, int r) {
  return ctx->S0[byte_of(x, r % 4)] ^ ctx->S1[byte_of(x, (r + 1) % 4)] ^ ctx->S2[byte_of(x, (r + 2) % 4)] ^
         ctx->S3[byte_of(x, (r + 3) % 4)];
}

// Register index z + k, taken modulo the register's length.
constexpr int at(int z, int k) { return (z + k) % TURING_REGISTER; }

// One step of the register at position z.
template <int z>
inline void step(uint32_t* R) {
  uint32_t w = R[at(z, 0)];
  R[at(z, 0)] = R[at(z, 15)] ^ R[at(z, 4)] ^ (w << 8) ^ Multab[w >> 24];
}

// One round at position z: five steps of the register and 20 bytes of keystream. A template, so
// that every register index is a constant and the register never has to shift.
template <int z>
inline void turing_round(TuringContext* ctx, uint8_t* out) {
  uint32_t* R = ctx->R;
  step<z>(R);
  uint32_t A = R[at(z, 17)], B = R[at(z, 14)], C = R[at(z, 7)], D = R[at(z, 2)], E = R[at(z, 1)];
  E += A + B + C + D;
  A += E, B += E, C += E, D += E;
  A = keyed_s(ctx, A, 0), B = keyed_s(ctx, B, 1), C = keyed_s(ctx, C, 2), D = keyed_s(ctx, D, 3);
  E = keyed_s(ctx, E, 0);
  E += A + B + C + D;
  A += E, B += E, C += E, D += E;
  step<at(z, 1)>(R);
  step<at(z, 2)>(R);
  step<at(z, 3)>(R);
  A += R[at(z, 18)], B += R[at(z, 16)], C += R[at(z, 12)], D += R[at(z, 5)], E += R[at(z, 4)];
  word_to_bytes(A, out);
  word_to_bytes(B, out + 4);
  word_to_bytes(C, out + 8);
  word_to_bytes(D, out + 12);
  word_to_bytes(E, out + 16);
  step<at(z, 4)>(R);
}

}  // namespace

uint32_t fixedS(uint32_t w) {
  for (int i = 0; i < 4; ++i) {
    uint32_t b = Sbox[byte_of(w, i)];
    w = with_byte(w ^ rotl(Qbox[b], 8 * i), i, b);
  }
  return w;
}

void TuringKey(TuringContext* ctx, const uint8_t* key, int key_length) {
  if (key_length > TURING_MAX_KEY) key_length = TURING_MAX_KEY;
  ctx->keylen = key_length < 0 ? 0 : key_length / 4;
  for (int i = 0; i < ctx->keylen; ++i) ctx->K[i] = fixedS(word_from_bytes(key + 4 * i));
  mixwords(ctx->K, ctx->keylen);
  uint32_t* tables[4] = {ctx->S0, ctx->S1, ctx->S2, ctx->S3};
  for (int t = 0; t < 4; ++t) {
    for (uint32_t j = 0; j < 256; ++j) {
      uint32_t k = j, w = 0;
      for (int i = 0; i < ctx->keylen; ++i) {
        k = Sbox[byte_of(ctx->K[i], t) ^ k];
        w ^= rotl(Qbox[k], i + 8 * t);
      }
      tables[t][j] = with_byte(w, t, k);
    }
  }
}

void TuringIV(TuringContext* ctx, const uint8_t* iv, int iv_length) {
  // The IV words, the key words and the length word must leave the register room to spare.
  int iv_words = iv_length < 0 ? 0 : iv_length / 4;
  if (iv_words > TURING_REGISTER - 1 - ctx->keylen) iv_words = TURING_REGISTER - 1 - ctx->keylen;
  uint32_t* R = ctx->R;
  int i = 0;
  for (int j = 0; j < iv_words; ++j) R[i++] = fixedS(word_from_bytes(iv + 4 * j));
  for (int j = 0; j < ctx->keylen; ++j) R[i++] = ctx->K[j];
  R[i++] = static_cast<uint32_t>(ctx->keylen << 4 | iv_words) | 0x01020300;
  for (int j = 0; i < TURING_REGISTER; ++i, ++j) R[i] = keyed_s(ctx, R[j] + R[i - 1], 0);
  mixwords(R, TURING_REGISTER);
}

int TuringGen(TuringContext* ctx, uint8_t* out) {
  // Each round moves the register on five steps, so after these 17 it is back at position 0.
  turing_round<0>(ctx, out);
  turing_round<5>(ctx, out + 20);
  turing_round<10>(ctx, out + 40);
  turing_round<15>(ctx, out + 60);
  turing_round<3>(ctx, out + 80);
  turing_round<8>(ctx, out + 100);
  turing_round<13>(ctx, out + 120);
  turing_round<1>(ctx, out + 140);
  turing_round<6>(ctx, out + 160);
  turing_round<11>(ctx, out + 180);
  turing_round<16>(ctx, out + 200);
  turing_round<4>(ctx, out + 220);
  turing_round<9>(ctx, out + 240);
  turing_round<14>(ctx, out + 260);
  turing_round<2>(ctx, out + 280);
  turing_round<7>(ctx, out + 300);
  turing_round<12>(ctx, out + 320);
  return TURING_BATCH;
}
