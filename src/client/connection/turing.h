// The Turing stream cipher (Rose and Hawkes, QUALCOMM 2002): keying, IV loading and keystream
// generation, 340 bytes at a time. Key and IV bytes become words most significant byte first.
#pragma once
#include <cstdint>

enum { TURING_MAX_KEY = 32, TURING_REGISTER = 17, TURING_BATCH = 340 };

struct TuringContext {
  int32_t keylen;  // key words, 8 for the link key
  uint32_t K[TURING_MAX_KEY / 4];
  uint32_t R[TURING_REGISTER];
  uint32_t S0[256], S1[256], S2[256], S3[256];
  int32_t counter;  // keystream bytes consumed since the last refill
  uint8_t batch[TURING_BATCH];
};

// The published fixed tables.
extern const uint8_t Sbox[256];
extern const uint32_t Qbox[256];
extern const uint32_t Multab[256];

// The fixed keyed S-box of one word.
uint32_t fixedS(uint32_t w);
// A length that is not a multiple of 4 is rounded down; more than 32 bytes are cut to 32.
void TuringKey(TuringContext* ctx, const uint8_t* key, int key_length);
// Loads the register from the IV (at most the words the register has room for) and the key.
void TuringIV(TuringContext* ctx, const uint8_t* iv, int iv_length);
// Writes the next 340 bytes of keystream and returns 340.
int TuringGen(TuringContext* ctx, uint8_t* out);
