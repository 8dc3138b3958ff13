// The big-number layer: every modular exponentiation vector, and the exponentiations that must
// be refused or come out zero.
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
