// Finding the placeholders of a statement text, as the script layer does before binding values.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "binding/placeholders.h"

using zvdbms::count_named_params;
using zvdbms::count_positional_params;
using zvdbms::scan_param_names;

TEST(Placeholders, CountsAndNames) {
  const struct {
    const char* text;
    int positional, named;
    std::vector<std::string> names;
  } cases[] = {
      {"select ? from t where a = ?", 2, 0, {}},
      {"a ?? b", 1, 0, {}},  // a doubled mark is one placeholder
      {"where a = :x and b = ':y'", 0, 1, {"x"}},
      {"a::int", 0, 1, {":int"}},
      {"(:a,:b)", 0, 2, {"a", "b"}},
      {"(:first;:second)\t:third", 0, 3, {"first", "second", "third"}},
      {"select ? where a = :a", 1, 1, {"a"}},
      {"", 0, 0, {}},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.positional, count_positional_params(c.text)) << c.text;
    EXPECT_EQ(c.named, count_named_params(c.text)) << c.text;
    EXPECT_EQ(c.names, scan_param_names(c.text)) << c.text;
  }
}
