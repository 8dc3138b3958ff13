// Parameter records as the client writes them, and the error text a handle holds, for the
// parameter tests.
#pragma once
#include <string>

#include "peer.h"
#include "zvc.h"

// A record: name, direction, type, data length (the payload's size unless given), payload.
inline std::string param_record(const std::string& name, int16_t direction, int16_t type, const std::string& payload,
                                int32_t data_len = -1) {
  return be16(static_cast<int16_t>(name.size())) + name + be16(direction) + be16(type) +
         be32(data_len < 0 ? static_cast<int32_t>(payload.size()) : data_len) + payload;
}

inline std::string error_text_of(void** handle) {
  char text[1024] = {};
  int32_t len = 0;
  ZVC_GetErrorText(handle, text, &len);
  return text;
}
