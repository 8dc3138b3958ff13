// Promises of the client library that the harnesses check: when one is broken, the run stops
// as on a crash, and libFuzzer keeps the input.
#pragma once
#include <semaphore.h>

#include <cstdio>
#include <cstdlib>

#include "connection/conn_record.h"
#include "zvc.h"

inline void fuzz_require(bool ok, const char* promise) {
  if (ok) return;
  fprintf(stderr, "promise broken: %s\n", promise);
  abort();
}

// Every exchange gives the semaphore back.
inline void require_semaphore_free(ConnRecord* conn) {
  int count = -1;
  sem_getvalue(conn->semaphore, &count);
  fuzz_require(count == 1, "the semaphore is released after the exchange");
}

// ...and a reply that broke off costs the link, so that the next exchange cannot read the rest
// of it as its own. Only for calls whose code cannot be a number from the reply.
inline void require_exchange_ended(ConnRecord* conn, int32_t rc) {
  require_semaphore_free(conn);
  if (rc == ZV_NET_ERROR || rc == ZV_NO_MEMORY) fuzz_require(conn->socket == 0, "a broken reply drops the link");
}
