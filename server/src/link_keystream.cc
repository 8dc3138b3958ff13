#include "link_keystream.h"

namespace zv {

LinkKeystream::LinkKeystream(const Block& link_key) {
  turing_.key(link_key.data(), link_key.size());
  turing_.iv(nullptr, 0);
  turing_.gen(batch_);
}

void LinkKeystream::apply(char* data, size_t n) {
  for (size_t i = 0; i < n; ++i) {
    data[i] = static_cast<char>(data[i] ^ batch_[used_ % Turing::kBatch]);
    if (++used_ == kUsesPerBatch * Turing::kBatch) {
      turing_.gen(batch_);
      used_ = 0;
    }
  }
}

}  // namespace zv
