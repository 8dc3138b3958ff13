#include "exchange_key.h"
#include "test_client.h"

namespace zvtest {
namespace {

constexpr size_t kBlock = 32;

// The client's link key: any 32 bytes below 2^255.
zv::Block link_key() {
  zv::Block key;
  for (size_t i = 0; i < key.size(); ++i) key[i] = static_cast<uint8_t>(i * 37 + 11);
  key[31] = 0x5a;
  return key;
}

std::string as_string(const zv::Block& b) { return std::string(b.begin(), b.end()); }

zv::Block as_block(const std::string& s) {
  zv::Block b{};
  std::copy(s.begin(), s.begin() + static_cast<long>(std::min(s.size(), b.size())), b.begin());
  return b;
}

// Every 30 bytes of text are followed by 07 07, which keep a block of text below the
// modulus; the terminator ends the text.
std::string stuffed(const std::string& text) {
  std::string out;
  for (size_t at = 0; at < text.size(); at += 30) {
    out += text.substr(at, 30);
    if (text.size() - at >= 30) out += "\x07\x07";
  }
  return out + '\0';
}

// The clear bytes in zero-padded blocks, each raised to the exponent modulo the modulus of
// `exchange`, the 64 bytes the server sent.
std::string raised(std::string plain, const std::string& exchange) {
  plain.resize((plain.size() + kBlock - 1) / kBlock * kBlock, '\0');
  const zv::Block exponent = as_block(exchange.substr(0, kBlock)), modulus = as_block(exchange.substr(kBlock));
  std::string out;
  for (size_t at = 0; at < plain.size(); at += kBlock) {
    zv::Block block{};
    EXPECT_TRUE(zv::modexp_block(as_block(plain.substr(at, kBlock)), exponent, modulus, block));
    out += as_string(block);
  }
  return out;
}

// The enciphered login with the clear blocks behind the link key, raised with the exponent and
// modulus that the server answers "~ssl~" with; the login's answer.
std::string login_with_blocks(TestClient& c, const std::string& blocks) {
  c.send("~ssl~");
  c.send(raised(as_string(link_key()) + blocks, c.bytes(2 * kBlock)));
  c.encipher(link_key());
  return c.login_answer();
}

// A login text `pad` bytes longer than the shortest; kLongestPad makes it as long as the limit.
std::string padded_login(size_t pad) {
  return login_text("SYSDBA", "SYSDBA", " current_schema = '" + std::string(pad, 's') + "'");
}
const size_t kLongestPad = static_cast<size_t>(zv::ServerOptions{}.login_max) - padded_login(0).size();

TEST_F(ServerTest, EncipheredLoginTextsOfEveryLengthAroundTheBlocksAreRead) {
  std::vector<size_t> pads = {kLongestPad};
  for (size_t pad = 0; pad < 34; ++pad) pads.push_back(pad);  // every length mod 30, and past a block
  for (size_t pad : pads) {
    TestClient c(port());
    EXPECT_EQ(login_with_blocks(c, stuffed(padded_login(pad))), kLoggedIn) << pad;
    EXPECT_EQ(c.value("select 1"), be32(1)) << pad;
  }
}

}  // namespace
}  // namespace zvtest
