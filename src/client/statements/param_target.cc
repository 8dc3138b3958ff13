#include "statements/param_target.h"

#include <cstdarg>
#include <cstdio>

#include "connection/client_text.h"

bool param_target_of(void** handle, bool make, ParamTarget* t) {
  *t = {};
  if (!handle || !*handle) return false;
  int32_t kind = *static_cast<int32_t*>(*handle);
  if (kind == HT_PARAMS) {
    t->set = static_cast<ParamSet*>(*handle);
    return true;
  }
  if (kind != HT_CONN) return false;
  t->conn = static_cast<ConnRecord*>(*handle);
  if (!t->conn->params && make) t->conn->params = new_param_set(ORIGIN_BIND);
  t->set = t->conn->params;
  return t->set != nullptr || !make;
}

static void put_error_v(char** slot, size_t cap, const char* fmt, va_list args) {
  char text[NAME_ERROR_SIZE];
  vsnprintf(text, cap < sizeof text ? cap : sizeof text, fmt, args);
  set_error_text(slot, text);
}

void put_error(char** slot, size_t cap, const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  put_error_v(slot, cap, fmt, args);
  va_end(args);
}

int32_t target_error(ParamTarget t, int32_t code, const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  put_error_v(t.conn ? &t.conn->error_text : &t.set->error, BIND_ERROR_SIZE, fmt, args);
  va_end(args);
  return code;
}
