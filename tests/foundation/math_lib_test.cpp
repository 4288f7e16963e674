#include "foundation/math_lib.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <utility>

using QUIRVA::CMathLib;

namespace {

using Pair = std::pair<unsigned long long, unsigned long long>;

constexpr unsigned long long kLargest = std::numeric_limits<unsigned long long>::max();

Pair Ratio(unsigned long long a, unsigned long long b) {
  CMathLib::CalcRatio(a, b);
  return {a, b};
}

}  // namespace

TEST(GreatestCommonDivisor, OfZeroIsTheOtherNumber) {
  EXPECT_EQ(0u, CMathLib::CalcGreatestCommonDivisor(0, 0));
  EXPECT_EQ(7u, CMathLib::CalcGreatestCommonDivisor(0, 7));
  EXPECT_EQ(7u, CMathLib::CalcGreatestCommonDivisor(7, 0));
}

TEST(GreatestCommonDivisor, IsWhatSubtractionGives) {
  const auto bySubtraction = [](unsigned long long a, unsigned long long b) {
    while (a != 0 && b != 0) (a < b ? b : a) -= std::min(a, b);
    return a + b;
  };
  for (unsigned long long a = 0; a <= 60; ++a) {
    for (unsigned long long b = 0; b <= 60; ++b) {
      ASSERT_EQ(bySubtraction(a, b), CMathLib::CalcGreatestCommonDivisor(a, b)) << a << ", " << b;
    }
  }
  EXPECT_EQ(30u, CMathLib::CalcGreatestCommonDivisor(90000, 30030));
}

TEST(GreatestCommonDivisor, NeedsNoTimeForNumbersFarApart) {
  EXPECT_EQ(1u, CMathLib::CalcGreatestCommonDivisor(kLargest, 1));
  EXPECT_EQ(1u, CMathLib::CalcGreatestCommonDivisor(kLargest, 2));
  EXPECT_EQ(kLargest, CMathLib::CalcGreatestCommonDivisor(kLargest, kLargest));
}

TEST(Ratio, DividesBothByTheirDivisor) {
  EXPECT_EQ(Pair(30000, 1001), Ratio(60000, 2002));
  EXPECT_EQ(Pair(0, 1), Ratio(0, 5));
  EXPECT_EQ(Pair(1, 0), Ratio(5, 0));
  EXPECT_EQ(Pair(1, 1), Ratio(kLargest, kLargest));
}

TEST(Ratio, StaysWithoutADivisor) {
  EXPECT_EQ(Pair(0, 0), Ratio(0, 0));
  EXPECT_EQ(Pair(0, 1), Ratio(0, 1));
  EXPECT_EQ(Pair(30000, 1001), Ratio(30000, 1001));
}
