// Binding one value per parameter, by position or by name, and the calls that make, attach and
// clear parameter sets.

#include <cstdlib>
#include <cstring>

#include "connection/client_text.h"
#include "results/result_record.h"
#include "statements/param_target.h"
#include "zvc.h"

namespace {
// A zeroed copy of length bytes of value with a terminator behind them, and its length; false
// when memory runs out. A missing value or a negative length is an empty value.
bool copy_input(const void* value, int32_t length, void** value_out, int32_t** length_out) {
  if (!value || length < 0) length = 0;
  char* copy = static_cast<char*>(client_alloc(static_cast<size_t>(length) + 1));
  int32_t* len = static_cast<int32_t*>(client_alloc(sizeof(int32_t)));
  if (!copy || !len) {
    free(copy);
    free(len);
    return false;
  }
  if (length > 0) memcpy(copy, value, static_cast<size_t>(length));
  *len = length;
  *value_out = copy;
  *length_out = len;
  return true;
}

// The value of slot i: an input is copied now, an output names the caller's buffers, which must
// outlive the exchange since the reply is written into them.
int32_t store_value(ParamSet* set, int32_t i, int32_t direction, int32_t type, void* value, int32_t size,
                    int32_t* length_ptr) {
  set->types[i] = type;
  set->directions[i] = direction;
  if (direction != DIR_IN) {
    set->values[0][i] = value;
    set->sizes[i] = size;
    set->lengths[i] = length_ptr;
    return 0;
  }
  // Without a length the size tells it.
  int32_t length = length_ptr ? *length_ptr : size;
  if (!copy_input(value, length, &set->values[0][i], &set->lengths[i])) return ZV_NO_MEMORY;
  set->owns_values = 1;
  return 0;
}

// A prepared set gets its value tables at the first bind.
bool ensure_prepared_tables(ParamSet* set) {
  if (set->origin != ORIGIN_PREPARED || set->values) return true;
  int32_t n = set->count;
  set->values = static_cast<void***>(client_alloc(sizeof(void**)));
  if (!set->values) return false;
  set->values[0] = static_cast<void**>(client_alloc(sizeof(void*) * static_cast<size_t>(n > 0 ? n : 1)));
  set->lengths = static_cast<int32_t**>(client_alloc(sizeof(int32_t*) * static_cast<size_t>(n > 0 ? n : 1)));
  set->directions = static_cast<int32_t*>(client_alloc(sizeof(int32_t) * static_cast<size_t>(n > 0 ? n : 1)));
  return set->values[0] && set->lengths && set->directions;
}

// Makes room up to param_no, as far as 128 slots past the capacity. 0, or -55 / -5.
int32_t reach_position(ParamSet* set, int32_t param_no) {
  if (set->count >= param_no) return 0;
  if (set->capacity < param_no) {
    int32_t capacity = set->capacity + PARAM_SLOTS;
    if (capacity < param_no) {
      put_error(&set->error, BIND_ERROR_SIZE, "[EC055]Error bindparam jump long %d invalid", ZV_BIND_JUMP);
      return ZV_BIND_JUMP;
    }
    if (!grow_params(set, capacity)) return ZV_NO_MEMORY;
  }
  // The slots jumped over hold no value: they go out as nulls.
  for (int32_t i = set->count; i < param_no; i++) set->values[0][i] = nullptr;
  set->count = param_no;
  return 0;
}

int32_t out_of_range(ParamTarget t, int32_t param_no) {
  return target_error(t, ZV_BIND_RANGE, "[EC051]Error invalid param NO %d out of range paramnum", param_no);
}

// A set bound by arrays has a table of values and lengths for each row: one value would leave
// the other rows short of it.
int32_t array_set_refused(ParamTarget t) {
  return target_error(t, ZV_BIND_RANGE, "[EC051]Error bindparam one value into a set of %d rows", t.set->array_size);
}

int32_t bind_by_pos(ParamTarget t, int32_t param_no, int32_t direction, int32_t type, void* value, int32_t size,
                    int32_t* length_ptr) {
  if (param_no > PARAM_MAX) return out_of_range(t, param_no);
  if (!param_direction_ok(direction))
    return target_error(t, ZV_BIND_DIRECTION, "[EC052]Error invalid param type %d", direction);
  if (param_no < 1) return target_error(t, ZV_BIND_POSITION, "[EC054]Error param_no  param seq %d invalid", param_no);
  if (t.set->array_size > 0) return array_set_refused(t);
  ParamSet* set = t.set;
  if (set->count == 0 && set->origin != ORIGIN_PREPARED && !grow_params(set, PARAM_SLOTS)) return ZV_NO_MEMORY;
  int32_t rc = set->origin == ORIGIN_PREPARED ? 0 : reach_position(set, param_no);
  if (rc != 0) return rc;
  if (!ensure_prepared_tables(set)) return ZV_NO_MEMORY;
  // A prepared set has the server's count of slots, and no more.
  if (param_no > set->count) return out_of_range(t, param_no);
  int32_t i = param_no - 1;
  set->positions[i] = i;
  return store_value(set, i, direction, type, value, size, length_ptr);
}

// The next free slot of a set filled by name. The names table is made with the first name, also
// in a set whose first values were bound by position.
int32_t next_named_slot(ParamSet* set) {
  if (set->count >= set->capacity && !grow_params(set, set->capacity + PARAM_SLOTS)) return ZV_NO_MEMORY;
  if (!set->names) {
    set->names = static_cast<char**>(client_alloc(sizeof(char*) * static_cast<size_t>(set->capacity)));
    if (!set->names) return ZV_NO_MEMORY;
  }
  return set->count++;
}

int32_t bind_by_name(ParamTarget t, const char* name, int32_t direction, int32_t type, void* value, int32_t size,
                     int32_t* length_ptr) {
  if (!param_direction_ok(direction))
    return target_error(t, ZV_BIND_DIRECTION, "[EC052]Error invalis param type %d", direction);
  if (t.set->array_size > 0) return array_set_refused(t);
  ParamSet* set = t.set;
  int32_t i;
  if (set->origin == ORIGIN_PREPARED) {
    if (!ensure_prepared_tables(set)) return ZV_NO_MEMORY;
    i = param_slot_named(set, name);
    if (i < 0) {
      if (t.conn) put_error(&t.conn->error_text, NAME_ERROR_SIZE, "[EC053]Error invalid  param_name :%s out  of prepared ", name);
      return ZV_SERVER_ERROR;
    }
  } else {
    i = next_named_slot(set);
    if (i < 0) return i;
    set->names[i] = strdup(name);
    if (!set->names[i]) return ZV_NO_MEMORY;
  }
  set->positions[i] = -1;
  int32_t rc = store_value(set, i, direction, type, value, size, length_ptr);
  if (direction == DIR_IN) set->sizes[i] = size;
  return rc;
}
}  // namespace

