#include "box/header_boxes.h"

#include <gtest/gtest.h>

#include "support/box_io.h"

namespace {

using support::Bytes;
using support::FixAndWrite;
using support::FullBox;
using support::ParseBox;
using support::U16;
using support::U32;
using support::U64;
using support::Zeros;

Bytes UnityMatrix() {
  return support::Join({U32(0x10000), Zeros(12), U32(0x10000), Zeros(12), U32(0x40000000)});
}

TEST(MovieHeaderBox, NewOneHasRateVolumeAndUnityMatrix) {
  MP4G::CMovieHeaderBox box;
  box.SetClassType(FourCc("mvhd"));
  const Bytes expected =
      FullBox("mvhd", 0, 0,
              {Zeros(16), U32(0x10000), U16(0x100), Zeros(10), UnityMatrix(), Zeros(24), U32(0)});
  EXPECT_EQ(expected, FixAndWrite(box));
}

TEST(MovieHeaderBox, KeepsAnUnknownVersionInTheNarrowForm) {
  const Bytes bytes =
      FullBox("mvhd", 2, 7, {U32(1), U32(2), U32(600), U32(0xFFFFFFFF), support::Fill(80, 0xA5)});
  MP4G::CMovieHeaderBox box;
  ASSERT_OK(ParseBox(box, bytes));
  EXPECT_EQ(1u, box.recordA->CreationTime());
  EXPECT_EQ(2u, box.recordA->ModificationTime());
  EXPECT_EQ(600u, box.recordA->timeScale);
  EXPECT_EQ(0xFFFFFFFFu, box.recordA->Duration());
  EXPECT_EQ(bytes, FixAndWrite(box));
}

TEST(TrackHeaderBox, DropsTheReservedWordOfTheNarrowFormAlone) {
  const Bytes tail = support::Fill(60, 0x5A);
  MP4G::CTrackHeaderBox narrow;
  ASSERT_OK(
      ParseBox(narrow, FullBox("tkhd", 0, 3, {U32(1), U32(2), U32(3), U32(9), U32(5), tail})));
  EXPECT_EQ(FullBox("tkhd", 0, 3, {U32(1), U32(2), U32(3), U32(0), U32(5), tail}),
            FixAndWrite(narrow));
  const Bytes bytes = FullBox("tkhd", 1, 3, {U64(1), U64(2), U32(3), U32(9), U64(5), tail});
  MP4G::CTrackHeaderBox wide;
  ASSERT_OK(ParseBox(wide, bytes));
  EXPECT_EQ(bytes, FixAndWrite(wide));
}

TEST(MediaHeaderBox, LosesTheHighHalfOfADurationInTheNarrowForm) {
  MP4G::CMediaHeaderBox box;
  ASSERT_OK(ParseBox(box, FullBox("mdhd", 0, 0, {U32(1), U32(2), U32(3), U32(4), U32(5)})));
  box.recordA->duration = 0x1234567890ull;
  EXPECT_EQ(FullBox("mdhd", 0, 0, {U32(1), U32(2), U32(3), U32(0x34567890), U32(5)}),
            FixAndWrite(box));
}

TEST(VideoMediaHeaderBox, SetsItsFlagWhenNewAndKeepsTheFilesFlagsOtherwise) {
  MP4G::CVideoMediaHeaderBox box;
  box.SetClassType(FourCc("vmhd"));
  EXPECT_EQ(FullBox("vmhd", 0, 1, {Zeros(8)}), FixAndWrite(box));
  const Bytes bytes = FullBox("vmhd", 3, 0, {U16(1), U16(2), U16(3), U16(4)});
  MP4G::CVideoMediaHeaderBox parsed;
  ASSERT_OK(ParseBox(parsed, bytes));
  EXPECT_EQ(bytes, FixAndWrite(parsed));
}

}  // namespace
