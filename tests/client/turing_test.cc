// The Turing cipher against every known-answer vector: the fixed tables, the keyed state, the
// register after the IV and 1,020 bytes of keystream.
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

TEST(Turing, PublishedTables) {
  nlohmann::json tables = vector_file("turing-tables.json");
  std::vector<std::string> sbox;
  for (uint8_t b : Sbox) sbox.push_back(to_hex(&b, 1));
  EXPECT_EQ(tables["Sbox"].get<std::vector<std::string>>(), sbox);
  EXPECT_EQ(tables["Qbox"].get<std::vector<std::string>>(), words_hex(Qbox, 256));
  EXPECT_EQ(tables["Multab"].get<std::vector<std::string>>(), words_hex(Multab, 256));
}

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

TEST(Turing, KeyedState) {
  const nlohmann::json state = vector_file("turing.json")["state"];
  std::vector<uint8_t> key = from_hex(state["key"]);
  std::vector<uint32_t> fixed;
  for (size_t i = 0; i < key.size(); i += 4)
    fixed.push_back(fixedS(static_cast<uint32_t>(key[i]) << 24 | key[i + 1] << 16 | key[i + 2] << 8 | key[i + 3]));
  EXPECT_EQ(state["K_before_mix"].get<std::vector<std::string>>(), words_hex(fixed.data(), 8));
  TuringContext ctx = keyed(state["key"], state["iv"]);
  EXPECT_EQ(state["keylen_words"], ctx.keylen);
  EXPECT_EQ(state["K"].get<std::vector<std::string>>(), words_hex(ctx.K, 8));
  EXPECT_EQ(state["R"].get<std::vector<std::string>>(), words_hex(ctx.R, TURING_REGISTER));
  EXPECT_EQ(state["S0"].get<std::vector<std::string>>(), words_hex(ctx.S0, 256));
  EXPECT_EQ(state["S1"].get<std::vector<std::string>>(), words_hex(ctx.S1, 256));
  EXPECT_EQ(state["S2"].get<std::vector<std::string>>(), words_hex(ctx.S2, 256));
  EXPECT_EQ(state["S3"].get<std::vector<std::string>>(), words_hex(ctx.S3, 256));
}

// Key lengths are rounded down to whole words and cut at 32 bytes.
TEST(Turing, KeyLengthsAndRepeatedBatches) {
  std::vector<uint8_t> key(40, 0x5a);
  const struct {
    int given, words;
  } cases[] = {{40, 8}, {32, 8}, {31, 7}, {17, 4}, {16, 4}, {3, 0}};
  for (const auto& c : cases) {
    TuringContext ctx{};
    TuringKey(&ctx, key.data(), c.given);
    EXPECT_EQ(c.words, ctx.keylen) << c.given;
  }
  // Two batches from one state differ: the register moves on.
  TuringContext ctx = keyed(std::string(64, '1'), "");
  uint8_t first[TURING_BATCH], second[TURING_BATCH];
  TuringGen(&ctx, first);
  TuringGen(&ctx, second);
  EXPECT_NE(to_hex(first, TURING_BATCH), to_hex(second, TURING_BATCH));
}
