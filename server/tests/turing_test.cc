#include "turing.h"

#include <gtest/gtest.h>

#include <string>

#include "link_keystream.h"
#include "vectors.h"

namespace zvtest {
namespace {

// Keyed, given the IV, then three batches: the raw keystream of one vector.
std::string keystream(const nlohmann::json& v) {
  std::string key = from_hex(v["key"]), iv = from_hex(v["iv"]);
  zv::Turing t;
  t.key(reinterpret_cast<const uint8_t*>(key.data()), key.size());
  t.iv(reinterpret_cast<const uint8_t*>(iv.data()), iv.size());
  std::string out(3 * zv::Turing::kBatch, '\0');
  for (size_t i = 0; i < 3; ++i) t.gen(reinterpret_cast<uint8_t*>(&out[i * zv::Turing::kBatch]));
  return out;
}

TEST(ServerTuring, EveryVectorsKeystreamAndThePublishedTestCase) {
  const nlohmann::json vectors = load_vectors("turing.json")["vectors"];
  ASSERT_EQ(vectors.size(), 12u);
  for (const auto& v : vectors) {
    EXPECT_EQ(to_hex(keystream(v).data(), 3 * zv::Turing::kBatch), v["keystream"].get<std::string>()) << v["comment"];
  }
  nlohmann::json published = {{"key", to_hex("test key 128bits", 16)}, {"iv", "00000000"}};
  EXPECT_EQ(to_hex(keystream(published).data(), 20), "696626bbdc6e09f6da9abab5b56c14878246df18");
}

// A link's keystream: each batch serves ten times over, the 3400th byte brings the next.
TEST(ServerLinkKeystream, EachBatchServesTenTimesThenTheNextComes) {
  const nlohmann::json v = load_vectors("turing.json")["vectors"][0];
  ASSERT_EQ(v["key"].get<std::string>().size(), 64u);
  ASSERT_EQ(v["iv"], "");
  const std::string raw = from_hex(v["keystream"]);
  const size_t n = 3 * 3400;
  std::string expected(n, '\0');
  for (size_t i = 0; i < n; ++i) expected[i] = raw[i / 3400 * 340 + i % 340];

  std::string key = from_hex(v["key"]);
  zv::Block link_key;
  std::copy(key.begin(), key.end(), link_key.begin());
  for (size_t piece : {size_t{1}, size_t{339}, size_t{3400}, n}) {
    zv::LinkKeystream ks(link_key);
    std::string data(n, '\0');
    for (size_t at = 0; at < n; at += piece) ks.apply(&data[at], std::min(piece, n - at));
    EXPECT_TRUE(data == expected) << "pieces of " << piece;
  }
}

}  // namespace
}  // namespace zvtest
