// Connections of the server that wait for another's write lock. SQLite's own busy handler sleeps
// 1, 2, 5, 10 ms and more between tries, so links writing at once spend most of their time
// asleep while the lock is free. Here a waiting connection sleeps until a commit on any
// connection of the server has released the lock, or 0.2 ms at most (a rollback releases it
// without a word), and gives up once its busy timeout has passed.
#pragma once
#include <sqlite3.h>

namespace zv {

// Sets db's busy handler; timeout_ms 0 or less: a lock held elsewhere fails at once.
void wait_for_writers(sqlite3* db, int timeout_ms);
// Wakes the connections waiting for the write lock: called after each commit, once the lock is
// released (the link's commit hook, row_references.cc).
void wake_writers();

}  // namespace zv