int32_t ZVC_NewParamSet(ParamSet** handle_out) {
  if (!handle_out) return ZV_BAD_HANDLE;
  *handle_out = new_param_set(ORIGIN_STANDING);
  return *handle_out ? 0 : ZV_NO_MEMORY;
}

int32_t ZVC_AttachParams(ConnRecord** conn_handle, ParamSet** set_handle) {
  if (!conn_handle || !*conn_handle || (*conn_handle)->kind != HT_CONN || !set_handle || !*set_handle ||
      (*set_handle)->kind != HT_PARAMS)
    return ZV_BAD_HANDLE;
  ConnRecord* conn = *conn_handle;
  if (conn->params && conn->params != *set_handle && conn->params->origin != ORIGIN_STANDING)
    free_param_set(conn->params);
  conn->params = *set_handle;
  return 0;
}

int32_t ZVC_ClearParams(void** handle) {
  ParamTarget t;
  if (!param_target_of(handle, false, &t)) return ZV_BAD_HANDLE;
  if (!t.conn) {
    free_params(t.set);
    return 0;
  }
  ConnRecord* conn = t.conn;
  if (conn->params) {
    if (conn->params->origin == ORIGIN_STANDING)
      free_params(conn->params);
    else
      free_param_set(conn->params);
    conn->params = nullptr;
  }
  free_result(conn->results);
  conn->results = nullptr;
  return 0;
}

int32_t ZVC_BindParamByPos(void** handle, int32_t param_no, int32_t direction, int32_t type, void* value, int32_t size,
                           int32_t* length_ptr) {
  ParamTarget t;
  if (!param_target_of(handle, true, &t)) return t.set ? ZV_NO_MEMORY : ZV_BAD_HANDLE;
  return bind_by_pos(t, param_no, direction, type, value, size, length_ptr);
}

int32_t ZVC_BindParamByName(void** handle, const char* name, int32_t direction, int32_t type, void* value,
                            int32_t size, int32_t* /*reserved*/, int32_t* length_ptr) {
  ParamTarget t;
  if (!name || !param_target_of(handle, true, &t)) return ZV_BAD_HANDLE;
  return bind_by_name(t, name, direction, type, value, size, length_ptr);
}
