#include "piece_reader.h"

#include <algorithm>

namespace zv {

PieceReader::PieceReader(sqlite3_blob* blob, char* buffer, size_t piece, size_t start, size_t end)
    : blob_(blob), buffer_(buffer), piece_(piece), start_(start), end_(end), thread_(&PieceReader::run, this) {}

PieceReader::~PieceReader() {
  {
    std::lock_guard<std::mutex> guard(lock_);
    stop_ = true;
  }
  changed_.notify_all();
  thread_.join();
}

size_t PieceReader::piece_length(size_t index) const {
  return std::min(piece_, end_ - start_ - index * piece_);
}

void PieceReader::run() {
  const size_t count = (end_ - start_ + piece_ - 1) / piece_;
  for (size_t index = 0; index < count; ++index) {
    {
      // The half of piece `index` held piece index - 2, which has gone out once piece index - 1
      // was asked for.
      std::unique_lock<std::mutex> guard(lock_);
      changed_.wait(guard, [&] { return stop_ || index <= taken_; });
      if (stop_) return;
    }
    char* into = buffer_ + (index % 2) * piece_;
    const size_t n = piece_length(index);
    const bool ok =
        sqlite3_blob_read(blob_, into, static_cast<int>(n), static_cast<int>(start_ + index * piece_)) == SQLITE_OK;
    {
      std::lock_guard<std::mutex> guard(lock_);
      failed_ = !ok;
      if (ok) ++read_;
    }
    changed_.notify_all();
    if (!ok) return;
  }
}

const char* PieceReader::next(size_t& n) {
  std::unique_lock<std::mutex> guard(lock_);
  const size_t index = taken_++;
  changed_.notify_all();
  changed_.wait(guard, [&] { return read_ > index || failed_; });
  if (read_ <= index) return nullptr;
  n = piece_length(index);
  return buffer_ + (index % 2) * piece_;
}

}  // namespace zv
