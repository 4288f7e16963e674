#include "workflow/findings/clip_words.h"

#include <gtest/gtest.h>

using namespace clipchain;

namespace {

constexpr MP4G::_tagSequenceTimedate kDate = {2024, 5, 6, 7, 8, 9};
constexpr _GUID kGuid = {0x01020304, 0x0506, 0x0708, {9, 10, 11, 12, 13, 14, 15, 16}};

}  // namespace

TEST(ClipWords, SpellDates) {
  EXPECT_EQ("2024-05-06 07:08:09", DateWords(kDate));
  EXPECT_EQ("2024-05-06T07:08:09", IsoDate(kDate));
  EXPECT_EQ("unknown", DateWords(std::nullopt));
}

TEST(ClipWords, SpellIdentifiers) {
  EXPECT_EQ("01020304-0506-0708-090a-0b0c0d0e0f10", GuidWords(kGuid));
  EXPECT_EQ("none", GuidWords(_GUID{}));
}

TEST(ClipWords, SpellDurations) {
  EXPECT_EQ("2.560 s", DurationWords(32768, 12800));
  EXPECT_EQ("unknown", DurationWords(32768, 0));
}

TEST(ClipWords, NameEachStateOfASequence) {
  EXPECT_STREQ("complete", StateWords(true, true, true));
  EXPECT_STREQ("open at head", StateWords(true, false, true));
  EXPECT_STREQ("open at tail", StateWords(true, true, false));
  EXPECT_STREQ("open at both ends", StateWords(true, false, false));
}

TEST(Amount, TakesTheUnitThatReadsWell) {
  EXPECT_EQ("0 B", FormatBytes(0));
  EXPECT_EQ("999 B", FormatBytes(999));
  EXPECT_EQ("1.0 kB", FormatBytes(1000));
  EXPECT_EQ("999.9 kB", FormatBytes(999'949));
  EXPECT_EQ("1.0 MB", FormatBytes(999'950));
  EXPECT_EQ("12.3 GB", FormatBytes(12'345'678'900));
  EXPECT_EQ("9223.4 PB", FormatBytes(9'223'372'036'854'775'807));
}

TEST(SpanWords, TakeTheUnitsThatReadWell) {
  EXPECT_EQ("unknown length", SpanWords({}));
  EXPECT_EQ("0.0 s", SpanWords(0));
  EXPECT_EQ("2.6 s", SpanWords(2.56));
  EXPECT_EQ("59.9 s", SpanWords(59.94));
  EXPECT_EQ("1 min 0 s", SpanWords(59.95));
  EXPECT_EQ("12 min 4 s", SpanWords(724.4));
  EXPECT_EQ("59 min 59 s", SpanWords(3599.4));
  EXPECT_EQ("1 h 0 min", SpanWords(3599.5));
  EXPECT_EQ("3 h 5 min", SpanWords(3 * 3600 + 5 * 60 + 59));
  EXPECT_EQ("2 d 4 h", SpanWords(2 * 86400 + 4.5 * 3600));
  EXPECT_EQ("106751991167300 d 15 h", SpanWords(9223372036854775807.0));
}
