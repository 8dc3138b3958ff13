#include "enciphered_login.h"

#include <algorithm>
#include <memory>

#include "link_keystream.h"

namespace zv {
namespace {

// Each block of login text holds 30 bytes of it and, above them, the two bytes 07 07 that
// keep the block below the modulus. The last block holds the text's end and its terminator.
constexpr size_t kTextPerBlock = 30;
constexpr uint8_t kFill = 7;

bool send_key(ReplyWriter& out, const ExchangeKey& key) {
  out.bytes(key.exponent.data(), key.exponent.size());
  out.bytes(key.modulus.data(), key.modulus.size());
  return out.flush();
}

bool read_block(SocketReader& in, const ExchangeKey& key, Block& plain) {
  Block block;
  if (!in.exact(block.data(), block.size())) return false;
  plain = key.decipher(block);
  return true;
}

LoginTextRead read_text_blocks(SocketReader& in, const ExchangeKey& key, size_t max, std::string& text) {
  for (;;) {
    Block plain;
    if (!read_block(in, key, plain)) return LoginTextRead::kEnded;
    auto text_end = plain.begin() + kTextPerBlock;
    auto terminator = std::find(plain.begin(), text_end, 0);
    text.append(plain.begin(), terminator);
    if (text.size() > max) return LoginTextRead::kTooLong;
    if (terminator != text_end) return LoginTextRead::kComplete;
    if (plain[kTextPerBlock] != kFill || plain[kTextPerBlock + 1] != kFill) return LoginTextRead::kMalformed;
  }
}

}  // namespace

LoginTextRead read_enciphered_login(SocketReader& in, ReplyWriter& out, const ExchangeKey& key, size_t max,
                                    std::string& text) {
  text.clear();
  Block link_key;
  if (!send_key(out, key) || !read_block(in, key, link_key)) return LoginTextRead::kEnded;
  LoginTextRead read = read_text_blocks(in, key, max, text);
  if (read == LoginTextRead::kEnded) return read;
  // The client keys both directions alike: what the server reads runs through the
  // keystream of the client's writes, and the other way round.
  in.decipher_with(std::make_unique<LinkKeystream>(link_key));
  out.encipher_with(std::make_unique<LinkKeystream>(link_key));
  return read;
}

}  // namespace zv
