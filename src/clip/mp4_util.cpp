#include "clip/mp4_util.h"

#include <algorithm>

namespace MP4G {

namespace {

constexpr std::uint64_t kSecondsPerMinute = 60;
constexpr std::uint64_t kSecondsPerHour = 3600;
constexpr std::uint64_t kSecondsPerDay = 86400;
constexpr std::uint64_t kSecondsFromYear0To1904 = 60084374400;

// The calendar repeats after 400 years. Counted from year 1, each longer span ends with the year
// that has the day more or the day less.
constexpr std::uint64_t kDaysPer400Years = 146097;
constexpr std::uint64_t kDaysPer100Years = 36524;
constexpr std::uint64_t kDaysPer4Years = 1461;
constexpr std::uint64_t kDaysPerYear = 365;
constexpr std::uint64_t kDaysOfYear0 = 366;

// Days before each month of a year without a leap day.
constexpr std::uint16_t kDaysBeforeMonth[] = {0,   31,  59,  90,  120, 151,
                                              181, 212, 243, 273, 304, 334};

constexpr bool IsLeapYear(std::uint64_t year) {
  return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

constexpr std::uint32_t DaysBeforeMonth(unsigned int month, bool leapYear) {
  return kDaysBeforeMonth[month - 1] + (leapYear && month > 2 ? 1u : 0u);
}

// Turns the days since the start of year 0 into the year and the days since its start.
std::uint64_t TakeYear(std::uint64_t& days) {
  std::uint64_t rest = days + kDaysPer400Years - kDaysOfYear0;
  const std::uint64_t centuries4 = rest / kDaysPer400Years;
  rest %= kDaysPer400Years;
  const std::uint64_t centuries = std::min<std::uint64_t>(rest / kDaysPer100Years, 3);
  rest -= centuries * kDaysPer100Years;
  const std::uint64_t years4 = rest / kDaysPer4Years;
  rest %= kDaysPer4Years;
  const std::uint64_t years = std::min<std::uint64_t>(rest / kDaysPerYear, 3);
  days = rest - years * kDaysPerYear;
  return centuries4 * 400 + centuries * 100 + years4 * 4 + years + 1 - 400;
}

}  // namespace

void CMp4Util::TranslateIsomTime(unsigned long long time, unsigned short& year,
                                 unsigned char& month, unsigned char& day, unsigned char& hour,
                                 unsigned char& minute, unsigned char& second) {
  const std::uint64_t era = kSecondsFromYear0To1904 + time;
  second = static_cast<unsigned char>(era % kSecondsPerMinute);
  minute = static_cast<unsigned char>(era / kSecondsPerMinute % 60);
  hour = static_cast<unsigned char>(era / kSecondsPerHour % 24);

  std::uint64_t days = era / kSecondsPerDay;
  const std::uint64_t wholeYear = TakeYear(days);
  const bool leapYear = IsLeapYear(wholeYear);
  unsigned int wholeMonth = 12;
  while (days < DaysBeforeMonth(wholeMonth, leapYear)) --wholeMonth;
  year = static_cast<unsigned short>(wholeYear);
  month = static_cast<unsigned char>(wholeMonth);
  day = static_cast<unsigned char>(days - DaysBeforeMonth(wholeMonth, leapYear) + 1);
}

std::uint64_t CMp4Util::CalcurateTimeFromEra(unsigned short year, unsigned char month,
                                             unsigned char day, unsigned char hour,
                                             unsigned char minute, unsigned char second) {
  const std::uint32_t years = year;
  std::uint32_t days = 365 * years + (years + 3) / 4 - (years + 99) / 100 + (years + 399) / 400;
  if (month >= 2 && month <= 12) days += DaysBeforeMonth(month, IsLeapYear(year));
  if (day != 0) days += day - 1u;
  return days * kSecondsPerDay + hour * kSecondsPerHour + minute * kSecondsPerMinute + second;
}

}  // namespace MP4G
