// The chunk chain of a LobHandle: where appended bytes go and how a handle is emptied.
#pragma once
#include <cstdint>
#include "results/lob.h"

// The free space at the end of the chain, making a new chunk when the last one is full.
// *room receives its size. Null when memory runs out.
uint8_t* lob_tail(LobHandle* lob, int32_t* room);
// Appends n bytes. 0, or -5 when memory runs out (what fitted stays).
int32_t lob_append(LobHandle* lob, const uint8_t* data, int64_t n);
// Frees chunks, descriptor and error text, and zeroes every field but kind.
void lob_clear(LobHandle* lob);
