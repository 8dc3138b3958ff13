#include "client_watch.h"

#include <poll.h>

namespace zv {
namespace {

// SQLite calls the check every kStepsPerCheck virtual machine steps, a few tens of
// microseconds of work; the socket is looked at on every kChecksPerPoll-th call, so that
// the system call costs next to nothing beside the query.
constexpr int kStepsPerCheck = 10000;
constexpr unsigned kChecksPerPoll = 16;

}  // namespace

void ClientWatch::watch(sqlite3* db) { sqlite3_progress_handler(db, kStepsPerCheck, &ClientWatch::check, this); }

// Non-zero makes SQLite abandon the statement with SQLITE_INTERRUPT.
int ClientWatch::check(void* self) {
  auto* watch = static_cast<ClientWatch*>(self);
  if (watch->stop_.raised()) return 1;
  return ++watch->calls_ % kChecksPerPoll == 0 && watch->client_gone() ? 1 : 0;
}

// A client that closed its end, or whose link broke, can no longer take the reply.
bool ClientWatch::client_gone() const {
  pollfd p{fd_, POLLRDHUP, 0};
  return ::poll(&p, 1, 0) > 0 && (p.revents & (POLLRDHUP | POLLHUP | POLLERR)) != 0;
}

}  // namespace zv
