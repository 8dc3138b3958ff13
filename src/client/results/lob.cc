// Placeholder until large objects land: no conversion to a LobHandle exists yet.
#include "results/lob.h"

int32_t field_to_lob(ResultRecord*, const FieldDesc*, const uint8_t*, int32_t, int32_t, void*, int32_t* out_len) {
  *out_len = 0;
  return -13;
}
