// The fixed tables of the Turing stream cipher: an 8-bit S-box, the Q-box of 32-bit words
// and the multiplication table of its register's feedback.
#pragma once

#include <cstdint>

namespace zv {

extern const uint8_t kTuringSbox[256];
extern const uint32_t kTuringQbox[256];
extern const uint32_t kTuringMultab[256];

}  // namespace zv
