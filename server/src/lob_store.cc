#include "lob_store.h"

#include <cstdio>
#include <cstring>

#include "large_blocks.h"

namespace zv {

KeptObject::KeptObject(const void* data, size_t n) : size_(n) {
  if (n >= kLargeBlockMin) block_ = static_cast<char*>(take_large_block(n, capacity_));
  if (block_) {
    std::memcpy(block_, data, n);
  } else {
    small_.assign(static_cast<const char*>(data), n);
  }
}

KeptObject::~KeptObject() { give_back_large_block(block_, capacity_); }

std::string LobStore::keep(char letter, const void* data, size_t n) {
  while (!order_.empty() && (bytes_ + n > max_bytes_ || objects_.size() >= kMaxObjects)) release_oldest();
  char descriptor[32];
  std::snprintf(descriptor, sizeof descriptor, "%c%012llu", letter,
                static_cast<unsigned long long>(next_id_++ % 1000000000000ULL));
  objects_.try_emplace(descriptor, data, n);
  order_.push_back(descriptor);
  bytes_ += n;
  return descriptor;
}

std::optional<std::string_view> LobStore::find(std::string_view descriptor) const {
  auto it = objects_.find(std::string(descriptor));
  if (it == objects_.end()) return std::nullopt;
  return it->second.bytes();
}

void LobStore::release_oldest() {
  auto it = objects_.find(order_.front());
  if (it != objects_.end()) {
    bytes_ -= it->second.bytes().size();
    objects_.erase(it);
  }
  order_.pop_front();
}

}  // namespace zv
