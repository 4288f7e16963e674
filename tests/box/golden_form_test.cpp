// The form of the files that the tests of all boxes stand on.
#include <gtest/gtest.h>

#include <stdexcept>

#include "support/golden.h"

namespace {

using support::Bytes;
using support::Golden;
using support::ParseGolden;

TEST(GoldenForm, TakesTheTypeFromTheName) {
  EXPECT_EQ("url ", ParseGolden("url_", "").type);
  EXPECT_EQ("url ", ParseGolden("url_-location", "").type);
  EXPECT_EQ("mvhd", ParseGolden("mvhd-version-1", "").type);
}

TEST(GoldenForm, SkipsComments) {
  const Golden golden = ParseGolden("free", "# FF\n01 02  # 03\n\n04");
  EXPECT_EQ((Bytes{1, 2, 4}), golden.bytes);
  EXPECT_EQ(golden.bytes, golden.sound);
  EXPECT_EQ(golden.bytes, golden.written);
  EXPECT_EQ("S_OK", golden.result);
}

TEST(GoldenForm, MarksBytesThatAreDropped) {
  const Golden golden = ParseGolden("free", "01 {02 03} 04");
  EXPECT_EQ((Bytes{1, 2, 3, 4}), golden.bytes);
  EXPECT_EQ((Bytes{1, 0, 0, 4}), golden.written);
}

TEST(GoldenForm, MarksDamageAndItsResult) {
  const Golden golden = ParseGolden("free", "! E_BAD_DATA \n01 [02|03 04] 05");
  EXPECT_EQ((Bytes{1, 2, 5}), golden.bytes);
  EXPECT_EQ((Bytes{1, 3, 4, 5}), golden.sound);
  EXPECT_EQ("E_BAD_DATA", golden.result);
}

TEST(GoldenForm, RefusesWhatItDoesNotUnderstand) {
  for (const char* text : {"{01", "01}", "[01]", "[01|02", "{01 [02|03]}", "0", "xy"}) {
    EXPECT_THROW(ParseGolden("free", text), std::invalid_argument) << text;
  }
}

}  // namespace
