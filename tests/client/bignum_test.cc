// The big-number layer: every modular exponentiation vector, the division's hard cases, and the
// exponent that must be refused.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "connection/bignum.h"
#include "vectors.h"

namespace {

enum { WORDS = 8 };

// 32 little-endian bytes as 8 words, least significant first.
std::vector<uint32_t> number(const std::string& hex) {
  std::vector<uint8_t> bytes = from_hex(hex);
  std::vector<uint32_t> w(WORDS);
  for (int i = 0; i < WORDS; ++i)
    w[i] = bytes[4 * i] | bytes[4 * i + 1] << 8 | bytes[4 * i + 2] << 16 | static_cast<uint32_t>(bytes[4 * i + 3]) << 24;
  return w;
}

std::string number_hex(const std::vector<uint32_t>& w) {
  uint8_t bytes[4 * WORDS];
  for (int i = 0; i < WORDS; ++i)
    for (int b = 0; b < 4; ++b) bytes[4 * i + b] = static_cast<uint8_t>(w[i] >> (8 * b));
  return to_hex(bytes, sizeof bytes);
}

std::string modexp_hex(const std::string& base, const std::string& exp, const std::string& mod, int* rc) {
  std::vector<uint32_t> b = number(base), e = number(exp), m = number(mod), out(WORDS, 0xDEADBEEF);
  *rc = bn_modexp(out.data(), b.data(), e.data(), m.data(), WORDS);
  return number_hex(out);
}

const std::string zero(64, '0');

}  // namespace

TEST(BigNumber, EveryModexpVector) {
  nlohmann::json file = vector_file("modexp.json");
  ASSERT_EQ(50u, file["cases"].size());
  for (const nlohmann::json& c : file["cases"]) {
    int rc = -2;
    EXPECT_EQ(c["out"], modexp_hex(c["base"], c["exp"], c["mod"], &rc)) << c["comment"];
    EXPECT_EQ(0, rc) << c["comment"];
  }
  // Exponent 1 with a base above the modulus still gives the reduced value.
  const nlohmann::json& a = file["ambiguous_exp1_base_ge_mod"];
  int rc = -2;
  EXPECT_EQ(a["out_reduced"], modexp_hex(a["base"], a["exp"], a["mod"], &rc));
  EXPECT_EQ(0, rc);
}

TEST(BigNumber, RefusedAndDegenerateExponentiations) {
  const std::string mod = "61c87951eb469b94c8fd77516cbe18cd0d5e4927a91441771f0a50035d00c3b0";
  const std::string five = "05" + std::string(62, '0'), e65537 = "010001" + std::string(58, '0');
  const struct {
    const char* what;
    std::string base, exp, mod, out;
    int rc;
  } cases[] = {
      {"exponent 65537", five, e65537, mod, "7d770107098c7dda3e7087ae2fd56d0485f5c07b82b28d6e439a989406e5a719", 0},
      {"5^2 mod 7", five, "02" + std::string(62, '0'), "07" + std::string(62, '0'), "04" + std::string(62, '0'), 0},
      {"a zero block stays zero", zero, e65537, mod, zero, 0},
      {"a zero exponent is refused", five, zero, mod, zero, -1},
      {"a zero modulus gives zero", five, e65537, zero, zero, -1},
      {"nothing at all", zero, zero, zero, zero, -1},
  };
  for (const auto& c : cases) {
    int rc = -2;
    EXPECT_EQ(c.out, modexp_hex(c.base, c.exp, c.mod, &rc)) << c.what;
    EXPECT_EQ(c.rc, rc) << c.what;
  }
  uint32_t word = 7;
  EXPECT_EQ(-1, bn_modexp(&word, &word, &word, &word, 0));
  EXPECT_EQ(7u, word);
}

