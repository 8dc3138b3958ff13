#include "binding/placeholders.h"

#include <cstring>

namespace zvdbms {

static int run_value(int k) { return k <= 2 ? 1 : 3 - k; }

int count_positional_params(const char* text) {
  int count = 0;
  for (const char* p = text; *p;) {
    if (*p != '?') {
      p++;
      continue;
    }
    int k = 0;
    while (*p == '?') p++, k++;
    count += run_value(k);
  }
  return count;
}

int count_named_params(const char* text) {
  int count = 0;
  bool quoted = false;
  for (const char* p = text; *p;) {
    if (*p == '\'') quoted = !quoted;
    if (quoted || *p != ':') {
      p++;
      continue;
    }
    int k = 0;
    while (*p == ':') p++, k++;
    count += run_value(k);
  }
  return count;
}

std::vector<std::string> scan_param_names(const char* text) {
  std::vector<std::string> names;
  if (count_named_params(text) == 0) return names;
  bool quoted = false;
  for (const char* p = text; *p; p++) {
    if (*p == '\'') quoted = !quoted;
    if (quoted || *p != ':') continue;
    size_t len = strcspn(p + 1, " ;),\n\r\t");
    names.emplace_back(p + 1, len);
    if (p[1 + len] == '\0') break;  // the name reaches the end of the text
    // The walk goes on with the name's last character (behind the colon for an empty name).
    p += len;
  }
  return names;
}

}  // namespace zvdbms
