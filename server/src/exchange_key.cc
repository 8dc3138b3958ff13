#include "exchange_key.h"

#include <openssl/bn.h>

#include <memory>

namespace zv {
namespace {

struct BnFree {
  void operator()(BIGNUM* n) const { BN_clear_free(n); }
};
struct CtxFree {
  void operator()(BN_CTX* c) const { BN_CTX_free(c); }
};
using Bn = std::unique_ptr<BIGNUM, BnFree>;
using Ctx = std::unique_ptr<BN_CTX, CtxFree>;

constexpr int kModulusBits = 256;
constexpr int kPrimeBits = kModulusBits / 2;
constexpr unsigned long kPublicExponent = 65537;
constexpr int kTries = 100;

Bn from_block(const Block& b) { return Bn(BN_lebin2bn(b.data(), static_cast<int>(b.size()), nullptr)); }

bool to_block(const BIGNUM* n, Block& out) {
  return BN_bn2lebinpad(n, out.data(), static_cast<int>(out.size())) == static_cast<int>(out.size());
}

// One attempt: two distinct primes whose product fills 256 bits, and an inverse of the
// public exponent modulo (p - 1)(q - 1), which a pair of primes may lack.
bool try_make(BN_CTX* ctx, ExchangeKey& out) {
  Bn p(BN_new()), q(BN_new()), n(BN_new()), phi(BN_new()), e(BN_new());
  if (!p || !q || !n || !phi || !e) return false;
  if (!BN_generate_prime_ex(p.get(), kPrimeBits, 0, nullptr, nullptr, nullptr) ||
      !BN_generate_prime_ex(q.get(), kPrimeBits, 0, nullptr, nullptr, nullptr) || BN_cmp(p.get(), q.get()) == 0 ||
      !BN_mul(n.get(), p.get(), q.get(), ctx) || BN_num_bits(n.get()) != kModulusBits) {
    return false;
  }
  if (!BN_sub_word(p.get(), 1) || !BN_sub_word(q.get(), 1) || !BN_mul(phi.get(), p.get(), q.get(), ctx) ||
      !BN_set_word(e.get(), kPublicExponent)) {
    return false;
  }
  Bn d(BN_mod_inverse(nullptr, e.get(), phi.get(), ctx));
  return d && to_block(e.get(), out.exponent) && to_block(n.get(), out.modulus) &&
         to_block(d.get(), out.private_exponent);
}

}  // namespace

bool modexp_block(const Block& base, const Block& exp, const Block& mod, Block& out) {
  Ctx ctx(BN_CTX_new());
  Bn b = from_block(base), e = from_block(exp), m = from_block(mod), r(BN_new());
  if (!ctx || !b || !e || !m || !r || BN_is_zero(m.get())) return false;
  return BN_mod_exp(r.get(), b.get(), e.get(), m.get(), ctx.get()) && to_block(r.get(), out);
}

Block ExchangeKey::decipher(const Block& block) const {
  Block out{};
  if (!modexp_block(block, private_exponent, modulus, out)) out.fill(0);
  return out;
}

std::optional<ExchangeKey> make_exchange_key() {
  Ctx ctx(BN_CTX_new());
  if (!ctx) return std::nullopt;
  ExchangeKey key;
  for (int i = 0; i < kTries; ++i) {
    if (try_make(ctx.get(), key)) return key;
  }
  return std::nullopt;
}

}  // namespace zv
