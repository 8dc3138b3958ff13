// Stepping through a held result row by row and result by result, and closing it. A smart
// cursor refills and closes over its link, so these calls sit above the result layer.
#include "results/result_handle.h"
#include "results/row_store.h"
#include "statements/cursor.h"
#include "zvc.h"

int32_t ZVC_NextRow(void** handle) {
  if (SmartCursor* cursor = smart_cursor_of(handle)) return smart_next_row(cursor);
  ResultRecord* result = result_of(handle);
  if (!result) return ZV_BAD_HANDLE;
  return next_row(result);
}

// The handle moves on to the next result of the same reply; the record left behind is gone. A
// smart cursor's next result leaves the cursor behind, closed, and the handle holds a plain one.
int32_t ZVC_NextResult(void** handle) {
  if (!handle || !*handle) return ZV_BAD_HANDLE;
  ResultRecord* result = result_of(handle);
  if (!result) return 0;
  ResultRecord* next = result->next;
  if (!next) return ZV_NO_MORE;
  if (SmartCursor* cursor = smart_cursor_of(handle)) {
    result->next = nullptr;
    int32_t rc = close_smart_cursor(cursor);
    if (rc < 0) {
      result->next = next;
      return rc;
    }
  } else {
    free_result(result);
  }
  *handle = next;
  return 0;
}

// Closing a result closes the rest of its chain too: nobody can reach those records after
// the handle is cleared. A cursor whose CLOSE the server refused stays in the handle.
int32_t ZVC_CloseResult(void** handle) {
  if (!handle) return ZV_BAD_HANDLE;
  if (!*handle) return 0;
  if (SmartCursor* cursor = smart_cursor_of(handle)) {
    int32_t rc = close_smart_cursor(cursor);
    if (rc < 0) return rc;
  } else {
    ResultRecord* result = result_of(handle);
    if (!result) return ZV_BAD_HANDLE;
    free_result_chain(result);
  }
  *handle = nullptr;
  return 0;
}
