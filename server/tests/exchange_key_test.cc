#include "exchange_key.h"

#include <gtest/gtest.h>

#include <random>
#include <set>

#include "vectors.h"

namespace zvtest {
namespace {

TEST(ServerExchangeKey, ModexpOfEveryVectorFromAndToLittleEndianImages) {
  const nlohmann::json cases = load_vectors("modexp.json")["cases"];
  ASSERT_EQ(cases.size(), 50u);
  for (const auto& c : cases) {
    zv::Block out{};
    ASSERT_TRUE(zv::modexp_block(block_from_hex(c["base"]), block_from_hex(c["exp"]), block_from_hex(c["mod"]), out))
        << c["comment"];
    EXPECT_EQ(to_hex(out.data(), out.size()), c["out"].get<std::string>()) << c["comment"];
  }
  zv::Block out{};
  EXPECT_FALSE(zv::modexp_block(block_from_hex("02"), block_from_hex("03"), zv::Block{}, out));
}

TEST(ServerExchangeKey, FreshKeysFillTheModulusAndUndoTheirExponent) {
  std::mt19937 random(12345);
  std::set<zv::Block> moduli;
  for (int k = 0; k < 3; ++k) {
    std::optional<zv::ExchangeKey> key = zv::make_exchange_key();
    ASSERT_TRUE(key);
    EXPECT_EQ(to_hex(key->exponent.data(), 32), "010001" + std::string(58, '0'));
    EXPECT_GE(key->modulus[31], 0x80);
    moduli.insert(key->modulus);

    // A link key below 2^255, text blocks topped with 07 07, and the edges 0 and 1.
    std::vector<zv::Block> blocks = {block_from_hex(""), block_from_hex("01")};
    for (int i = 0; i < 20; ++i) {
      zv::Block b;
      for (auto& byte : b) byte = static_cast<uint8_t>(random());
      if (i % 2) {
        b[31] &= 0x7f;
      } else {
        b[30] = b[31] = 7;
      }
      blocks.push_back(b);
    }
    for (const zv::Block& plain : blocks) {
      zv::Block sent{};
      ASSERT_TRUE(zv::modexp_block(plain, key->exponent, key->modulus, sent));
      EXPECT_EQ(key->decipher(sent), plain);
    }
  }
  EXPECT_EQ(moduli.size(), 3u);
}

}  // namespace
}  // namespace zvtest
