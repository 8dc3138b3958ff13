// The server's side of an enciphered link, for the tests: a fixed 256-bit key pair, the keystream
// consumed as the link consumes it (written here byte by byte, apart from the client's code), and
// a scripted peer that runs the key exchange and then talks through the keystream.
#pragma once
#include <cstring>
#include <string>
#include <vector>

#include "connection/bignum.h"
#include "connection/turing.h"
#include "peer.h"
#include "vectors.h"

// e = 65537 and a modulus with its top bit set, and the private exponent; 32 little-endian bytes each.
inline const std::vector<uint8_t> test_exponent = from_hex("01000100" + std::string(56, '0'));
inline const std::vector<uint8_t> test_modulus =
    from_hex("61c87951eb469b94c8fd77516cbe18cd0d5e4927a91441771f0a50035d00c3b0");
inline const std::vector<uint8_t> test_private =
    from_hex("61fa19eefc01284545625afe763bfc09a78a8a4474ac0b03d928b178f5eef80f");

// One direction of the keystream: each byte is XORed with batch[counter % 340], and when the
// counter reaches 3400 the next batch is made.
struct KeystreamSide {
  TuringContext ctx{};
  uint8_t batch[TURING_BATCH] = {};
  int counter = 0;
  void start(const std::string& key) {
    TuringKey(&ctx, reinterpret_cast<const uint8_t*>(key.data()), static_cast<int>(key.size()));
    TuringIV(&ctx, nullptr, 0);
    TuringGen(&ctx, batch);
    counter = 0;
  }
  void apply(std::string& bytes) {
    for (char& c : bytes) {
      c = static_cast<char>(c ^ batch[counter % TURING_BATCH]);
      if (++counter == 10 * TURING_BATCH) {
        TuringGen(&ctx, batch);
        counter = 0;
      }
    }
  }
};

// A 32-byte block raised to the power of e (or, with the private exponent, back).
inline std::string block_power(const std::string& block, const std::vector<uint8_t>& exp) {
  uint32_t value[8], e[8], m[8];
  memcpy(value, block.data(), 32);  // the test machines store the low byte first
  memcpy(e, exp.data(), 32);
  memcpy(m, test_modulus.data(), 32);
  bn_modexp(value, value, e, m, 8);
  return std::string(reinterpret_cast<const char*>(value), 32);
}

// A scripted server that runs the key exchange: after login(), key and text hold the deciphered
// image, and every later send and expect of the peer runs through the keystream.
struct CipherPeer {
  ScriptedPeer peer;
  std::string image, key, text;
  KeystreamSide to_client, from_client;

  // Reads "~ssl~", hands out the test key, reads an image of text_blocks blocks after the key
  // and answers reply through the keystream. Returns the peer, for what follows the login.
  ScriptedPeer& login(size_t text_blocks, const std::string& reply = "N1234K") {
    size_t image_size = 32 * (text_blocks + 1);
    peer.expect(5).send(std::string(test_exponent.begin(), test_exponent.end()) +
                        std::string(test_modulus.begin(), test_modulus.end()));
    peer.expect(image_size).then([this, image_size](const std::string& got) {
      image = got.substr(5);
      if (image.size() != image_size) return;
      for (size_t at = 0; at < image.size(); at += 32) {
        std::string block = block_power(image.substr(at, 32), test_private);
        (at == 0 ? key : text) += block;
      }
      to_client.start(key);
      from_client.start(key);
      peer.outgoing = [this](std::string& bytes) { to_client.apply(bytes); };
      peer.incoming = [this](std::string& bytes) { from_client.apply(bytes); };
    });
    return peer.send(reply);
  }
};
