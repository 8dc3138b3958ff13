#include "binding/scalar_exec.h"

#include <cstdlib>
#include <cstring>

#include "zvc.h"

namespace zvdbms {

enum { LONG_FORM_TYPE = 100 };

int32_t exec_scalar(ConnRecord** handle, const char* sql, uint8_t* value) {
  memset(value, 0, SCALAR_BUF);
  int32_t type = 0;
  int32_t ret = ZVC_ExecScalar(handle, sql, value, &type);
  if (type >= LONG_FORM_TYPE) {
    int32_t len = 0;
    char* copy = nullptr;
    memcpy(&len, value, sizeof len);
    memcpy(&copy, value + 4, sizeof copy);
    memset(value, 0, SCALAR_BUF);
    if (copy != nullptr && len > 0) memcpy(value, copy, len < SCALAR_BUF - 1 ? len : SCALAR_BUF - 1);
    free(copy);
  }
  return ret;
}

}  // namespace zvdbms
