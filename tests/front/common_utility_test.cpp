#include "front/common_utility.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(QVCommonUtility, LendsTheTextInABlockOfItsOwn) {
  QVCommonUtility utility;
  const std::string text = "/clips/\xC3\xA9t\xC3\xA9 \xF0\x9F\x8E\xAC.mp4";
  const char* lent = utility.convertNSStringToChar(text.c_str());
  ASSERT_STREQ(text.c_str(), lent);
  EXPECT_NE(text.c_str(), lent);
}

TEST(QVCommonUtility, LendsUntilTheNextCall) {
  QVCommonUtility utility;
  const char* first = utility.convertNSStringToChar("a longer text");
  EXPECT_EQ(first, utility.convertNSStringToChar("short"));
  EXPECT_STREQ("short", first);
  EXPECT_EQ(std::string("short") + std::string(1019, '\0'), std::string(first, 1024));
}

TEST(QVCommonUtility, TakesATextThatItLentBefore) {
  QVCommonUtility utility;
  EXPECT_STREQ("hello", utility.convertNSStringToChar(utility.convertNSStringToChar("hello")));
}

TEST(QVCommonUtility, ConvertsAnEmptyText) {
  QVCommonUtility utility;
  EXPECT_STREQ("", utility.convertNSStringToChar(""));
}

TEST(QVCommonUtility, Takes1023BytesAndRefuses1024) {
  QVCommonUtility utility;
  const std::string fits(1023, 'a');
  EXPECT_STREQ(fits.c_str(), utility.convertNSStringToChar(fits.c_str()));
  EXPECT_EQ(nullptr, utility.convertNSStringToChar((fits + "a").c_str()));
}

TEST(QVCommonUtility, CountsBytesAndNotCharacters) {
  QVCommonUtility utility;
  const std::string fits = std::string(1021, 'a') + "\xC3\xA9";
  EXPECT_STREQ(fits.c_str(), utility.convertNSStringToChar(fits.c_str()));
  EXPECT_EQ(nullptr, utility.convertNSStringToChar(("a" + fits).c_str()));
}

TEST(QVCommonUtility, AFailureLeavesNothingOfEitherText) {
  QVCommonUtility utility;
  const char* lent = utility.convertNSStringToChar("before");
  EXPECT_EQ(nullptr, utility.convertNSStringToChar(std::string(5000, 'a').c_str()));
  EXPECT_EQ(std::string(1024, '\0'), std::string(lent, 1024));
}

TEST(QVCommonUtility, RefusesWhatIsNoText) {
  QVCommonUtility utility;
  EXPECT_EQ(nullptr, utility.convertNSStringToChar(nullptr));
  EXPECT_EQ(nullptr, utility.convertNSStringToChar("\xFF"));
  EXPECT_EQ(nullptr, utility.convertNSStringToChar("cut \xC3"));
}

}  // namespace
