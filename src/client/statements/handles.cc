// The calls that take a handle of any kind and act by its kind: error texts, release and
// attributes. The only place that tells the kinds apart.
#include <cstring>

#include "connection/client_text.h"
#include "connection/error_record.h"
#include "results/lob.h"
#include "results/result_attr.h"
#include "results/smart_cursor.h"
#include "statements/conn_attr.h"
#include "statements/cursor.h"
#include "statements/param_set.h"
#include "zvc.h"

namespace {
enum { ERROR_CODE_LEN = 6 };

int32_t kind_of(void** handle) { return handle && *handle ? *static_cast<int32_t*>(*handle) : 0; }

// The text that a handle of each kind keeps; null when it has none.
const char* handle_error_text(void** handle) {
  switch (kind_of(handle)) {
    case HT_CONN:
      return static_cast<ConnRecord*>(*handle)->error_text;
    case HT_RESULT:
      return static_cast<ResultRecord*>(*handle)->message;
    case HT_LOB:
      return static_cast<LobHandle*>(*handle)->error_text;
    case HT_PARAMS:
      return static_cast<ParamSet*>(*handle)->error;
    case HT_SMART_CURSOR:
      settle_cursor_close(static_cast<SmartCursor*>(*handle));
      return static_cast<SmartCursor*>(*handle)->error;
    default:
      return nullptr;
  }
}
// The connection a handle belongs to; null when it has none.
const ConnRecord* handle_conn(void** handle) {
  switch (kind_of(handle)) {
    case HT_CONN:
      return static_cast<ConnRecord*>(*handle);
    case HT_RESULT:
      return static_cast<ResultRecord*>(*handle)->conn;
    case HT_SMART_CURSOR: {
      const SmartCursor* cursor = static_cast<SmartCursor*>(*handle);
      return cursor->conn ? cursor->conn : cursor->result ? cursor->result->conn : nullptr;
    }
    default:
      return nullptr;
  }
}
}  // namespace

void ZVC_Notice(void** handle, const char* line) {
  if (line) notice_line(handle_conn(handle), line);
}

// The code's 6 bytes and the text's text_len bytes, without terminators: the caller's buffers
// are of those sizes.
int32_t ZVC_GetError(void** handle, char* code_out, char* text_out) {
  int32_t kind = kind_of(handle);
  if (kind == HT_PARAMS) return 0;
  if (kind != HT_CONN && kind != HT_RESULT && kind != HT_LOB && kind != HT_SMART_CURSOR) return ZV_BAD_HANDLE;
  ErrorRecord* rec = make_error_record(handle_error_text(handle));
  if (!rec) return ZV_NO_MORE;
  memcpy(code_out, rec->code, ERROR_CODE_LEN);
  memcpy(text_out, rec->text, static_cast<size_t>(rec->text_len));
  int32_t result = rec->ext_len >= 1 ? 2 : 0;
  free_error_record(rec);
  return result;
}

int32_t ZVC_GetErrorText(void** handle, char* buffer, int32_t* length_out) {
  const char* text = handle_error_text(handle);
  size_t len = text ? strlen(text) : 0;
  size_t kept = len < ZV_ERROR_TEXT_SIZE ? len : ZV_ERROR_TEXT_SIZE - 1;
  if (buffer && text) {
    memcpy(buffer, text, kept);
    buffer[kept] = '\0';
  }
  if (length_out) *length_out = static_cast<int32_t>(len);
  return kept < len ? ZV_TRUNCATED : 0;
}

int32_t ZVC_GetErrorLength(void** handle) {
  const char* text = handle_error_text(handle);
  return text ? static_cast<int32_t>(strlen(text)) : 0;
}

int32_t ZVC_FreeHandle(void** handle) {
  if (!handle) return ZV_BAD_HANDLE;
  if (!*handle) return 0;
  switch (kind_of(handle)) {
    case HT_CONN:
      return ZVC_CloseConnection(reinterpret_cast<ConnRecord**>(handle));
    case HT_RESULT:
    case HT_SMART_CURSOR:
      return ZVC_CloseResult(handle);
    case HT_LOB:
      return ZVC_FreeLob(reinterpret_cast<LobHandle**>(handle));
    case HT_PARAMS:
      free_param_set(static_cast<ParamSet*>(*handle));
      *handle = nullptr;
      return 0;
    default:
      return ZV_BAD_HANDLE;
  }
}

int32_t ZVC_GetAttr(void** handle, int32_t attribute, void* value_out, int32_t value_size, int32_t* type_out,
                    int32_t* length_out) {
  const AttrOut out = {value_out, value_size, type_out, length_out};
  switch (kind_of(handle)) {
    case HT_CONN:
      return conn_get_attr(static_cast<ConnRecord*>(*handle), attribute, &out);
    case HT_RESULT:
      return result_get_attr(static_cast<ResultRecord*>(*handle), attribute, &out);
    case HT_SMART_CURSOR:
      settle_cursor_close(static_cast<SmartCursor*>(*handle));
      return smart_get_attr(static_cast<SmartCursor*>(*handle), attribute, &out);
    case HT_PARAMS:
    case HT_LOB:
      return 0;
    default:
      return ZV_BAD_HANDLE;
  }
}

// Only a connection has attributes to set; on other handles the call does nothing.
int32_t ZVC_SetAttr(void** handle, int32_t attribute, const void* value, int32_t value_size) {
  if (kind_of(handle) != HT_CONN) return 0;
  return conn_set_attr(static_cast<ConnRecord*>(*handle), attribute, value, value_size) < 0 ? ZV_SERVER_ERROR : 0;
}
