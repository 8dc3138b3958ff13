// Reads the pieces of a blob one ahead of their sending, on a thread of its own, so that the
// copy out of the database runs on the other core while the link's thread sends the piece
// before it: on loopback the sender does most of the transfer's work, and a read between two
// sends would stall it.
#pragma once

#include <sqlite3.h>

#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <thread>

namespace zv {

class PieceReader {
 public:
  // Bytes `start` to `end` of `blob` in pieces of at most `piece` bytes, read into the two
  // halves of `buffer` (2 * `piece` bytes) in turn. The blob stays unused by others until the
  // reader is gone.
  PieceReader(sqlite3_blob* blob, char* buffer, size_t piece, size_t start, size_t end);
  // Stops reading and waits for the thread.
  ~PieceReader();
  PieceReader(const PieceReader&) = delete;
  PieceReader& operator=(const PieceReader&) = delete;

  // The next piece, once read, and its length in `n`; null when reading it failed. The piece
  // before it counts as sent, and its half of the buffer is read into again.
  const char* next(size_t& n);

 private:
  void run();
  size_t piece_length(size_t index) const;

  sqlite3_blob* blob_;
  char* buffer_;
  size_t piece_;
  size_t start_;
  size_t end_;
  std::mutex lock_;
  std::condition_variable changed_;
  size_t read_ = 0;   // pieces read
  size_t taken_ = 0;  // pieces handed out by next()
  bool failed_ = false;
  bool stop_ = false;
  std::thread thread_;  // last: starts once the members above are set
};

}  // namespace zv