TEST(BigNumber, DivisionHardCases) {
  const struct {
    std::vector<uint32_t> u, v, q, r;
  } cases[] = {
      // The first estimate is one too large and the subtraction goes below zero: one add-back.
      {{0x0, 0x0, 0x80000000, 0x7fffffff}, {0x1, 0x0, 0x80000000}, {0xfffffffe, 0x0, 0x0, 0x0}, {0x2, 0xffffffff, 0x7fffffff}},
      {{0x3, 0x0, 0x80000000}, {0x1, 0x20000000}, {0xffffffff, 0x3, 0x0}, {0x4, 0x1ffffffc}},
      // An estimate of 2^32 that the test against the next digit brings down.
      {{0x0, 0xfffffffe, 0x80000000}, {0xffffffff, 0x80000000}, {0xffffffff, 0x0, 0x0}, {0xffffffff, 0x7fffffff}},
      {{0xffffffff, 0xffffffff, 0xffffffff, 0xffffffff}, {0xffffffff, 0xffffffff}, {0x1, 0x0, 0x1, 0x0}, {0x0, 0x0}},
      {{0x89abcdef, 0x1234567, 0x5}, {0x7}, {0x383d1d6b, 0xb70509ea, 0x0}, {0x2}},
      {{0x5, 0x6, 0x0}, {0x5, 0x6, 0x0}, {0x1, 0x0, 0x0}, {0x0, 0x0, 0x0}},
      {{0x4, 0x6}, {0x5, 0x6, 0x0}, {0x0, 0x0}, {0x4, 0x6, 0x0}},
  };
  for (const auto& c : cases) {
    std::vector<uint32_t> q(c.u.size(), 0xDEADBEEF), r(c.v.size(), 0xDEADBEEF);
    int ulen = static_cast<int>(c.u.size()), vlen = static_cast<int>(c.v.size());
    EXPECT_EQ(0, bn_div(q.data(), r.data(), c.u.data(), ulen, c.v.data(), vlen));
    EXPECT_EQ(c.q, q);
    EXPECT_EQ(c.r, r);
    std::vector<uint32_t> m(c.v.size(), 0xDEADBEEF);
    EXPECT_EQ(0, bn_mod(m.data(), c.u.data(), ulen, c.v.data(), vlen));
    EXPECT_EQ(c.r, m);
  }
  uint32_t u[2] = {1, 2}, v[2] = {0, 0}, q[2] = {9, 9}, r[2] = {9, 9};
  EXPECT_EQ(-1, bn_div(q, r, u, 2, v, 2));
  EXPECT_EQ(0u, q[0] | q[1] | r[0] | r[1]);
}

TEST(BigNumber, WordHelpers) {
  uint32_t a[2] = {0x80000001, 0xffffffff}, b[2] = {0xffffffff, 0x00000001}, out[4];
  EXPECT_EQ(1u, bn_add(out, a, b, 2));
  EXPECT_EQ((std::vector<uint32_t>{0x80000000, 0x00000001}), std::vector<uint32_t>(out, out + 2));
  bn_mul(out, a, b, 2);
  // 0xffffffff80000001 * 0x1ffffffff
  EXPECT_EQ((std::vector<uint32_t>{0x7fffffff, 0x2, 0xfffffffe, 0x1}), std::vector<uint32_t>(out, out + 4));
  EXPECT_EQ(0x1u, bn_shl(out, a, 1, 2));
  EXPECT_EQ((std::vector<uint32_t>{0x00000002, 0xffffffff}), std::vector<uint32_t>(out, out + 2));
  EXPECT_EQ(0x80000000u, bn_shr(out, a, 1, 2));
  EXPECT_EQ((std::vector<uint32_t>{0xc0000000, 0x7fffffff}), std::vector<uint32_t>(out, out + 2));
  out[0] = out[1] = 5;
  EXPECT_EQ(0u, bn_shl(out, a, 32, 2));
  EXPECT_EQ(0u, bn_shr(out, a, 40, 2));
  EXPECT_EQ((std::vector<uint32_t>{5, 5}), std::vector<uint32_t>(out, out + 2));
  EXPECT_EQ(1, bn_cmp(a, b, 2));
  EXPECT_EQ(-1, bn_cmp(b, a, 2));
  EXPECT_EQ(0, bn_cmp(a, a, 2));
  bn_set_word(out, 9, 2);
  EXPECT_EQ(1, bn_digits(out, 2));
  EXPECT_EQ(0, bn_digits(out + 1, 1));
  uint32_t c[2] = {10, 3};
  EXPECT_EQ(1u, bn_mul_sub(c, b, 2, 2));  // 0x3_0000000a - 2 * 0x1_ffffffff goes below zero
  EXPECT_EQ((std::vector<uint32_t>{0xc, 0xffffffff}), std::vector<uint32_t>(c, c + 2));
  EXPECT_EQ(1u, bn_div_word(out, a, 4, 2));
  EXPECT_EQ((std::vector<uint32_t>{0xe0000000, 0x3fffffff}), std::vector<uint32_t>(out, out + 2));
}
