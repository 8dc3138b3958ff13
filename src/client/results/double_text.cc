// The text of a TC_DOUBLE: sixteen digits in all for up to fifteen integer digits, trailing zeros kept.
#include <cstring>

#include "connection/client_text.h"
#include "results/field_access.h"
#include "results/value_text.h"

void double_to_text(char* buffer, double value) {
  static const char* const kFormats[] = {"%.15lf", "%.14lf", "%.13lf", "%.12lf", "%.11lf",
                                         "%.10lf", "%.9lf",  "%.8lf",  "%.7lf",  "%.6lf",
                                         "%.5lf",  "%.4lf",  "%.3lf",  "%.2lf",  "%.1lf"};
  char whole[VALUE_TEXT_SIZE];
  client_sprintf(whole, sizeof whole, "%.0lf", value);
  size_t digits = strlen(whole) - (whole[0] == '-' ? 1 : 0);
  const char* format = digits >= 1 && digits <= 15 ? kFormats[digits - 1] : "%lf";
  client_sprintf(buffer, VALUE_TEXT_SIZE, format, value);
}
