// The Turing cipher against every known-answer vector: the key words, the register after the IV
// and 1,020 bytes of keystream.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "connection/turing.h"
#include "vectors.h"

namespace {

std::vector<std::string> words_hex(const uint32_t* w, int n) {
  std::vector<std::string> out;
  char text[9];
  for (int i = 0; i < n; ++i) {
    snprintf(text, sizeof text, "%08x", w[i]);
    out.push_back(text);
  }
  return out;
}

// A context keyed with key and iv from hex, as the vectors make it.
TuringContext keyed(const std::string& key_hex, const std::string& iv_hex) {
  TuringContext ctx{};
  std::vector<uint8_t> key = from_hex(key_hex), iv = from_hex(iv_hex);
  TuringKey(&ctx, key.data(), static_cast<int>(key.size()));
  TuringIV(&ctx, iv.data(), static_cast<int>(iv.size()));
  return ctx;
}

}  // namespace

TEST(Turing, EveryKeystreamVector) {
  nlohmann::json file = vector_file("turing.json");
  ASSERT_EQ(12u, file["vectors"].size());
  for (const nlohmann::json& v : file["vectors"]) {
    TuringContext ctx = keyed(v["key"], v["iv"]);
    EXPECT_EQ(v["K"].get<std::vector<std::string>>(), words_hex(ctx.K, ctx.keylen)) << v["comment"];
    EXPECT_EQ(v["R"].get<std::vector<std::string>>(), words_hex(ctx.R, TURING_REGISTER)) << v["comment"];
    uint8_t out[3 * TURING_BATCH];
    for (int i = 0; i < 3; ++i) EXPECT_EQ(TURING_BATCH, TuringGen(&ctx, out + i * TURING_BATCH));
    EXPECT_EQ(v["keystream"], to_hex(out, sizeof out)) << v["comment"];
  }
}
