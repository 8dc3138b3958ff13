#include "lob_store.h"

#include <cstdio>
#include <cstring>

#include "large_blocks.h"
#include "row_references.h"

namespace zv {

KeptObject::KeptObject(const void* bytes, size_t n) : KeptObject(n) {
  if (n > 0) std::memcpy(data(), bytes, n);
}

KeptObject::KeptObject(size_t n) : size_(n) {
  if (n >= kLargeBlockMin) block_ = static_cast<char*>(take_large_block(n, capacity_));
  if (!block_) small_.resize(n);
}

KeptObject::KeptObject(std::shared_ptr<RowReference> ref) : size_(ref->size), ref_(std::move(ref)) {}

KeptObject::~KeptObject() {
  if (ref_) drop_reference(ref_);
  give_back_large_block(block_, capacity_);
}

LobStore::~LobStore() { give_back_large_block(piece_, piece_capacity_); }

char* LobStore::piece_buffer(size_t n) {
  if (piece_capacity_ < n) {
    give_back_large_block(piece_, piece_capacity_);
    piece_ = static_cast<char*>(take_large_block(n, piece_capacity_));
    if (!piece_) piece_capacity_ = 0;
  }
  return piece_;
}

std::string LobStore::next_descriptor(char letter, size_t n) {
  while (!order_.empty() && (bytes_ + n > max_bytes_ || objects_.size() >= kMaxObjects)) release_oldest();
  char descriptor[32];
  std::snprintf(descriptor, sizeof descriptor, "%c%012llu", letter,
                static_cast<unsigned long long>(next_id_++ % 1000000000000ULL));
  order_.push_back(descriptor);
  bytes_ += n;
  return descriptor;
}

std::string LobStore::keep(char letter, const void* data, size_t n) {
  std::string descriptor = next_descriptor(letter, n);
  objects_.try_emplace(descriptor, data, n);
  return descriptor;
}

std::string LobStore::keep(char letter, std::shared_ptr<RowReference> ref) {
  std::string descriptor = next_descriptor(letter, ref->size);
  objects_.try_emplace(descriptor, std::move(ref));
  return descriptor;
}

std::string LobStore::keep_filled(char letter, size_t n, const std::function<bool(char*)>& fill) {
  std::string descriptor = next_descriptor(letter, n);
  auto it = objects_.try_emplace(descriptor, n).first;
  if (fill(it->second.data())) return descriptor;
  objects_.erase(it);
  order_.pop_back();
  bytes_ -= n;
  return {};
}

const KeptObject* LobStore::find(std::string_view descriptor) const {
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
