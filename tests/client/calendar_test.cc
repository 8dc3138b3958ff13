// The calendar splitters against the known-answer vectors, every one of them, and their own edges.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "results/calendar.h"

namespace {
// The entries of one top-level array of arrays in a JSON text, each entry as its scalar items
// (strings without quotes, numbers as written). Enough for the vector files, which hold nothing else.
std::vector<std::vector<std::string>> json_rows(const std::string& text, const std::string& key) {
  std::vector<std::vector<std::string>> rows;
  size_t pos = text.find("\"" + key + "\"");
  if (pos == std::string::npos) return rows;
  pos = text.find('[', pos) + 1;
  std::vector<std::string> row;
  std::string item;
  bool in_row = false;
  for (; pos < text.size(); pos++) {
    char c = text[pos];
    if (c == '"') {
      size_t end = text.find('"', pos + 1);
      item = text.substr(pos + 1, end - pos - 1);
      pos = end;
    } else if (c == '[') {
      in_row = true;
      row.clear();
      item.clear();
    } else if (c == ',' || c == ']') {
      if (in_row && !item.empty()) row.push_back(item);
      item.clear();
      if (c == ']' && !in_row) break;  // the end of the outer array
      if (c == ']') {
        rows.push_back(row);
        in_row = false;
      }
    } else if (!isspace(static_cast<unsigned char>(c))) {
      item += c;
    }
  }
  return rows;
}

std::string read_vectors() {
  std::ifstream in(std::string(ZV_VECTORS_DIR) + "/calendar.json");
  std::stringstream all;
  all << in.rdbuf();
  return all.str();
}

std::string date_text(const int32_t p[3]) {
  char buf[64];
  snprintf(buf, sizeof buf, "%04d-%02d-%02d", p[0], p[1], p[2]);
  return buf;
}
}  // namespace

TEST(Calendar, EveryDayVector) {
  std::vector<std::vector<std::string>> days = json_rows(read_vectors(), "days");
  ASSERT_EQ(400u, days.size());
  for (const std::vector<std::string>& v : days) {
    ASSERT_EQ(2u, v.size());
    int32_t p[3];
    days_to_date(static_cast<int32_t>(strtol(v[0].c_str(), nullptr, 10)), p);
    EXPECT_EQ(v[1], date_text(p)) << "day " << v[0];
  }
}

TEST(Calendar, EveryMillisecondVector) {
  std::vector<std::vector<std::string>> ms = json_rows(read_vectors(), "milliseconds");
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
    // The split fields agree with the text.
    char again[64];
    snprintf(again, sizeof again, "%04d-%02d-%02d %02d:%02d:%02d", p[0], p[1], p[2], p[3], p[4], p[5]);
    EXPECT_EQ(v[1], again);
  }
}

TEST(Calendar, EdgesAroundTheEpochAndLeapYears) {
  int32_t p[7];
  ms_to_datetime(-1, p);
  EXPECT_EQ((std::vector<int32_t>{1969, 12, 31, 23, 59, 59, 999}), std::vector<int32_t>(p, p + 7));
  ms_to_datetime(0, p);
  EXPECT_EQ((std::vector<int32_t>{1970, 1, 1, 0, 0, 0, 0}), std::vector<int32_t>(p, p + 7));
  ms_to_datetime(-86400000, p);
  EXPECT_EQ((std::vector<int32_t>{1969, 12, 31, 0, 0, 0, 0}), std::vector<int32_t>(p, p + 7));
  ms_to_datetime(951782400000 + 3723004, p);  // 2000-02-29 01:02:03.004
  EXPECT_EQ((std::vector<int32_t>{2000, 2, 29, 1, 2, 3, 4}), std::vector<int32_t>(p, p + 7));

  const struct {
    int32_t days;
    const char* text;
  } dates[] = {{-1, "1969-12-31"}, {0, "1970-01-01"}, {59, "1970-03-01"}, {365, "1971-01-01"},
               {730, "1972-01-01"}, {789, "1972-02-29"}, {790, "1972-03-01"}, {1095, "1972-12-31"},
               {1096, "1973-01-01"}, {-365, "1969-01-01"}, {-366, "1968-12-31"}, {-731, "1968-01-01"},
               {-732, "1967-12-31"}, {11016, "2000-02-29"}, {-25508, "1900-03-01"}, {-25509, "1900-02-28"}};
  for (const auto& d : dates) {
    days_to_date(d.days, p);
    EXPECT_EQ(d.text, date_text(p)) << d.days;
  }

  // Every day from 1600 to 2400 against a plain day-by-day count.
  int32_t y = 1600, m = 1, day = 1;
  static const int32_t kLen[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  for (int32_t n = -135140; n <= 157054; n++) {
    days_to_date(n, p);
    ASSERT_EQ(y, p[0]) << n;
    ASSERT_EQ(m, p[1]) << n;
    ASSERT_EQ(day, p[2]) << n;
    bool leap = y % 400 == 0 || (y % 4 == 0 && y % 100 != 0);
    int32_t len = kLen[m - 1] + (m == 2 && leap ? 1 : 0);
    if (++day > len) {
      day = 1;
      if (++m > 12) {
        m = 1;
        y++;
      }
    }
  }

  int32_t t[4];
  ms_to_time(45296789, t);
  EXPECT_EQ((std::vector<int32_t>{12, 34, 56, 789}), std::vector<int32_t>(t, t + 4));
  ms_to_time(86399999, t);
  EXPECT_EQ((std::vector<int32_t>{23, 59, 59, 999}), std::vector<int32_t>(t, t + 4));
  char text[64];
  datetime_to_text(-1, text);
  EXPECT_STREQ("1969-12-31 23:59:59", text);
}
