// Stops a running statement once the server is stopping or its client has gone.
#pragma once

#include <sqlite3.h>

#include "stop_signal.h"

namespace zv {

class ClientWatch {
 public:
  ClientWatch(int fd, const StopSignal& stop) : fd_(fd), stop_(stop) {}

  ClientWatch(const ClientWatch&) = delete;
  ClientWatch& operator=(const ClientWatch&) = delete;

  // Makes the watch the progress handler of `db`, which must not outlive it.
  void watch(sqlite3* db);

 private:
  static int check(void* self);
  bool client_gone() const;

  int fd_;
  const StopSignal& stop_;
  unsigned calls_ = 0;
};

}  // namespace zv
