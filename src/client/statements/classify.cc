// Sorting a statement text by its first word, so that callers pick the right call for it.
#include <strings.h>

#include <cstring>

#include "zvc.h"

namespace {

struct KeyWord {
  const char* word;  // six bytes: a shorter word carries its blank
  int32_t sql_class;
};

const KeyWord kKeyWords[] = {
    {"INSERT", SQL_INSERT}, {"MERGE ", SQL_INSERT}, {"REPLAC", SQL_INSERT}, {"UPDATE", SQL_UPDATE},
    {"DELETE", SQL_DELETE}, {"CREATE", SQL_CREATE}, {"ALTER ", SQL_ALTER},
};

// A SELECT stays a query unless a further statement stands behind its first ";": up to
// four bytes after it (blanks, a line end) do not count as one.
int32_t classify_select(const char* text) {
  const char* semicolon = strchr(text, ';');
  if (semicolon && strlen(semicolon) >= 6) return SQL_OTHER;
  return SQL_QUERY;
}
}  // namespace

int32_t ZVC_ClassifySql(const char* text) {
  if (!text) return SQL_OTHER;
  while (*text == ' ' || *text == '\n' || *text == '\r') text++;
  char kstr[10] = {};
  strncpy(kstr, text, 6);
  if (strcasecmp(kstr, "SELECT") == 0) return classify_select(text);
  for (const KeyWord& key : kKeyWords) {
    if (strcasecmp(kstr, key.word) == 0) return key.sql_class;
  }
  if (strncasecmp(text, "EXEC ", 5) == 0 || strncasecmp(text, "EXECUT", 6) == 0) return SQL_CALL;
  if (strncmp(text, "STC", 3) == 0) return SQL_QUERY;
  return SQL_OTHER;
}
