#include <memory>

#include "exchange_key.h"
#include "link_keystream.h"
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

// "~ssl~" and the server's exponent and modulus.
std::string exchange(TestClient& c) {
  c.send("~ssl~");
  std::string got = c.bytes(2 * kBlock);
  EXPECT_EQ(got.size(), 2 * kBlock);
  return got;
}

// The enciphered login with the clear blocks behind the link key; `first` (a command, say)
// follows the blocks in the same write, enciphered. Returns the login's answer.
std::string login_with_blocks(TestClient& c, const std::string& blocks, std::string first = "") {
  std::string image = raised(as_string(link_key()) + blocks, exchange(c));
  auto sent = std::make_unique<zv::LinkKeystream>(link_key());
  sent->apply(first.data(), first.size());
  c.send(image + first);
  c.encipher(std::move(sent), std::make_unique<zv::LinkKeystream>(link_key()));
  return c.login_answer();
}

std::string login_enciphered(TestClient& c, const std::string& text, const std::string& first = "") {
  return login_with_blocks(c, stuffed(text), first);
}

TEST_F(ServerTest, AnEncipheredLinkCarriesStatementsAndRows) {
  TestClient c(port());
  // The first command rides in the same write as the login blocks.
  EXPECT_EQ(login_enciphered(c, login_text("SYSDBA", "SYSDBA", " char_set = '' iso_level = ''"),
                             command_message("select 'early'")),
            kLoggedIn);
  EXPECT_EQ(c.reply().records.at(0).rows, std::vector<Row>({{"early"}}));
  // More than 3400 bytes each way, so that both directions take a second batch.
  std::string body;
  for (int i = 0; i < 500; ++i) body += "0123456789";
  Reply r = c.run("create table docs(body VARCHAR(5000)); insert into docs values('" + body + "'); select body from docs");
  ASSERT_EQ(r.letters, "IA");
  EXPECT_TRUE(r.records[1].rows == std::vector<Row>({{body}}));
  EXPECT_EQ(c.run("select x from nowhere").records.at(0).text, "[E10001]no such table: nowhere");
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
    EXPECT_EQ(login_enciphered(c, padded_login(pad)), kLoggedIn) << pad;
    EXPECT_EQ(c.value("select 1"), be32(1)) << pad;
  }
}

TEST_F(ServerTest, EncipheredRefusalsGoOutEncipheredAndCloseTheLink) {
  // A block without its terminator must end in 07 07.
  const char* kNoText = "[E10002]enciphered login blocks that hold no login text";
  for (auto [blocks, error] :
       {std::pair{stuffed(login_text("SYSDBA", "wrong")), "[E10002]login refused: wrong user name or password"},
        {stuffed("hello there"), "[E10002]not a login text"},
        {stuffed(padded_login(kLongestPad + 1)), "[E10002]login text too long"},
        {std::string(kBlock, 'x'), kNoText},
        {std::string(30, 'l') + "\x07\x08", kNoText}}) {
    TestClient c(port());
    EXPECT_EQ(login_with_blocks(c, blocks), "E") << error;
    EXPECT_EQ(c.string(), error);
    EXPECT_TRUE(c.closed_by_server()) << error;
  }
}

}  // namespace
}  // namespace zvtest
