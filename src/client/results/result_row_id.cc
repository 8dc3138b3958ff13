// The row id that an insert's reply brought, read from the result that holds it.
#include "connection/client_text.h"
#include "results/result_handle.h"
#include "zvc.h"

int32_t ZVC_GetRowId(void** handle, char* buffer, int32_t buffer_len) {
  ResultRecord* result = result_of(handle);
  if (!result || !buffer || buffer_len < 1) return ZV_BAD_HANDLE;
  const char* id = result->result_kind == RK_INSERT ? result->row_id : "";
  if (str_copy_bounded(buffer, static_cast<size_t>(buffer_len), id) == 0) return 0;
  set_result_message(result, "[EC0109]Error the row id does not fit the buffer: it was cut\n");
  return ZV_TRUNCATED;
}
