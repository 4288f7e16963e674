#include "adapt/clips/media_map.h"

#include <gtest/gtest.h>

#include <optional>
#include <vector>

namespace clipchain {
namespace {

TEST(MediaMap, BeginsWithMediaWhateverIsEmptyInFrontOfIt) {
  const MediaMap media({{48, 0}, {56, 5000}, {5064, 0}, {5072, 5000}}, 40, 512);
  EXPECT_EQ(media.Gaps(), (std::vector<std::uint64_t>{0, 0, 0, 16}));
  EXPECT_EQ(40u, media.At(56));
  EXPECT_EQ(10'016u, media.Size());
}

TEST(MediaMap, FindsWhatLiesInSeveralPlaces) {
  const MediaMap media({{500, 10}, {100, 20}}, 40);
  EXPECT_EQ(media.Size(), 30u);
  EXPECT_EQ(media.At(500), 40u);
  EXPECT_EQ(media.At(509), 49u);
  EXPECT_EQ(media.At(100), 50u);
  EXPECT_EQ(media.At(510), std::nullopt);
  EXPECT_EQ(media.At(99), std::nullopt);
  EXPECT_EQ(media.Behind(105), 15u);
  EXPECT_EQ(media.Behind(120), 0u);
}

}  // namespace
}  // namespace clipchain
