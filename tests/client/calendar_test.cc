// The calendar splitters against every known-answer vector.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "results/calendar.h"
#include "vectors.h"

TEST(Calendar, EveryDayVector) {
  const nlohmann::json days = vector_file("calendar.json")["days"];
  ASSERT_EQ(400u, days.size());
  for (const nlohmann::json& v : days) {
    int32_t p[3];
    char text[64];
    days_to_date(v[0].get<int32_t>(), p);
    snprintf(text, sizeof text, "%04d-%02d-%02d", p[0], p[1], p[2]);
    EXPECT_EQ(v[1].get<std::string>(), text) << "day " << v[0];
  }
}

TEST(Calendar, EveryMillisecondVector) {
  const nlohmann::json ms = vector_file("calendar.json")["milliseconds"];
  ASSERT_EQ(200u, ms.size());
  for (const nlohmann::json& v : ms) {
    int64_t count = std::stoll(v[0].get<std::string>());
    char text[64];
    datetime_to_text(count, text);
    EXPECT_EQ(v[1].get<std::string>(), text) << "ms " << count;
    int32_t p[7];
    ms_to_datetime(count, p);
    EXPECT_EQ(v[2].get<int32_t>(), p[6]) << "ms " << count;
    snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d", p[0], p[1], p[2], p[3], p[4], p[5]);
    EXPECT_EQ(v[1].get<std::string>(), text) << "ms " << count;
  }
}
