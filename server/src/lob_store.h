// Large objects kept for one connection so that it can fetch them by descriptor.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

namespace zv {

// The bytes of one kept object: a large one in a warm large block, a small one in a string.
class KeptObject {
 public:
  KeptObject(const void* data, size_t n);
  ~KeptObject();
  KeptObject(const KeptObject&) = delete;
  KeptObject& operator=(const KeptObject&) = delete;

  std::string_view bytes() const { return block_ ? std::string_view(block_, size_) : std::string_view(small_); }

 private:
  char* block_ = nullptr;
  size_t size_ = 0;
  size_t capacity_ = 0;
  std::string small_;
};

class LobStore {
 public:
  static constexpr size_t kDefaultMaxBytes = size_t{256} << 20;
  static constexpr size_t kMaxObjects = 100000;

  explicit LobStore(size_t max_bytes = kDefaultMaxBytes) : max_bytes_(max_bytes) {}

  // Keeps a copy of the object and returns its 13-character descriptor: `letter`
  // ("C" or "B") and 12 digits. The oldest objects are released to stay in bounds.
  std::string keep(char letter, const void* data, size_t n);
  // The object of a descriptor, or nothing when it was never kept or has been released.
  std::optional<std::string_view> find(std::string_view descriptor) const;
  size_t bytes() const { return bytes_; }
  size_t count() const { return objects_.size(); }

 private:
  void release_oldest();

  size_t max_bytes_;
  size_t bytes_ = 0;
  uint64_t next_id_ = 1;
  std::unordered_map<std::string, KeptObject> objects_;
  std::deque<std::string> order_;  // descriptors, oldest first
};

}  // namespace zv
