// Stepping through a held result row by row and result by result, and closing handles.
#include "results/lob.h"
#include "results/result_handle.h"
#include "results/row_store.h"
#include "zvc.h"

int32_t ZVC_NextRow(void** handle) {
  ResultRecord* result = result_of(handle);
  if (!result) return ZV_BAD_HANDLE;
  return next_row(result);
}

// The handle moves on to the next result of the same reply; the record left behind is gone.
int32_t ZVC_NextResult(void** handle) {
  if (!handle || !*handle) return ZV_BAD_HANDLE;
  ResultRecord* result = result_of(handle);
  if (!result) return 0;
  if (!result->next) return ZV_NO_MORE;
  *handle = result->next;
  free_result(result);
  return 0;
}

// Closing a result closes the rest of its chain too: nobody can reach those records after
// the handle is cleared.
int32_t ZVC_CloseResult(void** handle) {
  if (!handle) return ZV_BAD_HANDLE;
  if (!*handle) return 0;
  ResultRecord* result = result_of(handle);
  if (!result) return ZV_BAD_HANDLE;
  free_result_chain(result);
  *handle = nullptr;
  return 0;
}

