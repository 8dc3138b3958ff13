#include "connection/bignum.h"

#include <cstring>

int bn_modexp(uint32_t* out, const uint32_t* base, const uint32_t* exp, const uint32_t* mod, int n) {
  if (n <= 0) return -1;
  int top_word = bn_digits(exp, n) - 1;
  // An exponent with no set bit is what a server that fell silent leaves: nothing to compute.
  if (top_word < 0 || n > BN_MAX_WORDS) {
    bn_zero(out, n);
    return -1;
  }
  int top_bit = 31 - __builtin_clz(exp[top_word]);
  uint32_t acc[BN_MAX_WORDS];
  // Reducing the base first makes exp = 1 give base mod mod like every other exponent.
  int rc = bn_mod(acc, base, n, mod, n);
  for (int w = top_word; w >= 0 && rc == 0; --w) {
    for (int bit = (w == top_word ? top_bit - 1 : 31); bit >= 0 && rc == 0; --bit) {
      rc = bn_modmul(acc, acc, acc, mod, n);
      if (rc == 0 && (exp[w] >> bit & 1)) rc = bn_modmul(acc, acc, base, mod, n);
    }
  }
  bn_copy(out, acc, n);
  bn_zero(acc, BN_MAX_WORDS);
  return rc;
}

int bn_modmul(uint32_t* out, const uint32_t* a, const uint32_t* b, const uint32_t* mod, int n) {
  uint32_t p[BN_WORK_WORDS];
  bn_mul(p, a, b, n);
  int rc = bn_mod(out, p, 2 * n, mod, n);
  bn_zero(p, BN_WORK_WORDS);
  return rc;
}

void bn_mul(uint32_t* out, const uint32_t* a, const uint32_t* b, int n) {
  memset(out, 0, 2 * static_cast<size_t>(n) * sizeof *out);
  for (int i = 0; i < n; ++i) {
    uint64_t carry = 0;
    for (int j = 0; j < n; ++j) {
      uint64_t t = static_cast<uint64_t>(a[i]) * b[j] + out[i + j] + carry;
      out[i + j] = static_cast<uint32_t>(t);
      carry = t >> 32;
    }
    out[i + n] = static_cast<uint32_t>(carry);
  }
}

int bn_mod(uint32_t* r, const uint32_t* u, int ulen, const uint32_t* v, int vlen) {
  uint32_t qq[BN_WORK_WORDS], rr[BN_WORK_WORDS];
  int rc = bn_div(qq, rr, u, ulen, v, vlen);
  if (rc == 0) bn_copy(r, rr, vlen);
  else bn_zero(r, vlen);
  bn_zero(qq, BN_WORK_WORDS);
  bn_zero(rr, BN_WORK_WORDS);
  return rc;
}

namespace {

// Knuth's Algorithm D for a divisor of vd >= 2 significant words and a dividend of ud >= vd.
void divide_long(uint32_t* q, uint32_t* r, const uint32_t* u, int ud, const uint32_t* v, int vd) {
  uint32_t un[BN_WORK_WORDS + 1], vn[BN_WORK_WORDS];
  // Normalise: shift both until the divisor's top word has its top bit set.
  int s = __builtin_clz(v[vd - 1]);
  bn_shl(vn, v, s, vd);
  un[ud] = bn_shl(un, u, s, ud);
  const uint64_t b = 1ull << 32;
  for (int j = ud - vd; j >= 0; --j) {
    uint64_t num = static_cast<uint64_t>(un[j + vd]) << 32 | un[j + vd - 1];
    uint64_t qhat = num / vn[vd - 1], rhat = num % vn[vd - 1];
    // The estimate is at most two too large; the next digit shows when.
    while (qhat >= b || qhat * vn[vd - 2] > (rhat << 32 | un[j + vd - 2])) {
      --qhat;
      rhat += vn[vd - 1];
      if (rhat >= b) break;
    }
    uint32_t borrow = bn_mul_sub(un + j, vn, static_cast<uint32_t>(qhat), vd);
    bool below_zero = un[j + vd] < borrow;
    un[j + vd] -= borrow;
    if (below_zero) {
      --qhat;
      un[j + vd] += bn_add(un + j, un + j, vn, vd);
    }
    q[j] = static_cast<uint32_t>(qhat);
  }
  // What is left in the low vd words is the remainder, still shifted.
  bn_shr(r, un, s, vd);
  bn_zero(un, BN_WORK_WORDS + 1);
  bn_zero(vn, BN_WORK_WORDS);
}

}  // namespace

