// Large objects held on the client: filling, reading and positioning a LobHandle, and
// turning a large-object field of a row into one.
#include "results/lob.h"

#include <cstdlib>
#include <cstring>

#include "connection/client_text.h"
#include "results/lob_chain.h"
#include "zvc.h"

namespace {
// The length that tells ZVC_PutLobData the caller has finished.
const uint32_t kLobEndMark = 4294967295u;

LobHandle* lob_of(LobHandle** lob_var) {
  if (!lob_var || !*lob_var || (*lob_var)->kind != HT_LOB) return nullptr;
  return *lob_var;
}

// On a connection that asked for descriptors the first byte tells inline bytes ("c", "b")
// from a descriptor to fetch ("C", "B"). A value of the other family delivers nothing.
int32_t lob_from_marked_value(LobHandle* lob, const uint8_t* value, int32_t len, int32_t ctype,
                              int32_t* out_len) {
  *out_len = 0;
  char inline_mark = ctype == 42 ? 'b' : 'c';
  char desc_mark = ctype == 42 ? 'B' : 'C';
  if (len < 1 || (value[0] != inline_mark && value[0] != desc_mark)) return 0;
  int32_t rc = 0;
  if (value[0] == inline_mark) {
    // An inline value is taken up to one chunk, no further.
    int32_t n = len - 1 < LOB_CHUNK_SIZE ? len - 1 : LOB_CHUNK_SIZE;
    rc = lob_append(lob, value + 1, n);
  } else {
    // A descriptor: the object is fetched over the link by the caller of field access.
    lob->desc_text = strndup(reinterpret_cast<const char*>(value), static_cast<size_t>(len));
    if (!lob->desc_text) return ZV_NO_MEMORY;
    return LOB_NEEDS_FETCH;
  }
  lob->state = LOB_COMPLETE;
  *out_len = static_cast<int32_t>(lob->size);
  return rc < 0 ? rc : 0;
}

bool is_lob_source_type(int32_t type) {
  return type == TC_CHAR || type == TC_CLOB || type == TC_BINARY || type == TC_BLOB || type == TC_CLOB47 ||
         type == TC_CLOB64;
}
}  // namespace

int32_t ZVC_CreateLob(LobHandle** lob_var) {
  if (!lob_var) return ZV_BAD_HANDLE;
  LobHandle* lob = static_cast<LobHandle*>(client_alloc(sizeof(LobHandle)));
  if (!lob) return ZV_NO_MEMORY;
  lob->kind = HT_LOB;
  *lob_var = lob;
  return 0;
}

int32_t ZVC_PutLobData(LobHandle** lob_var, const void* data, uint32_t length) {
  LobHandle* lob = lob_of(lob_var);
  if (!lob) return ZV_BAD_HANDLE;
  if (length == kLobEndMark) {
    lob->state = LOB_COMPLETE;
    return 0;
  }
  if (length == 0 || !data) return 0;
  lob->state = LOB_PUT;
  return lob_append(lob, static_cast<const uint8_t*>(data), length);
}

int32_t ZVC_GetLobData(LobHandle** lob_var, void* buffer, int32_t length) {
  LobHandle* lob = lob_of(lob_var);
  if (!lob || !buffer) return ZV_BAD_HANDLE;
  int64_t left = lob->size - lob->read_pos;
  int64_t n = length < left ? length : left;
  if (n <= 0 || !lob->first_chunk) return 0;
  LobChunk* chunk = lob->first_chunk;
  for (int64_t i = lob->read_pos / LOB_CHUNK_SIZE; i > 0; i--) chunk = chunk->next;
  int64_t offset = lob->read_pos % LOB_CHUNK_SIZE;
  uint8_t* out = static_cast<uint8_t*>(buffer);
  for (int64_t done = 0; done < n; chunk = chunk->next, offset = 0) {
    int64_t part = LOB_CHUNK_SIZE - offset;
    if (part > n - done) part = n - done;
    memcpy(out + done, chunk->data + offset, static_cast<size_t>(part));
    done += part;
  }
  lob->read_pos += n;
  return static_cast<int32_t>(n);
}

int32_t ZVC_SetLobReadPos(LobHandle** lob_var, int32_t pos) {
  LobHandle* lob = lob_of(lob_var);
  if (!lob) return ZV_BAD_HANDLE;
  if (pos >= 0 && pos <= lob->size) {
    lob->read_pos = pos;
    return pos;
  }
  if (pos > lob->size) {
    set_error_textf(&lob->error_text, "[EC097]Error the ReadPos set larger than max_length :%d > :%d", pos,
                    static_cast<int32_t>(lob->size));
  } else {
    set_error_textf(&lob->error_text, "[EC098]Error the ReadPos set error :%d", pos);
  }
  return -1;
}

int32_t ZVC_ResetLob(LobHandle** lob_var) {
  LobHandle* lob = lob_of(lob_var);
  if (!lob) return ZV_BAD_HANDLE;
  lob_clear(lob);
  return 0;
}

int32_t ZVC_FreeLob(LobHandle** lob_var) {
  if (!lob_var || !*lob_var) return 0;
  LobHandle* lob = lob_of(lob_var);
  if (!lob) return ZV_BAD_HANDLE;
  lob_clear(lob);
  free(lob);
  *lob_var = nullptr;
  return 0;
}

// The handle is emptied first, so that a field can be read into the same handle again.
int32_t field_to_lob(ResultRecord* result, const FieldDesc* field, const uint8_t* value, int32_t len, int32_t ctype,
                     void* buffer, int32_t* out_len) {
  *out_len = 0;
  LobHandle* lob = lob_of(static_cast<LobHandle**>(buffer));
  if (!lob) return ZV_BAD_HANDLE;
  lob_clear(lob);
  ConnRecord* conn = result->conn;
  if (conn && conn->lob_ret == 1) return lob_from_marked_value(lob, value, len, ctype, out_len);
  if (!is_lob_source_type(field->type)) return ZV_NO_CONVERSION;
  int32_t rc = lob_append(lob, value, len);
  lob->state = LOB_COMPLETE;
  *out_len = static_cast<int32_t>(lob->size);
  return rc;
}
