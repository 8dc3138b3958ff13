// The Turing stream cipher (Rose and Hawkes, QUALCOMM 2002): keyed, then given an IV, it
// makes its keystream 340 bytes at a time.
#pragma once

#include <cstddef>
#include <cstdint>

namespace zv {

class Turing {
 public:
  static constexpr size_t kBatch = 340;

  // Up to 32 key bytes; a length that is no multiple of 4 is cut to one.
  void key(const uint8_t* key, size_t len);
  // Up to 4 * (16 - key words) IV bytes, cut likewise; 0 for none. Starts a keystream.
  void iv(const uint8_t* iv, size_t len);
  // The next kBatch bytes of keystream.
  void gen(uint8_t* out);

 private:
  static constexpr int kRegister = 17;

  uint32_t keyed_s(uint32_t x, int r) const;
  void step(int z);
  template <int z>
  void round(uint8_t* out);

  int keylen_ = 0;  // key words
  uint32_t k_[8] = {};
  uint32_t r_[kRegister] = {};
  uint32_t s_[4][256] = {};
};

}  // namespace zv
