// The calendar splitters against every known-answer vector, and a day-by-day count over 800 years.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "results/calendar.h"

namespace {
// The entries of the top-level array `key` of the vector file, each as its items (strings without
// quotes, numbers as written). No string in that file holds a bracket or a quote.
std::vector<std::vector<std::string>> json_rows(const std::string& key) {
  std::ifstream in(std::string(ZV_VECTORS_DIR) + "/calendar.json");
  std::stringstream all;
  all << in.rdbuf();
  std::string text = all.str();
  size_t pos = text.find("\"" + key + "\"");
  if (pos == std::string::npos) return {};
  text = text.substr(text.find('[', pos) + 1);
  std::smatch end;
  std::regex_search(text, end, std::regex("\\]\\s*\\]"));  // the inner array that closes the outer one
  text = text.substr(0, end.position() + 1);
  std::vector<std::vector<std::string>> rows;
  const std::regex entry("\\[([^\\]]*)\\]"), item("\"([^\"]*)\"|-?[0-9]+");
  for (std::sregex_iterator e(text.begin(), text.end(), entry), last; e != last; ++e) {
    std::string items = (*e)[1];
    rows.emplace_back();
    for (std::sregex_iterator i(items.begin(), items.end(), item); i != last; ++i)
      rows.back().push_back((*i)[1].matched ? (*i)[1].str() : i->str());
  }
  return rows;
}
}  // namespace

TEST(Calendar, EveryDayVector) {
  std::vector<std::vector<std::string>> days = json_rows("days");
  ASSERT_EQ(400u, days.size());
  for (const std::vector<std::string>& v : days) {
    ASSERT_EQ(2u, v.size());
    int32_t p[3];
    char text[64];
    days_to_date(static_cast<int32_t>(strtol(v[0].c_str(), nullptr, 10)), p);
    snprintf(text, sizeof text, "%04d-%02d-%02d", p[0], p[1], p[2]);
    EXPECT_EQ(v[1], text) << "day " << v[0];
  }
}

TEST(Calendar, EveryMillisecondVector) {
  std::vector<std::vector<std::string>> ms = json_rows("milliseconds");
  ASSERT_EQ(200u, ms.size());
  for (const std::vector<std::string>& v : ms) {
    ASSERT_EQ(3u, v.size());
    int64_t count = strtoll(v[0].c_str(), nullptr, 10);
    char text[64];
    datetime_to_text(count, text);
    EXPECT_EQ(v[1], text) << "ms " << v[0];
    int32_t p[7];
    ms_to_datetime(count, p);
    EXPECT_EQ(atoi(v[2].c_str()), p[6]) << "ms " << v[0];
    snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d", p[0], p[1], p[2], p[3], p[4], p[5]);
    EXPECT_EQ(v[1], text) << "ms " << v[0];
  }
}

TEST(Calendar, EveryDayFrom1600To2400AndTimesOfDay) {
  static const int32_t kLen[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  int32_t y = 1600, m = 1, day = 1, p[3];
  for (int32_t n = -135140; n <= 157054; n++) {
    days_to_date(n, p);
    ASSERT_EQ((std::vector<int32_t>{y, m, day}), std::vector<int32_t>(p, p + 3)) << n;
    bool leap = y % 400 == 0 || (y % 4 == 0 && y % 100 != 0);
    if (++day > kLen[m - 1] + (m == 2 && leap)) {
      day = 1;
      if (++m > 12) m = 1, y++;
    }
  }
  int32_t t[4];
  ms_to_time(45296789, t);
  EXPECT_EQ((std::vector<int32_t>{12, 34, 56, 789}), std::vector<int32_t>(t, t + 4));
  ms_to_time(86399999, t);
  EXPECT_EQ((std::vector<int32_t>{23, 59, 59, 999}), std::vector<int32_t>(t, t + 4));
}