int bn_div(uint32_t* q, uint32_t* r, const uint32_t* u, int ulen, const uint32_t* v, int vlen) {
  if (ulen < 0 || vlen < 0 || ulen > BN_WORK_WORDS || vlen > BN_WORK_WORDS) return -1;
  bn_zero(q, ulen);
  bn_zero(r, vlen);
  int ud = bn_digits(u, ulen), vd = bn_digits(v, vlen);
  if (vd == 0) return -1;
  int order = ud < vd ? -1 : ud > vd ? 1 : bn_cmp(u, v, ud);
  if (order < 0) {
    bn_copy(r, u, ud);
  } else if (order == 0) {
    q[0] = 1;
  } else if (vd == 1) {
    r[0] = bn_div_word(q, u, v[0], ud);
  } else {
    divide_long(q, r, u, ud, v, vd);
  }
  return 0;
}

uint32_t bn_div_word(uint32_t* q, const uint32_t* u, uint32_t v, int n) {
  uint64_t rem = 0;
  for (int i = n - 1; i >= 0; --i) {
    uint64_t num = rem << 32 | u[i];
    q[i] = static_cast<uint32_t>(num / v);
    rem = num % v;
  }
  return static_cast<uint32_t>(rem);
}

uint32_t bn_add(uint32_t* out, const uint32_t* a, const uint32_t* b, int n) {
  uint64_t carry = 0;
  for (int i = 0; i < n; ++i) {
    uint64_t t = static_cast<uint64_t>(a[i]) + b[i] + carry;
    out[i] = static_cast<uint32_t>(t);
    carry = t >> 32;
  }
  return static_cast<uint32_t>(carry);
}

uint32_t bn_mul_sub(uint32_t* a, const uint32_t* b, uint32_t m, int n) {
  uint32_t borrow = 0;
  for (int i = 0; i < n; ++i) {
    uint64_t p = static_cast<uint64_t>(m) * b[i] + borrow;
    uint32_t low = static_cast<uint32_t>(p);
    borrow = static_cast<uint32_t>(p >> 32) + (a[i] < low);
    a[i] -= low;
  }
  return borrow;
}

int bn_cmp(const uint32_t* a, const uint32_t* b, int n) {
  for (int i = n - 1; i >= 0; --i)
    if (a[i] != b[i]) return a[i] > b[i] ? 1 : -1;
  return 0;
}

uint32_t bn_shl(uint32_t* out, const uint32_t* a, int bits, int n) {
  if (bits < 0 || bits >= 32) return 0;
  if (bits == 0) {
    bn_copy(out, a, n);
    return 0;
  }
  uint32_t carry = 0;
  for (int i = 0; i < n; ++i) {
    uint32_t w = a[i];
    out[i] = w << bits | carry;
    carry = w >> (32 - bits);
  }
  return carry;
}

uint32_t bn_shr(uint32_t* out, const uint32_t* a, int bits, int n) {
  if (bits < 0 || bits >= 32) return 0;
  if (bits == 0) {
    bn_copy(out, a, n);
    return 0;
  }
  uint32_t carry = 0;
  for (int i = n - 1; i >= 0; --i) {
    uint32_t w = a[i];
    out[i] = w >> bits | carry;
    carry = w << (32 - bits);
  }
  return carry;
}

int bn_digits(const uint32_t* a, int n) {
  while (n > 0 && a[n - 1] == 0) --n;
  return n;
}

void bn_set_word(uint32_t* a, uint32_t d, int n) {
  if (n <= 0) return;
  bn_zero(a, n);
  a[0] = d;
}

void bn_zero(uint32_t* a, int n) {
  if (n > 0) explicit_bzero(a, static_cast<size_t>(n) * sizeof *a);
}

void bn_copy(uint32_t* out, const uint32_t* a, int n) {
  if (n > 0 && out != a) memmove(out, a, static_cast<size_t>(n) * sizeof *a);
}
