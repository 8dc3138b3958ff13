// The key with which a client sends its link key and login text: a public exponent and a
// 256-bit modulus made of two primes, and the private exponent that undoes the exponent.
// Numbers travel as 32-byte images, least significant byte first.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

namespace zv {

using Block = std::array<uint8_t, 32>;

struct ExchangeKey {
  Block exponent{};
  Block modulus{};
  Block private_exponent{};

  // A block the client raised to `exponent`, back in the clear.
  Block decipher(const Block& block) const;
};

// A fresh key: the modulus has its top bit set, so that every block below 2^255 that a
// client sends is below it. nullopt when libcrypto fails.
std::optional<ExchangeKey> make_exchange_key();

// out = base^exp mod mod; false when mod is 0 or libcrypto fails.
bool modexp_block(const Block& base, const Block& exp, const Block& mod, Block& out);

}  // namespace zv
