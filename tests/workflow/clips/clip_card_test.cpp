#include "workflow/clip_card.h"

#include <gtest/gtest.h>

#include <string>

#include "support/exif.h"
#include "support/movie_builder.h"
#include "support/result_matchers.h"
#include "support/temp_dir.h"
#include "support/vendor_box.h"

using clipchain::ClipCard;
using clipchain::ReadClipCard;
using support::Bytes;
using support::Hex;

namespace {

// A picture of that size behind its Exif data.
Bytes Picture(std::uint16_t width = 160, std::uint16_t height = 90) {
  return support::Join({support::ThumbnailStream(support::ExifWithDate("2024:05:06 07:08:09")),
                        Hex("FFC0 000B 08"), support::U16(height), support::U16(width),
                        Hex("01 011100 FFDA 0008 01 0100 003F00 1234 FFD9")});
}

Bytes ThumbnailOf(const Bytes& stream) {
  return support::Box("VRTH", {support::Box("VRDA", {stream})});
}

class ClipCardOf : public testing::Test {
 protected:
  HRESULT Read(const Bytes& bytes) {
    support::WriteFile(folder / "clip", bytes);
    return ReadClipCard((folder / "clip").string(), card);
  }
  // The card of a clip with those boxes in the camera's box.
  HRESULT ReadBoxes(std::initializer_list<Bytes> children) {
    return Read(support::WithVendorBox(support::Clip(30).Build(), support::VendorBoxOf(children)));
  }

  support::TempDir folder;
  ClipCard card;
};

}  // namespace

TEST_F(ClipCardOf, AClipTellsDurationAndThumbnail) {
  ASSERT_OK(ReadBoxes({support::MarkerBox(), ThumbnailOf(Picture())}));
  EXPECT_EQ(600u, card.timeScale);
  EXPECT_EQ(600, card.duration);
  EXPECT_EQ(Picture(), card.thumbnail);
  EXPECT_EQ(160u, card.width);
  EXPECT_EQ(90u, card.height);
}

TEST_F(ClipCardOf, AClipWithoutACamerasBoxHasNoThumbnail) {
  ASSERT_OK(Read(support::Clip(30).Build()));
  EXPECT_EQ(600u, card.timeScale);
  EXPECT_TRUE(card.thumbnail.empty());
}

TEST_F(ClipCardOf, AThumbnailEndsWithItsPicture) {
  ASSERT_OK(ReadBoxes({ThumbnailOf(support::Join({Picture(), support::Text("<script>")}))}));
  EXPECT_EQ(Picture(), card.thumbnail);
}

TEST_F(ClipCardOf, WhatIsNoPictureIsNoThumbnail) {
  ASSERT_OK(ReadBoxes({ThumbnailOf(support::Text("<svg onload=alert(1)>"))}));
  EXPECT_TRUE(card.thumbnail.empty());
  Bytes cut = Picture();
  cut.pop_back();
  ASSERT_OK(ReadBoxes({ThumbnailOf(cut)}));
  EXPECT_TRUE(card.thumbnail.empty());
  ASSERT_OK(ReadBoxes({support::Box("VRTH")}));
  EXPECT_TRUE(card.thumbnail.empty());
  ASSERT_OK(ReadBoxes({support::MarkerBox()}));
  EXPECT_TRUE(card.thumbnail.empty());
}

TEST_F(ClipCardOf, APictureThatIsTooLargeIsNoThumbnail) {
  ASSERT_OK(ReadBoxes({ThumbnailOf(Picture(4096, 4096))}));
  EXPECT_EQ(4096u, card.width);
  ASSERT_OK(ReadBoxes({ThumbnailOf(Picture(4097, 1))}));
  EXPECT_TRUE(card.thumbnail.empty());
  ASSERT_OK(ReadBoxes({ThumbnailOf(Picture(1, 4097))}));
  EXPECT_TRUE(card.thumbnail.empty());

  Bytes large = Picture();
  large.resize(large.size() - 2);
  large.resize(clipchain::kMostThumbnailBytes - 2, 0x55);
  ASSERT_OK(ReadBoxes({ThumbnailOf(support::Join({large, Hex("FFD9")}))}));
  EXPECT_EQ(clipchain::kMostThumbnailBytes, card.thumbnail.size());
  ASSERT_OK(ReadBoxes({ThumbnailOf(support::Join({large, Hex("55FFD9")}))}));
  EXPECT_TRUE(card.thumbnail.empty());
}

TEST_F(ClipCardOf, ABoxThatClaimsMoreThanIsThereEndsWithItsBlock) {
  Bytes last = ThumbnailOf(Picture());
  last = support::WithU32(last, 0, 0xFFFFFFFF);
  last = support::WithU32(last, 8, 0x7FFFFFFF);
  ASSERT_OK(ReadBoxes({support::MarkerBox(), last}));
  EXPECT_EQ(Picture(), card.thumbnail);
}

TEST_F(ClipCardOf, ABoxWithoutASizeEndsTheSearch) {
  const Bytes stuck = support::Box("free");
  ASSERT_OK(ReadBoxes({stuck, ThumbnailOf(Picture())}));
  EXPECT_FALSE(card.thumbnail.empty());
  for (const std::uint32_t size : {0u, 1u, 7u}) {
    SCOPED_TRACE(size);
    ASSERT_OK(ReadBoxes({support::WithU32(stuck, 0, size), ThumbnailOf(Picture())}));
    EXPECT_TRUE(card.thumbnail.empty());
  }
}

TEST_F(ClipCardOf, ADurationOfAllOnesIsNotKnown) {
  support::MovieBuilder movie = support::Clip(30);
  movie.duration = 0xFFFFFFFE;
  ASSERT_OK(Read(movie.Build()));
  EXPECT_EQ(0xFFFFFFFE, card.duration);
  EXPECT_EQ(600u, card.timeScale);
  movie.duration = 0xFFFFFFFF;
  ASSERT_OK(Read(movie.Build()));
  EXPECT_EQ(0u, card.timeScale);
  movie.wideMovieHeader = true;
  ASSERT_OK(Read(movie.Build()));
  EXPECT_EQ(0xFFFFFFFF, card.duration);
  for (const std::uint64_t unknown : {~0ull, 1ull << 63}) {
    movie.duration = unknown;
    ASSERT_OK(Read(movie.Build()));
    EXPECT_EQ(0u, card.timeScale);
    EXPECT_EQ(0, card.duration);
  }
  movie.withMovieHeader = false;
  ASSERT_OK(Read(movie.Build()));
  EXPECT_EQ(0u, card.timeScale);
}

TEST_F(ClipCardOf, AFailureLeavesAnEmptyCard) {
  ASSERT_OK(ReadBoxes({ThumbnailOf(Picture())}));
  EXPECT_RESULT(E_BAD_TYPE, Read(support::Text("These are notes about a clip.\n")));
  EXPECT_EQ(0u, card.timeScale);
  EXPECT_TRUE(card.thumbnail.empty());
  EXPECT_NE(S_OK, ReadClipCard((folder / "absent").string(), card));
}
