#include "binding/scalar_exec.h"

#include <cstring>

#include "zvc.h"

namespace zvdbms {

int32_t exec_scalar(ConnRecord** handle, const char* sql, uint8_t* value) {
  memset(value, 0, SCALAR_BUF);
  int32_t type = 0;
  return ZVC_ExecScalar(handle, sql, value, SCALAR_BUF, &type);
}

}  // namespace zvdbms
