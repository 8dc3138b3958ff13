// Binding arrays of input values, one per row, for a batch: by position or by name. Every row's
// value is checked against its block here, so that nothing later reads past a caller's block or
// the set's tables.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "connection/block_cache.h"
#include "connection/client_text.h"
#include "statements/param_array.h"
#include "statements/param_target.h"
#include "zvc.h"

namespace {
// What one array bind gives.
struct ArrayBind {
  int32_t param_num;
  int32_t direction;
  int32_t type;
  int32_t array_size;
  void* values;
  int32_t buf_size;
  const int32_t* lengths;
};

template <typename T>
bool remake(T** table, int32_t n) {
  free(*table);
  *table = static_cast<T*>(client_alloc(sizeof(T) * static_cast<size_t>(n)));
  return *table != nullptr;
}

// array_size rows of slots null value pointers, all the rows in one block that row 0 starts
// (free_params gives it back through row 0); null when memory runs out.
void*** make_rows(int32_t array_size, int32_t slots) {
  void*** rows = static_cast<void***>(block_take(array_row_table_bytes(array_size), false));
  void** block = rows ? static_cast<void**>(block_take(array_row_block_bytes(array_size, slots), true)) : nullptr;
  if (!block) {
    if (rows) block_give(rows, array_row_table_bytes(array_size));
    return nullptr;
  }
  for (int32_t r = 0; r < array_size; r++) rows[r] = block + static_cast<size_t>(r) * static_cast<size_t>(slots);
  return rows;
}

int32_t out_of_slots(ParamTarget t, int32_t param_no, int32_t slots) {
  return target_error(t, ZV_BIND_RANGE, "[EC051]Error invalid param NO : %d out of range paramnum : %d ", param_no,
                      slots);
}

// The first array bind gives the set its rows and its slots: param_num of them (128 when it is
// not given), or for a prepared set as many as the server named when that is more. Its name,
// position, type and size tables came from the server then. Later binds must have the same rows.
int32_t shape_array_set(ParamTarget t, const ArrayBind& b, bool with_names) {
  ParamSet* set = t.set;
  if (b.array_size < 1)
    return target_error(t, ZV_BIND_RANGE, "[EC051]Error bindparam arraysize %d invalid", b.array_size);
  bool prepared = set->origin == ORIGIN_PREPARED;
  if (prepared ? set->values != nullptr : set->count > 0) {
    if (set->array_size != b.array_size)
      return target_error(t, ZV_BIND_RANGE, "[EC051]Error bindparam arraysize %d does not match the set's %d rows",
                          b.array_size, set->array_size);
    // Positions bound before the first name leave no names table.
    if (with_names && !prepared && !set->names && !remake(&set->names, set->capacity)) return ZV_NO_MEMORY;
    return 0;
  }
  int32_t slots = b.param_num > 0 ? b.param_num : PARAM_SLOTS;
  if (prepared && set->count > slots) slots = set->count;
  if (!prepared) free_params(set);  // no parameter yet: only the empty tables of a failed bind
  bool ok = remake(&set->reserved, slots) && remake(&set->lengths, slots) && remake(&set->directions, slots);
  if (ok && !prepared)
    ok = remake(&set->types, slots) && remake(&set->sizes, slots) && remake(&set->positions, slots) &&
         (!with_names || remake(&set->names, slots));
  void*** rows = ok ? make_rows(b.array_size, slots) : nullptr;
  if (!rows) {
    if (!prepared) free_params(set);
    return ZV_NO_MEMORY;
  }
  set->values = rows;
  set->array_size = b.array_size;
  set->capacity = slots;
  return 0;
}

// The bytes a row takes in its block, with room bytes left there; -1 when the row's value would
// run past them. A length of 0 or below is a null, which takes no room of its own.
int64_t row_stride(const ArrayType* t, const uint8_t* p, int64_t room, int32_t length) {
  int64_t len = length > 0 ? length : 0;
  int64_t need;
  if (t->stride == STRIDE_FIXED) {
    need = t->width;
  } else if (t->stride == STRIDE_LENGTH) {
    need = len;
  } else if (room < 4) {
    return -1;
  } else if (t->stride == STRIDE_PREFIX) {
    need = 4 + static_cast<int64_t>(array_prefix(p));
    if (need < 4) return -1;
  } else {
    // A binary row's prefix names how much of its room the value takes.
    need = 4 + len;
    int32_t prefix = len > 0 ? array_prefix(p) : 0;
    if (prefix < 0 || prefix > len) return -1;
  }
  return need <= room ? need : -1;
}

// Points each row's slot i at its value in the block; false when a row runs past the block.
bool walk_block(ParamSet* set, int32_t i, const ArrayType* t, uint8_t* block, int64_t block_size, int32_t* bad_row) {
  int64_t off = 0;
  for (int32_t row = 0; row < set->array_size; row++) {
    int64_t stride = row_stride(t, block + off, block_size - off, set->lengths[i][row]);
    if (stride < 0) {
      *bad_row = row + 1;
      return false;
    }
    set->values[row][i] = block + off;
    off += stride;
  }
  return true;
}

// Slot i takes the rows of the block: a copy of it for the types the set copies, else the
// caller's own, which must outlive the exchange.
int32_t store_array(ParamTarget t, int32_t i, const ArrayBind& b, bool by_name) {
  ParamSet* set = t.set;
  release_array_slot(set, i);  // a slot bound again drops what it held
  const ArrayType* form = array_type_of(b.type);
  if (!form) {
    client_print(t.conn, "bindparam unsurpported datatype\n");
    put_error(&set->error, BIND_ERROR_SIZE, "[EC058]Error bindparam unsurpported datatype %d invalid", b.type);
    return ZV_BIND_TYPE;
  }
  set->positions[i] = by_name ? -1 : i + 1;
  set->types[i] = b.type;
  size_t rows = static_cast<size_t>(b.array_size);
  set->sizes[i] = b.buf_size;  // the size of a copy, for giving it back
  // The copies are written whole at once, so they need no zeroing.
  if (!(set->lengths[i] = static_cast<int32_t*>(block_take(array_lengths_bytes(b.array_size), false))))
    return ZV_NO_MEMORY;
  memcpy(set->lengths[i], b.lengths, sizeof(int32_t) * rows);
  int64_t block_size = form->width > 0 ? static_cast<int64_t>(rows) * form->width : (b.buf_size > 0 ? b.buf_size : 0);
  uint8_t* block = static_cast<uint8_t*>(b.values);
  if (array_block_copied(form, by_name)) {
    block = static_cast<uint8_t*>(block_take(array_block_bytes(form, b.array_size, b.buf_size), false));
    if (block) memcpy(block, b.values, static_cast<size_t>(block_size));
  }
  // Row 0's pointer is the block's start: the copy is freed through it.
  set->values[0][i] = block;
  int32_t bad_row = 0;
  if (!block || !walk_block(set, i, form, block, block_size, &bad_row)) {
    release_array_slot(set, i);
    if (!block) return ZV_NO_MEMORY;
    return target_error(t, ZV_BIND_RANGE, "[EC051]Error bindparam array row %d runs past its block of %lld bytes",
                        bad_row, static_cast<long long>(block_size));
  }
  set->directions[i] = DIR_IN;
  return 0;
}

int32_t bind_array_by_pos(ParamTarget t, int32_t param_no, const ArrayBind& b) {
  if (t.conn && (param_no > PARAM_MAX || b.param_num > PARAM_MAX || b.param_num < -1))
    return out_of_slots(t, param_no, b.param_num);
  if (param_no > PARAM_MAX)
    return target_error(t, ZV_BIND_RANGE, "[EC051]Error invalid param NO %d out of range paramnum", param_no);
  if (!param_direction_ok(b.direction))
    return target_error(t, ZV_BIND_DIRECTION, "[EC052]Error invalid param type %d", b.direction);
  if (param_no < 1) return target_error(t, ZV_BIND_POSITION, "[EC054]Error param_no  param seq %d invalid", param_no);
  int32_t rc = shape_array_set(t, b, false);
  if (rc != 0) return rc;
  ParamSet* set = t.set;
  // A prepared set has the server's count of parameters, and no more.
  int32_t slots = set->origin == ORIGIN_PREPARED ? set->count : set->capacity;
  if (param_no > slots) return out_of_slots(t, param_no, slots);
  if (set->count < param_no) set->count = param_no;
  if (b.direction == DIR_RETURN) return 0;
  if (b.direction != DIR_IN)
    return target_error(t, ZV_BIND_TABLE, "[EC056]Error bindparam unsurpported ret %d invalid", ZV_BIND_TABLE);
  return store_array(t, param_no - 1, b, false);
}

// The next slot, named name; -53 when an array went under that name already.
int32_t new_named_slot(ParamTarget t, const char* name) {
  ParamSet* set = t.set;
  if (param_slot_named(set, name) >= 0) return ZV_BIND_NAME_TWICE;
  if (set->count >= set->capacity) return out_of_slots(t, set->count + 1, set->capacity);
  if (!(set->names[set->count] = strdup(name))) return ZV_NO_MEMORY;
  return set->count++;
}

int32_t bind_array_by_name(ParamTarget t, const char* name, const ArrayBind& b) {
  ParamSet* set = t.set;
  if (t.conn && (b.param_num > PARAM_MAX || b.param_num < -1)) return out_of_slots(t, set->count + 1, b.param_num);
  // A record gives its name a 16-bit length.
  size_t name_len = strnlen(name, INT16_MAX + 1);
  if (name_len > INT16_MAX)
    return target_error(t, ZV_BIND_RANGE, "[EC051]Error param name of %zu bytes or more out of range", name_len);
  if (!param_direction_ok(b.direction))
    return target_error(t, ZV_BIND_DIRECTION, "[EC052]Error invalid param type %d", b.direction);
  if (b.direction != DIR_IN) return 0;
  int32_t rc = shape_array_set(t, b, true);
  if (rc != 0) return rc;
  if (set->origin != ORIGIN_PREPARED) {
    int32_t i = new_named_slot(t, name);
    if (i < 0) return i;
    rc = store_array(t, i, b, true);
    // A name whose values were refused is not bound: it may be bound again.
    if (rc != 0) {
      free(set->names[i]);
      set->names[i] = nullptr;
      set->count--;
    }
    return rc;
  }
  int32_t i = param_slot_named(set, name);
  if (i < 0) {
    if (t.conn)
      put_error(&t.conn->error_text, NAME_ERROR_SIZE, "[EC053]Error invalid  param_name :%s out  of prepared ", name);
    return ZV_SERVER_ERROR;
  }
  // The tables hold all the server's parameters, however few the caller said there were.
  if (b.param_num > 0 && i >= b.param_num)
    client_print(t.conn, "params bind num %d beyanged given num %d \n", i + 1, b.param_num);
  return store_array(t, i, b, true);
}

// The set an array bind works on; 0, -3 for a bad handle or a missing block or lengths table, -5
// when the connection's set cannot be made.
int32_t array_target(void** handle, const ArrayBind& b, ParamTarget* t) {
  if (!b.values || !b.lengths) return ZV_BAD_HANDLE;
  if (param_target_of(handle, true, t)) return 0;
  return t->conn ? ZV_NO_MEMORY : ZV_BAD_HANDLE;
}
}  // namespace

int32_t ZVC_BindParamArrayByPos(void** handle, int32_t param_no, int32_t param_num, int32_t direction, int32_t type,
                                int32_t array_size, void* values, int32_t buf_size, const int32_t* lengths) {
  ArrayBind b = {param_num, direction, type, array_size, values, buf_size, lengths};
  ParamTarget t;
  int32_t rc = array_target(handle, b, &t);
  return rc != 0 ? rc : bind_array_by_pos(t, param_no, b);
}

int32_t ZVC_BindParamArrayByName(void** handle, const char* name, int32_t param_num, int32_t direction, int32_t type,
                                 int32_t array_size, void* values, int32_t buf_size, const int32_t* lengths) {
  ArrayBind b = {param_num, direction, type, array_size, values, buf_size, lengths};
  ParamTarget t;
  int32_t rc = name ? array_target(handle, b, &t) : ZV_BAD_HANDLE;
  return rc != 0 ? rc : bind_array_by_name(t, name, b);
}
