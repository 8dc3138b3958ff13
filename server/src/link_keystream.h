// One direction of an enciphered link: every byte is XORed with the Turing keystream of the
// link key. Each 340-byte batch of keystream serves ten times over before the next one is
// made, so the keystream repeats with a period of 340 bytes for 3400 bytes at a time.
#pragma once

#include <cstddef>
#include <cstdint>

#include "exchange_key.h"
#include "turing.h"

namespace zv {

class LinkKeystream {
 public:
  explicit LinkKeystream(const Block& link_key);

  // Enciphers or deciphers `n` bytes in place: the two are the same XOR.
  void apply(char* data, size_t n);

 private:
  static constexpr size_t kUsesPerBatch = 10;

  Turing turing_;
  uint8_t batch_[Turing::kBatch];
  size_t used_ = 0;  // bytes taken from this batch, up to kUsesPerBatch times its size
};

}  // namespace zv
