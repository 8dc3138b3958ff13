#include "lob_store.h"

#include <cstdio>

namespace zv {

std::string LobStore::keep(char letter, const void* data, size_t n) {
  while (!order_.empty() && (bytes_ + n > max_bytes_ || objects_.size() >= kMaxObjects)) release_oldest();
  char descriptor[32];
  std::snprintf(descriptor, sizeof descriptor, "%c%012llu", letter,
                static_cast<unsigned long long>(next_id_++ % 1000000000000ULL));
  objects_[descriptor].assign(static_cast<const char*>(data), n);
  order_.push_back(descriptor);
  bytes_ += n;
  return descriptor;
}

const std::string* LobStore::find(std::string_view descriptor) const {
  auto it = objects_.find(std::string(descriptor));
  return it == objects_.end() ? nullptr : &it->second;
}

void LobStore::release_oldest() {
  auto it = objects_.find(order_.front());
  if (it != objects_.end()) {
    bytes_ -= it->second.size();
    objects_.erase(it);
  }
  order_.pop_front();
}

}  // namespace zv
