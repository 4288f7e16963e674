#include "workflow/keeping/media_chains.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/bytes.h"
#include "support/temp_dir.h"

using namespace clipchain;
using support::Bytes;
using support::operator+;
using testing::ElementsAre;

namespace {

TopLevel Media(const Extent& range, unsigned int block = 0) {
  TopLevel boxes;
  boxes.media = range;
  boxes.layout.block = block;
  return boxes;
}

TEST(MediaChains, FindTheRowThatFillsARange) {
  const support::TempDir folder;
  const Bytes a(5000, 1);
  const Bytes b(70, 2);
  const Bytes c = Bytes(5000, 1) + Bytes(10, 9);
  support::WriteFile(folder / "clips", a + b + c);
  support::WriteFile(folder / "merged", Bytes(3, 0) + c + b + a);
  FileBytes clips(folder / "clips");
  FileBytes merged(folder / "merged");
  MediaChains chains;
  chains.Add(10, clips, {{0, a.size()}});
  chains.Add(11, clips, {{a.size(), b.size()}});
  chains.Add(12, clips, {{a.size() + b.size(), c.size()}});
  std::vector<std::size_t> row;
  const auto accept = [&row](const std::vector<std::size_t>& found) {
    row = found;
    return true;
  };
  EXPECT_TRUE(chains.Find(merged, Media({3, a.size() + b.size() + c.size()}), accept));
  EXPECT_THAT(row, ElementsAre(12, 11, 10));
  EXPECT_FALSE(chains.Find(merged, Media({3, c.size() + b.size() + 1}), accept));
  EXPECT_THAT(chains.Beginning(), ElementsAre(12, 11));
  EXPECT_FALSE(chains.Find(merged, Media({3, 0}), accept));
}

TEST(MediaChains, TryTheLikelyClipOfEachPlaceFirst) {
  const support::TempDir folder;
  support::WriteFile(folder / "clip", Bytes(70, 1));
  support::WriteFile(folder / "merged", Bytes(4 * 70, 1));
  FileBytes clip(folder / "clip");
  FileBytes merged(folder / "merged");
  MediaChains chains;
  for (std::size_t i = 0; i < 20; ++i) chains.Add(i, clip, {{0, 70}});
  std::vector<std::size_t> row;
  const auto accept = [&row](const std::vector<std::size_t>& found) {
    row = found;
    return true;
  };
  const auto likely = [](std::size_t candidate, std::size_t place) {
    return candidate == 19 - place;
  };
  EXPECT_TRUE(chains.Find(merged, Media({0, merged.Size()}), accept, likely));
  EXPECT_THAT(row, ElementsAre(19, 18, 17, 16));
}

// Media that a file system shares lies modulo a block where it lies in its clip.
TEST(MediaChains, FindTheRowAlongTheBlocksOfALayout) {
  const support::TempDir folder;
  const Bytes a(5000, 1);
  const Bytes b(2070, 2);
  support::WriteFile(folder / "clips", Bytes(100, 0) + a + b);
  // 100 modulo 512, and 5100 modulo 512.
  support::WriteFile(folder / "merged", Bytes(1004, 0) + b + Bytes(98, 0) + a);
  FileBytes clips(folder / "clips");
  FileBytes merged(folder / "merged");
  MediaChains chains;
  chains.Add(10, clips, {{100, a.size()}});
  chains.Add(11, clips, {{100 + a.size(), b.size()}});
  std::vector<std::size_t> row;
  const auto accept = [&row](const std::vector<std::size_t>& found) {
    row = found;
    return true;
  };
  const Extent media{900, merged.Size() - 900};
  EXPECT_TRUE(chains.Find(merged, Media(media, 512), accept));
  EXPECT_THAT(row, ElementsAre(11, 10));
  EXPECT_FALSE(chains.Find(merged, Media(media, 0), accept));
  EXPECT_FALSE(chains.Find(merged, Media(media, 2048), accept));
}

}  // namespace
