#include "exchange_key.h"

#include <gtest/gtest.h>

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
  std::set<zv::Block> moduli;
  for (int k = 0; k < 3; ++k) {
    std::optional<zv::ExchangeKey> key = zv::make_exchange_key();
    ASSERT_TRUE(key);
    EXPECT_EQ(to_hex(key->exponent.data(), 32), "010001" + std::string(58, '0'));
    EXPECT_GE(key->modulus[31], 0x80);
    moduli.insert(key->modulus);
    // The edges 0 and 1, and a link key just below 2^255.
    for (const zv::Block& plain : {block_from_hex(""), block_from_hex("01"), block_from_hex(std::string(62, 'f') + "7f")}) {
      zv::Block sent{};
      ASSERT_TRUE(zv::modexp_block(plain, key->exponent, key->modulus, sent));
      EXPECT_EQ(key->decipher(sent), plain);
    }
  }
  EXPECT_EQ(moduli.size(), 3u);
}

}  // namespace
}  // namespace zvtest
