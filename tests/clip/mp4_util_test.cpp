#include "clip/mp4_util.h"

#include <gtest/gtest.h>

#include <array>
#include <limits>
#include <ostream>
#include <random>

namespace MP4G {
namespace {

constexpr std::uint64_t kDay = 86400;
constexpr std::uint64_t kYear0To1904 = 60084374400;
constexpr std::uint64_t k400Years = 146097 * kDay;

struct Fields {
  unsigned short year;
  unsigned char month, day, hour, minute, second;
  bool operator==(const Fields&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Fields& fields) {
  return out << fields.year << '-' << +fields.month << '-' << +fields.day << ' ' << +fields.hour
             << ':' << +fields.minute << ':' << +fields.second;
}

Fields Translate(std::uint64_t time) {
  Fields f{1, 2, 3, 4, 5, 6};
  CMp4Util::TranslateIsomTime(time, f.year, f.month, f.day, f.hour, f.minute, f.second);
  return f;
}

std::uint64_t SinceYear0(const Fields& f) {
  return CMp4Util::CalcurateTimeFromEra(f.year, f.month, f.day, f.hour, f.minute, f.second);
}

bool IsLeap(std::uint64_t year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

unsigned int DaysIn(std::uint64_t year, unsigned int month) {
  if (month == 4 || month == 6 || month == 9 || month == 11) return 30;
  if (month == 2) return IsLeap(year) ? 29 : 28;
  return 31;
}

// The definition itself: days used up year by year, then month by month.
Fields WalkTheCalendar(std::uint64_t era) {
  std::uint64_t days = era / kDay;
  std::uint64_t year = 0;
  for (; days >= (IsLeap(year) ? 366u : 365u); ++year) days -= IsLeap(year) ? 366 : 365;
  unsigned int month = 1;
  for (; days >= DaysIn(year, month); ++month) days -= DaysIn(year, month);
  return {static_cast<unsigned short>(year),         static_cast<unsigned char>(month),
          static_cast<unsigned char>(days + 1),      static_cast<unsigned char>(era / 3600 % 24),
          static_cast<unsigned char>(era / 60 % 60), static_cast<unsigned char>(era % 60)};
}

// The time in the file format of a moment counted from the start of year 0.
std::uint64_t IsomTime(std::uint64_t era) { return era - kYear0To1904; }

TEST(TranslateIsomTime, CountsFromTheStartOf1904) {
  EXPECT_EQ((Fields{1904, 1, 1, 0, 0, 0}), Translate(0));
  EXPECT_EQ((Fields{1904, 1, 1, 23, 59, 59}), Translate(kDay - 1));
  EXPECT_EQ((Fields{1904, 1, 2, 0, 0, 0}), Translate(kDay));
  EXPECT_EQ((Fields{1970, 1, 1, 0, 0, 0}), Translate(2082844800));
  EXPECT_EQ((Fields{2000, 2, 29, 12, 34, 56}), Translate(2082844800u + 951827696u));
  EXPECT_EQ((Fields{2040, 2, 6, 6, 28, 15}), Translate(0xFFFFFFFF));
}

TEST(TranslateIsomTime, WrapsIntoTheYearsBefore1904) {
  EXPECT_EQ((Fields{1903, 12, 31, 23, 59, 59}), Translate(static_cast<std::uint64_t>(-1)));
  EXPECT_EQ((Fields{0, 1, 1, 0, 0, 0}), Translate(IsomTime(0)));
  EXPECT_EQ((Fields{0, 2, 29, 0, 0, 0}), Translate(IsomTime(59 * kDay)));
  EXPECT_EQ((Fields{0, 12, 31, 23, 59, 59}), Translate(IsomTime(366 * kDay - 1)));
  EXPECT_EQ((Fields{1, 1, 1, 0, 0, 0}), Translate(IsomTime(366 * kDay)));
}

TEST(TranslateIsomTime, EqualsTheWalkOnEveryDayOf401Years) {
  for (std::uint64_t day = 0; day < 146097 + 366; ++day) {
    const std::uint64_t first = day * kDay;
    ASSERT_EQ(WalkTheCalendar(first), Translate(IsomTime(first)));
    ASSERT_EQ(WalkTheCalendar(first + kDay - 1), Translate(IsomTime(first + kDay - 1)));
  }
}

TEST(TranslateIsomTime, EqualsTheWalkWhereTheYearLeavesItsField) {
  for (const std::uint64_t year :
       std::array<std::uint64_t, 8>{65535, 65536, 65537, 65600, 65636, 65900, 131072, 131172}) {
    const std::uint64_t newYear =
        (365 * year + (year + 3) / 4 - (year + 99) / 100 + (year + 399) / 400) * kDay;
    for (const std::uint64_t day : std::array<std::uint64_t, 7>{0, 58, 59, 60, 364, 365, 366}) {
      for (const std::uint64_t offset : {std::uint64_t{0}, kDay - 1}) {
        const std::uint64_t era = newYear + day * kDay + offset;
        ASSERT_EQ(WalkTheCalendar(era), Translate(IsomTime(era))) << year << " day " << day;
      }
    }
  }
  EXPECT_EQ((Fields{0, 1, 1, 0, 0, 0}),
            Translate(IsomTime(k400Years * 163 + SinceYear0({336, 1, 1, 0, 0, 0}))));
}

TEST(TranslateIsomTime, EqualsTheWalkOnRandomTimes) {
  std::mt19937_64 random(20240229);
  for (int i = 0; i < 300; ++i) {
    const std::uint64_t era = random() >> (23 + i % 20);
    ASSERT_EQ(WalkTheCalendar(era), Translate(IsomTime(era))) << era;
  }
}

// After 400 years the calendar begins again, so a time far beyond any walk has the fields of one
// within the first 400 years, but for the year.
TEST(TranslateIsomTime, RepeatsEvery400YearsUpToTheLastTimeOf64Bits) {
  std::mt19937_64 random(4);
  for (int i = 0; i < 20000; ++i) {
    const std::uint64_t era = i == 0 ? std::numeric_limits<std::uint64_t>::max()
                                     : (i % 2 == 0 ? random() : 0 - (random() >> (1 + i % 60)));
    Fields expected = WalkTheCalendar(era % k400Years);
    expected.year = static_cast<unsigned short>(expected.year + era / k400Years * 400);
    ASSERT_EQ(expected, Translate(IsomTime(era))) << era;
  }
}

TEST(CalcurateTimeFromEra, IsZeroForTheUnknownDateAndItsFirstDay) {
  EXPECT_EQ(0u, SinceYear0({0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(0u, SinceYear0({0, 1, 1, 0, 0, 0}));
  EXPECT_EQ(kDay, SinceYear0({0, 1, 2, 0, 0, 0}));
  EXPECT_EQ(366 * kDay, SinceYear0({1, 0, 0, 0, 0, 0}));
  EXPECT_EQ(kYear0To1904, SinceYear0({1904, 1, 1, 0, 0, 0}));
}

TEST(CalcurateTimeFromEra, UndoesTheTranslationWhileTheYearFits) {
  std::mt19937_64 random(7);
  const std::uint64_t end = SinceYear0({65535, 12, 31, 23, 59, 59});
  ASSERT_EQ(end, SinceYear0(Translate(IsomTime(end))));
  for (int i = 0; i < 20000; ++i) {
    const std::uint64_t era = random() % (end + 1);
    ASSERT_EQ(era, SinceYear0(Translate(IsomTime(era)))) << era;
  }
}

TEST(CalcurateTimeFromEra, AddsTheDaysOfTheEarlierMonths) {
  for (const unsigned short year :
       std::array<unsigned short, 6>{1900, 1999, 2000, 2004, 0, 65535}) {
    std::uint64_t expected = SinceYear0({year, 1, 1, 0, 0, 0});
    for (unsigned char month = 1; month <= 12; ++month) {
      EXPECT_EQ(expected, SinceYear0({year, month, 1, 0, 0, 0})) << year << '-' << +month;
      expected += DaysIn(year, month) * kDay;
    }
  }
}

TEST(CalcurateTimeFromEra, AddsNoMonthsForAMonthThatDoesNotExist) {
  const std::uint64_t january = SinceYear0({2004, 1, 9, 8, 7, 6});
  for (const unsigned char month : std::array<unsigned char, 5>{0, 13, 14, 128, 255}) {
    EXPECT_EQ(january, SinceYear0({2004, month, 9, 8, 7, 6})) << +month;
  }
  EXPECT_NE(january, SinceYear0({2004, 12, 9, 8, 7, 6}));
}

TEST(CalcurateTimeFromEra, TakesDayZeroAsTheFirstAndChecksNoOtherField) {
  const std::uint64_t first = SinceYear0({2004, 3, 1, 0, 0, 0});
  EXPECT_EQ(first, SinceYear0({2004, 3, 0, 0, 0, 0}));
  EXPECT_EQ(first + 254 * kDay, SinceYear0({2004, 3, 255, 0, 0, 0}));
  EXPECT_EQ(first + 255 * 3600 + 255 * 60 + 255, SinceYear0({2004, 3, 1, 255, 255, 255}));
}

TEST(CalcurateTimeFromEra, CountsDaysIn32BitsWithoutLossForEveryYear) {
  std::uint64_t days = 0;
  for (std::uint32_t year = 0; year <= 65535; ++year) {
    ASSERT_EQ(days * kDay, SinceYear0({static_cast<unsigned short>(year), 1, 1, 0, 0, 0})) << year;
    days += IsLeap(year) ? 366 : 365;
  }
}

}  // namespace
}  // namespace MP4G
