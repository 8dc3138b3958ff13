// Unsigned big numbers as arrays of 32-bit words, least significant word first; every call is told
// its word counts. Enough for the link's 256-bit exponentiation: operands of up to 51 words.
#pragma once
#include <cstdint>

enum { BN_MAX_WORDS = 51, BN_WORK_WORDS = 2 * BN_MAX_WORDS };

// out = base^exp mod mod, reduced in every case. -1, with out zeroed and nothing computed, when n
// is 0 or above BN_MAX_WORDS, or exp has no set bit; -1 with out zeroed for a zero mod. Else 0.
int bn_modexp(uint32_t* out, const uint32_t* base, const uint32_t* exp, const uint32_t* mod, int n);
// out = a*b mod mod, through a double-length product. -1 for a zero mod.
int bn_modmul(uint32_t* out, const uint32_t* a, const uint32_t* b, const uint32_t* mod, int n);
// Schoolbook product: out has 2n words and may not overlap a or b.
void bn_mul(uint32_t* out, const uint32_t* a, const uint32_t* b, int n);
// r (vlen words) = u mod v; ulen and vlen at most BN_WORK_WORDS. -1 for a zero v.
int bn_mod(uint32_t* r, const uint32_t* u, int ulen, const uint32_t* v, int vlen);
// q (ulen words) = u / v and r (vlen words) = u mod v, by Knuth's Algorithm D. -1, with q and r
// zeroed, for a zero v or a length above BN_WORK_WORDS.
int bn_div(uint32_t* q, uint32_t* r, const uint32_t* u, int ulen, const uint32_t* v, int vlen);
// q = u / v over n words; returns the remainder.
uint32_t bn_div_word(uint32_t* q, const uint32_t* u, uint32_t v, int n);
// out = a + b over n words; returns the carry.
uint32_t bn_add(uint32_t* out, const uint32_t* a, const uint32_t* b, int n);
// a -= m*b over n words; returns the borrow out of the top word.
uint32_t bn_mul_sub(uint32_t* a, const uint32_t* b, uint32_t m, int n);
// 1, 0 or -1 as a is above, equal to or below b.
int bn_cmp(const uint32_t* a, const uint32_t* b, int n);
// Shifts by fewer than 32 bits and return the bits shifted out; 32 or more does nothing and returns 0.
uint32_t bn_shl(uint32_t* out, const uint32_t* a, int bits, int n);
uint32_t bn_shr(uint32_t* out, const uint32_t* a, int bits, int n);
// The number of significant words.
int bn_digits(const uint32_t* a, int n);
void bn_set_word(uint32_t* a, uint32_t d, int n);
// Clears n words in a way the compiler keeps, so that work arrays holding key material are wiped.
void bn_zero(uint32_t* a, int n);
void bn_copy(uint32_t* out, const uint32_t* a, int n);
