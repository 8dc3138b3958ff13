// Splitting the wire's day and millisecond counts into calendar fields, on the proleptic
// Gregorian calendar counted from 1970-01-01.
#include "results/calendar.h"

#include "connection/client_text.h"

static bool leap(int64_t y) { return y % 400 == 0 || (y % 4 == 0 && y % 100 != 0); }
static int64_t year_length(int64_t y) { return leap(y) ? 366 : 365; }
// Leap years from year 1 to y, less the 477 of them up to 1969.
static int64_t leap_days(int64_t y) { return y / 4 - y / 100 + y / 400 - 477; }

static const int32_t kMonthStart[2][13] = {
    {0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334, 365},
    {0, 31, 60, 91, 121, 152, 182, 213, 244, 274, 305, 335, 366},
};

// Year, month and day of a day count; p_date gets them in that order.
static void split_days(int64_t days, int32_t p_date[3]) {
  // First guess of the year from the 400, 100 and 4-year day counts, then the day within it.
  int64_t r = days % 146097 % 36524 % 1461;
  int64_t groups = 400 * (days / 146097) + 100 * (days % 146097 / 36524) + 4 * (days % 146097 % 36524 / 1461);
  int64_t year;
  int64_t yday;
  if (days >= 0) {
    year = groups + 1970 + (r > 1096 ? 3 : r >= 731 ? 2 : r >= 366 ? 1 : r == 0 ? -1 : 0);
    yday = days - 365 * (year - 1970) - leap_days(year - 1);
  } else {
    year = groups + 1969 - (r < -1096 ? 3 : r <= -732 ? 2 : r <= -366 ? 1 : r == 0 ? -1 : 0);
    yday = days - 365 * (year - 1969) - leap_days(year) + year_length(year);
  }
  // The guess can be a year off either way: step until the day lies inside its year.
  while (yday < 0) {
    year--;
    yday += year_length(year);
  }
  yday++;
  while (yday > year_length(year)) {
    yday -= year_length(year);
    year++;
  }
  const int32_t* table = kMonthStart[leap(year) ? 1 : 0];
  int32_t m = 0;
  while (!(table[m] < yday && table[m + 1] >= yday)) m++;
  p_date[0] = static_cast<int32_t>(year);
  p_date[1] = m + 1;
  p_date[2] = static_cast<int32_t>(yday - table[m]);
}

void ms_to_datetime(int64_t ms, int32_t p_t[7]) {
  int64_t frac = ms % 1000;
  int64_t sec = ms / 1000;
  if (frac < 0) {
    frac += 1000;
    sec -= 1;
  }
  int64_t sod = sec % 86400;
  int64_t days = sec / 86400;
  if (sod < 0) {
    sod += 86400;
    days -= 1;
  }
  split_days(days, p_t);
  p_t[3] = static_cast<int32_t>(sod / 3600);
  p_t[4] = static_cast<int32_t>(sod % 3600 / 60);
  p_t[5] = static_cast<int32_t>(sod % 3600 % 60);
  p_t[6] = static_cast<int32_t>(frac);
}

void days_to_date(int32_t days, int32_t p_date[3]) { split_days(days, p_date); }

void ms_to_time(int32_t ms, int32_t p_time[4]) {
  int32_t s = ms / 1000;
  p_time[0] = s / 3600;
  p_time[1] = s % 3600 / 60;
  p_time[2] = s % 3600 % 60;
  p_time[3] = ms % 1000;
}

void datetime_to_text(int64_t ms, char* buffer) {
  int32_t t[7];
  ms_to_datetime(ms, t);
  client_sprintf(buffer, 64, "%04d-%02d-%02d %02d:%02d:%02d", t[0], t[1], t[2], t[3], t[4], t[5]);
}
