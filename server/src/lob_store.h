// Large objects kept for one connection so that it can fetch them by descriptor.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

namespace zv {

struct RowReference;

// One kept object: its bytes (a large one in a warm large block, a small one in a string) or
// a reference to the row it was read from.
class KeptObject {
 public:
  KeptObject(const void* data, size_t n);
  // `n` bytes to be written through data().
  explicit KeptObject(size_t n);
  // An object kept by reference to its row, copied only when the row changes.
  explicit KeptObject(std::shared_ptr<RowReference> ref);
  ~KeptObject();
  KeptObject(const KeptObject&) = delete;
  KeptObject& operator=(const KeptObject&) = delete;

  std::string_view bytes() const { return block_ ? std::string_view(block_, size_) : std::string_view(small_); }
  char* data() { return block_ ? block_ : small_.data(); }
  size_t size() const { return size_; }
  // Null for an object kept as bytes.
  const std::shared_ptr<RowReference>& reference() const { return ref_; }

 private:
  char* block_ = nullptr;
  size_t size_ = 0;
  size_t capacity_ = 0;
  std::string small_;
  std::shared_ptr<RowReference> ref_;
};

class LobStore {
 public:
  static constexpr size_t kDefaultMaxBytes = size_t{256} << 20;
  static constexpr size_t kMaxObjects = 100000;

  explicit LobStore(size_t max_bytes = kDefaultMaxBytes) : max_bytes_(max_bytes) {}
  ~LobStore();
  LobStore(const LobStore&) = delete;
  LobStore& operator=(const LobStore&) = delete;

  // Keeps a copy of the object and returns its 13-character descriptor: `letter`
  // ("C" or "B") and 12 digits. The oldest objects are released to stay in bounds.
  std::string keep(char letter, const void* data, size_t n);
  // The same for an object kept by reference; it counts as its length against the bound, so
  // that it has room for the copy a change of its row makes.
  std::string keep(char letter, std::shared_ptr<RowReference> ref);
  // The same for an object of `n` bytes that `fill` writes; empty, with nothing kept, when it fails.
  std::string keep_filled(char letter, size_t n, const std::function<bool(char*)>& fill);
  // The object of a descriptor, or null when it was never kept or has been released.
  const KeptObject* find(std::string_view descriptor) const;
  // A buffer of at least `n` bytes for the pieces of a fetch, kept for the next one: a warm
  // large block, so that a link's first fetch touches no fresh pages. Null when memory runs out.
  char* piece_buffer(size_t n);
  size_t bytes() const { return bytes_; }
  size_t count() const { return objects_.size(); }

 private:
  void release_oldest();
  // Makes room for `n` more bytes and names the next object.
  std::string next_descriptor(char letter, size_t n);

  size_t max_bytes_;
  size_t bytes_ = 0;
  uint64_t next_id_ = 1;
  std::unordered_map<std::string, KeptObject> objects_;
  std::deque<std::string> order_;  // descriptors, oldest first
  char* piece_ = nullptr;
  size_t piece_capacity_ = 0;
};

}  // namespace zv
