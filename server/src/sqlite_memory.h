// SQLite's memory: requests of kLargeBlockMin bytes and more (a large value read from the
// database, for one) come from the warm large blocks, the rest from malloc.
#pragma once

namespace zv {

// Only possible before SQLite is first used; later it is refused and SQLite keeps its own.
void use_warm_memory_for_sqlite();

}  // namespace zv
