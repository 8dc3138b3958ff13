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
  // Looked for before the oldest are released, which could be the very one.
  std::shared_ptr<const KeptObject> object = n >= kLargeBlockMin ? same_as_recent(data, n) : nullptr;
  while (!order_.empty() && (bytes_ + n > max_bytes_ || objects_.size() >= kMaxObjects)) release_oldest();
  char descriptor[32];
  std::snprintf(descriptor, sizeof descriptor, "%c%012llu", letter,
                static_cast<unsigned long long>(next_id_++ % 1000000000000ULL));
  objects_[descriptor] = object ? std::move(object) : std::make_shared<const KeptObject>(data, n);
  order_.push_back(descriptor);
  bytes_ += n;
  return descriptor;
}

std::optional<std::string_view> LobStore::find(std::string_view descriptor) const {
  auto it = objects_.find(std::string(descriptor));
  if (it == objects_.end()) return std::nullopt;
  return it->second->bytes();
}

std::shared_ptr<const KeptObject> LobStore::same_as_recent(const void* data, size_t n) const {
  size_t compared = 0;
  for (auto it = order_.rbegin(); it != order_.rend() && compared < kCompared; ++it) {
    auto found = objects_.find(*it);
    if (found == objects_.end() || found->second->bytes().size() != n) continue;
    ++compared;
    if (std::memcmp(found->second->bytes().data(), data, n) == 0) return found->second;
  }
  return nullptr;
}

void LobStore::release_oldest() {
  auto it = objects_.find(order_.front());
  if (it != objects_.end()) {
    bytes_ -= it->second->bytes().size();
    objects_.erase(it);
  }
  order_.pop_front();
}

}  // namespace zv
