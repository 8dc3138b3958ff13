#include "binding/scalar_exec.h"

#include <cstring>

#include "zvc.h"

namespace zvdbms {

int32_t exec_scalar(ConnRecord** handle, const char* sql, uint8_t* value, int32_t* type) {
  memset(value, 0, SCALAR_BUF);
  *type = 0;
  return ZVC_ExecScalar(handle, sql, value, SCALAR_BUF, type);
}

}  // namespace zvdbms
