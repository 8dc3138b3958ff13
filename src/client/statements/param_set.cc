#include "statements/param_set.h"

#include <strings.h>

#include <cstdlib>
#include <cstring>

#include "connection/block_cache.h"
#include "connection/client_text.h"
#include "statements/param_array.h"

ParamSet* new_param_set(int32_t origin) {
  ParamSet* set = static_cast<ParamSet*>(client_alloc(sizeof(ParamSet)));
  if (!set) return nullptr;
  set->kind = HT_PARAMS;
  set->origin = origin;
  return set;
}

namespace {
// Resizes *table from old_n to new_n entries of width bytes, zeroing what is new.
template <typename T>
bool resize(T** table, int32_t old_n, int32_t new_n) {
  T* grown = static_cast<T*>(realloc(*table, sizeof(T) * static_cast<size_t>(new_n > 0 ? new_n : 1)));
  if (!grown) return false;
  if (new_n > old_n) memset(grown + old_n, 0, sizeof(T) * static_cast<size_t>(new_n - old_n));
  *table = grown;
  return true;
}

void free_tables(ParamSet* set) {
  // Row 0 starts the one block that holds every row's value pointers; an array-bound set's
  // tables came from the block cache.
  if (set->values && set->array_size > 0) {
    block_give(set->values[0], array_row_block_bytes(set->array_size, set->capacity));
    block_give(set->values, array_row_table_bytes(set->array_size));
  } else if (set->values) {
    free(set->values[0]);
    free(set->values);
  }
  free(set->types);
  free(set->sizes);
  free(set->reserved);
  free(set->lengths);
  free(set->names);
  free(set->positions);
  free(set->directions);
  set->values = nullptr;
  set->types = set->sizes = set->reserved = set->positions = set->directions = nullptr;
  set->lengths = nullptr;
  set->names = nullptr;
  set->capacity = set->count = set->array_size = 0;
}

bool is_output(const ParamSet* set, int32_t i) {
  return set->directions && (set->directions[i] == DIR_OUT || set->directions[i] == DIR_INOUT ||
                             set->directions[i] == DIR_RETURN);
}

void free_name(ParamSet* set, int32_t i) {
  if (set->names) {
    free(set->names[i]);
    set->names[i] = nullptr;
  }
}

// The copies of an input parameter and its name; each pointer is cleared, so a second release
// of the same set frees nothing twice.
void free_input(ParamSet* set, int32_t i) {
  if (set->owns_values && !is_output(set, i)) {
    if (set->values && set->values[0]) {
      free(set->values[0][i]);
      set->values[0][i] = nullptr;
    }
    if (set->lengths) {
      free(set->lengths[i]);
      set->lengths[i] = nullptr;
    }
  }
  free_name(set, i);
}

// An array-bound set holds input values only: every slot's copies go, and all the tables.
void free_array_params(ParamSet* set) {
  for (int32_t i = 0; i < set->count; i++) {
    release_array_slot(set, i);
    free_name(set, i);
  }
  free_tables(set);
}
}  // namespace

bool grow_params(ParamSet* set, int32_t capacity) {
  int32_t old = set->capacity;
  if (!set->values && !(set->values = static_cast<void***>(client_alloc(sizeof(void**))))) return false;
  bool ok = resize(&set->values[0], old, capacity) && resize(&set->types, old, capacity) &&
            resize(&set->sizes, old, capacity) && resize(&set->reserved, old, capacity) &&
            resize(&set->lengths, old, capacity) && resize(&set->positions, old, capacity) &&
            resize(&set->directions, old, capacity) && (!set->names || resize(&set->names, old, capacity));
  if (ok) set->capacity = capacity;
  return ok;
}

int32_t param_slot_named(const ParamSet* set, const char* name) {
  for (int32_t i = 0; set->names && i < set->count; i++)
    if (set->names[i] && strcasecmp(set->names[i], name) == 0) return i;
  return -1;
}

void free_params(ParamSet* set) {
  if (!set) return;
  if (set->array_size > 0) {
    free_array_params(set);
    return;
  }
  bool keep = false;
  for (int32_t i = 0; i < set->count; i++) {
    // An output value still to come keeps the tables: its buffers are named there.
    if (is_output(set, i))
      keep = true;
    else
      free_input(set, i);
  }
  if (!keep) free_tables(set);
}

void free_params_after_out(ParamSet* set) {
  for (int32_t i = 0; i < set->count; i++) free_input(set, i);
  free_tables(set);
}

void free_param_set(ParamSet* set) {
  if (!set) return;
  free_params(set);
  // A set whose output values were never read still holds its tables.
  if (set->capacity > 0) free_params_after_out(set);
  free(set->error);
  free(set);
}
