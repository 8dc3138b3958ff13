#include "connection/client_text.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "connection/conn_record.h"
#include "zvc.h"

void* client_alloc(size_t size) { return calloc(1, size ? size : 1); }

namespace {
// The hook of the calling thread, for the lines of a connection that has none of its own yet.
thread_local NoticeHook thread_hook = nullptr;
thread_local void* thread_context = nullptr;
}  // namespace

void client_print(const ConnRecord* conn, const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  char* line = nullptr;
  if (vasprintf(&line, fmt, args) < 0) line = nullptr;
  va_end(args);
  if (!line) return;
  notice_line(conn, line);
  free(line);
}

void notice_line(const ConnRecord* conn, const char* line) {
  // A line with no connection (a parameter set not attached to one) is dropped: the call that
  // makes it reports its failure by its code and the set's error text.
  if (!conn || conn->silent) return;
  if (conn->notice) return conn->notice(conn->notice_context, line);
  if (thread_hook) return thread_hook(thread_context, line);
  // Flushed at once, so that the lines keep their place among the host's own output.
  fputs(line, stdout);
  fflush(stdout);
}

int32_t ZVC_SetNoticeHook(ConnRecord* conn, NoticeHook hook, void* context) {
  if (!conn || conn->kind != HT_CONN) return ZV_BAD_HANDLE;
  conn->notice = hook;
  conn->notice_context = context;
  return ZV_OK;
}

void ZVC_SetThreadNoticeHook(NoticeHook hook, void* context) {
  thread_hook = hook;
  thread_context = context;
}

int client_sprintf(char* dst, size_t cap, const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  int n = vsnprintf(dst, cap, fmt, args);
  va_end(args);
  return n;
}

int32_t str_copy_bounded(char* dst, size_t cap, const char* src) {
  memset(dst, 0, cap);
  return str_append_bounded(dst, cap, src);
}

int32_t str_append_bounded(char* dst, size_t cap, const char* src) {
  size_t used = strnlen(dst, cap);
  size_t room = cap - used;  // includes the place of the NUL
  size_t n = strlen(src);
  if (n < room) {
    memcpy(dst + used, src, n + 1);
    return 0;
  }
  if (room > 0) {
    memcpy(dst + used, src, room - 1);
    dst[cap - 1] = '\0';
  }
  return ZV_TRUNCATED;
}

size_t utf8_cut_len(const char* s, size_t n, size_t cap) {
  if (n <= cap) return n;
  // Step back over continuation bytes (10xxxxxx) to the lead byte of the character that would
  // be split, and cut in front of it.
  size_t cut = cap;
  while (cut > 0 && (static_cast<unsigned char>(s[cut]) & 0xC0) == 0x80) cut--;
  return cut;
}

void set_error_text(char** slot, const char* text) {
  free(*slot);
  *slot = text ? strdup(text) : nullptr;
}

void set_error_textf(char** slot, const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  char* text = nullptr;
  if (vasprintf(&text, fmt, args) < 0) text = nullptr;
  va_end(args);
  free(*slot);
  *slot = text;
}
