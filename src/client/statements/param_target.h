// What a bind call works on, and where its error texts go.
#pragma once
#include <cstddef>
#include <cstdint>
#include "statements/param_set.h"

// Bind error texts are held to the sizes of their fixed buffers.
enum { BIND_ERROR_SIZE = 80, NAME_ERROR_SIZE = 100 };

// The set of a bind call, and the connection when the handle named one.
struct ParamTarget {
  ConnRecord* conn;
  ParamSet* set;
};

// Resolves a handle: a connection's params (made with origin 0 when make is set and none stands)
// or a set itself. False for a null handle or another kind, with t->set null; also false with
// t->set null when the set cannot be made.
bool param_target_of(void** handle, bool make, ParamTarget* t);
// The text, formatted and cut to cap bytes, where the target keeps errors: the connection's
// error_text, or the set's error. Returns code.
int32_t target_error(ParamTarget t, int32_t code, const char* fmt, ...) __attribute__((format(printf, 3, 4)));
// The text, formatted and cut to cap bytes, into *slot.
void put_error(char** slot, size_t cap, const char* fmt, ...) __attribute__((format(printf, 3, 4)));
