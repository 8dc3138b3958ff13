// The parameters of the next statement: parallel tables filled by position or by name, with one
// value per parameter or, for batches, arrays of values.
#pragma once
#include <cstdint>
#include "connection/conn_record.h"

enum {
  PARAM_SLOTS = 128,  // tables start with this many slots and grow by as many
  PARAM_MAX = 4000,   // the highest position a parameter may have
};

// Directions of a parameter.
enum { DIR_IN = 1, DIR_OUT = 2, DIR_INOUT = 3, DIR_RETURN = 6 };

inline bool param_direction_ok(int32_t direction) {
  return direction == DIR_IN || direction == DIR_OUT || direction == DIR_INOUT || direction == DIR_RETURN;
}

// How a set came about, which decides who frees it.
enum { ORIGIN_BIND = 0, ORIGIN_STANDING = 1, ORIGIN_PREPARED = 2 };

struct ParamSet {
  int32_t kind;  // HT_PARAMS
  int32_t count;
  int32_t capacity;
  int32_t array_size;  // rows of an array-bound set; 0 for a one-row set
  void*** values;      // one table of value pointers per row
  int32_t* types;      // CType of each parameter
  int32_t* sizes;      // size of the caller's value buffer
  int32_t* reserved;
  int32_t** lengths;  // per parameter its length: one int, or one per row of an array bind
  char** names;       // null when the set was filled by position
  int32_t* positions;
  int32_t* directions;
  char* error;
  int32_t owns_values;  // the values and lengths of direction 1 are copies that the set frees
  int32_t origin;
};

// A new zero-filled set of origin; null when memory runs out.
ParamSet* new_param_set(int32_t origin);
// Makes every table hold capacity slots, the new ones zeroed; false when memory runs out
// (the set keeps what it had).
bool grow_params(ParamSet* set, int32_t capacity);
// The slot whose name is name, ignoring case; -1 when there is none.
int32_t param_slot_named(const ParamSet* set, const char* name);
// Releases the values and tables after the set went out, unless a parameter of another direction
// than input still needs them. An array-bound set holds inputs only and releases everything.
void free_params(ParamSet* set);
// The end of an execution with output values: the input copies and every table go; the output
// values are the caller's.
void free_params_after_out(ParamSet* set);
// Frees the set record itself after free_params.
void free_param_set(ParamSet* set);
