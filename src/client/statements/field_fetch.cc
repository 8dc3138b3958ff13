// ZVC_GetData: one field of the current row as the caller asks for it. A large object that
// the row carried as a descriptor is fetched over the result's link here, above the result
// layer, which holds values and never talks to the server.
#include "results/field_access.h"
#include "results/lob.h"
#include "results/result_handle.h"
#include "statements/lob_fetch.h"
#include "zvc.h"

int32_t ZVC_GetData(void** handle, int32_t column, int32_t ctype, void* buffer, int32_t buffer_len,
                    int32_t* out_len) {
  ResultRecord* result = result_of(handle);
  if (!result) return ZV_BAD_HANDLE;
  int32_t scratch = 0;
  if (!out_len) out_len = &scratch;
  int32_t rc = field_to_value(handle, column, ctype, buffer, buffer_len, out_len);
  if (rc != LOB_NEEDS_FETCH) return rc;
  LobHandle* lob = *static_cast<LobHandle**>(buffer);
  rc = recv_lob(result->conn, lob);
  lob->state = LOB_COMPLETE;
  *out_len = static_cast<int32_t>(lob->size);
  return rc < 0 ? rc : 0;
}
