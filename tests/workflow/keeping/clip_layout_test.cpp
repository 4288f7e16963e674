#include "workflow/keeping/clip_layout.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/movie_builder.h"
#include "support/temp_dir.h"

using namespace clipchain;
using support::Bytes;
using support::operator+;
using testing::SizeIs;

namespace {

ClipLayout LayoutOf(const Bytes& bytes) {
  const support::TempDir folder;
  support::WriteFile(folder / "x", bytes);
  FileBytes file(folder / "x");
  return ReadClipLayout(file);
}

TEST(ClipLayout, KnowsAClipByItsBoxes) {
  const Bytes clip = support::Clip(30).Build();
  EXPECT_TRUE(LayoutOf(clip).isClip);
  EXPECT_THAT(LayoutOf(clip).media, SizeIs(1));
  Bytes cut = clip;
  cut.pop_back();
  EXPECT_FALSE(LayoutOf(cut).isClip);
  // As a merge has it, which passes over zeros behind the last box, and over boxes of any type.
  EXPECT_TRUE(LayoutOf(clip + Bytes{0}).isClip);
  EXPECT_TRUE(LayoutOf(clip + Bytes(70'000, 0)).isClip);
  EXPECT_FALSE(LayoutOf(clip + Bytes(70'000, 0) + Bytes{1}).isClip);
  EXPECT_FALSE(LayoutOf(clip + Bytes{0, 1}).isClip);
  EXPECT_TRUE(LayoutOf(clip + support::U32(8) + support::U32(1)).isClip);
  EXPECT_FALSE(LayoutOf(Bytes(70'000, 0)).isClip);
  EXPECT_FALSE(LayoutOf(support::Box("ftyp", {support::Text("heic")})).isClip);
  EXPECT_TRUE(LayoutOf(support::Box("moof")).isClip);
  EXPECT_FALSE(LayoutOf({}).isClip);
  EXPECT_FALSE(LayoutOf(support::Box("moov") + support::U32(1) + support::Text("mdat")).isClip);
}

}  // namespace
