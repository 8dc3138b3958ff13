#include "connection/error_record.h"

#include <cstdlib>
#include <cstring>

#include "connection/client_text.h"

namespace {

const char common_head[] = "common error\n";
const char cut_tail[] = " extern please call Option\n";

enum {
  PLAIN_LIMIT = 243,  // a message without a code is appended to common_head below this length
  CUT_BODY = 200,     // bytes of a long body kept in text
};

void keep_whole_text(ErrorRecord* rec, const char* text, size_t len) {
  rec->ext_text = strdup(text);
  rec->ext_len = static_cast<int32_t>(len);
}

// "[" code "]" body: the code has 5 characters when "]" is the seventh, else 6.
void split_coded_message(ErrorRecord* rec, const char* message, size_t len) {
  size_t code_len = (len > 6 && message[6] == ']') ? 5 : 6;
  size_t body_at = code_len + 2;
  const char* body = message + (body_at < len ? body_at : len);
  size_t body_len = strlen(body);
  memcpy(rec->code, message + 1, strnlen(message + 1, code_len));
  if (len < body_at + 255) {
    memcpy(rec->text, body, body_len);
    rec->text_len = static_cast<int32_t>(body_len);
    return;
  }
  // Too long for text: keep the opening of the body with a hint, and the whole body aside.
  memcpy(rec->text, body, CUT_BODY);
  memcpy(rec->text + CUT_BODY, cut_tail, sizeof cut_tail);
  rec->text_len = static_cast<int32_t>(CUT_BODY + sizeof cut_tail - 1);
  keep_whole_text(rec, body, body_len);
}

}  // namespace

ErrorRecord* make_error_record(const char* message) {
  if (!message) return nullptr;
  ErrorRecord* rec = static_cast<ErrorRecord*>(client_alloc(sizeof(ErrorRecord)));
  if (!rec) return nullptr;
  size_t len = strlen(message);
  if (message[0] == '[') {
    split_coded_message(rec, message, len);
    return rec;
  }
  memcpy(rec->code, "EC0100", 6);
  memcpy(rec->text, common_head, sizeof common_head);
  if (len < PLAIN_LIMIT) {
    memcpy(rec->text + sizeof common_head - 1, message, len + 1);
  } else {
    keep_whole_text(rec, message, len);
  }
  rec->text_len = static_cast<int32_t>(strlen(rec->text));
  return rec;
}

void free_error_record(ErrorRecord* record) {
  if (!record) return;
  free(record->ext_text);
  free(record);
}

