#include "adapt/boxes/track_headers.h"

#include <gtest/gtest.h>

#include "adapt/fragment_boxes.h"
#include "foundation/fourcc.h"
#include "support/bytes.h"

namespace clipchain {
namespace {

using support::Box;
using support::Fill;
using support::FullBox;
using support::Text;
using support::U32;
using support::U64;
using support::Zeros;

TEST(TrackHeaders, AMovieHeaderIsReadAndWritten) {
  RawBox box =
      RawBoxOf(FullBox("mvhd", 0, 0, {U32(11), U32(12), U32(600), U32(900), Fill(76, 7), U32(3)}));
  EXPECT_EQ(ReadTimeHeader(box), (TimeHeader{600, 900}));
  ASSERT_TRUE(WriteTimeHeader(box, {1000, 1500}));
  EXPECT_EQ(box.Written(),
            FullBox("mvhd", 0, 0, {U32(11), U32(12), U32(1000), U32(1500), Fill(76, 7), U32(3)}));
}

TEST(TrackHeaders, ADurationBeyond32BitsMakesVersion1) {
  RawBox box =
      RawBoxOf(FullBox("mdhd", 0, 5, {U32(11), U32(12), U32(600), U32(900), U32(0x55C40000)}));
  ASSERT_TRUE(WriteTimeHeader(box, {600, 0x100000000}));
  EXPECT_EQ(box.Written(),
            FullBox("mdhd", 1, 5, {U64(11), U64(12), U32(600), U64(0x100000000), U32(0x55C40000)}));
  EXPECT_EQ(ReadTimeHeader(box), (TimeHeader{600, 0x100000000}));
  ASSERT_TRUE(WriteTimeHeader(box, {600, 1}));
  EXPECT_EQ(ReadTimeHeader(box), (TimeHeader{600, 1}));
}

TEST(TrackHeaders, AreWidenedWithAllTheySay) {
  RawBox media = RawBoxOf(FullBox("mdhd", 0, 5, {U32(11), U32(12), U32(600), U32(900), U32(7)}));
  EXPECT_TRUE(WidenHeader(media));
  EXPECT_EQ(media.Written(), FullBox("mdhd", 1, 5, {U64(11), U64(12), U32(600), U64(900), U32(7)}));
  EXPECT_FALSE(WidenHeader(media)) << "it is wide";
  RawBox track = RawBoxOf(
      FullBox("tkhd", 0, 3, {U32(11), U32(12), U32(2), U32(8), U32(0xFFFFFFFF), Fill(60, 7)}));
  EXPECT_TRUE(WidenHeader(track));
  EXPECT_EQ(track.Written(),
            FullBox("tkhd", 1, 3,
                    {U64(11), U64(12), U32(2), U32(8), U64(kUnknownDuration), Fill(60, 7)}));
  RawBox shortOne = RawBoxOf(FullBox("mvhd", 0, 0, {U32(11)}));
  EXPECT_FALSE(WidenHeader(shortOne));
}

// All bits set mean that the duration is unknown (8.2.2.3), so that the largest 32-bit number needs
// 64 bits.
TEST(TrackHeaders, AnUnknownDurationIsOneInEitherVersion) {
  RawBox box = RawBoxOf(FullBox("mdhd", 0, 0, {U32(1), U32(2), U32(600), U32(0xFFFFFFFF), U32(0)}));
  EXPECT_EQ(ReadTimeHeader(box), (TimeHeader{600, kUnknownDuration}));
  const Bytes before = box.Written();
  ASSERT_TRUE(WriteTimeHeader(box, {600, kUnknownDuration}));
  EXPECT_EQ(box.Written(), before);
  ASSERT_TRUE(WriteTimeHeader(box, {600, 0xFFFFFFFF}));
  EXPECT_EQ(ReadTimeHeader(box), (TimeHeader{600, 0xFFFFFFFF}));
}

TEST(TrackHeaders, ATrackHeaderIsReadAndWidened) {
  RawBox box =
      RawBoxOf(FullBox("tkhd", 0, 3, {U32(1), U32(2), U32(4), U32(0), U32(900), Fill(60, 9)}));
  EXPECT_EQ(ReadTrackHeader(box), (TrackHeader{4, 900}));
  ASSERT_TRUE(WriteTrackHeader(box, {5, 901}));
  EXPECT_EQ(box.Written(),
            FullBox("tkhd", 0, 3, {U32(1), U32(2), U32(5), U32(0), U32(901), Fill(60, 9)}));
  ASSERT_TRUE(WriteTrackHeader(box, {5, 0x100000001}));
  EXPECT_EQ(box.Written(),
            FullBox("tkhd", 1, 3, {U64(1), U64(2), U32(5), U32(0), U64(0x100000001), Fill(60, 9)}));
}

TEST(TrackHeaders, WhatIsTooShortOrOfAnotherVersionIsNoHeader) {
  RawBox shortOne = RawBoxOf(FullBox("mdhd", 0, 0, {U32(1), U32(2), U32(600)}));
  RawBox other = RawBoxOf(FullBox("mdhd", 2, 0, {Zeros(40)}));
  RawBox shortLarge = RawBoxOf(FullBox("tkhd", 1, 0, {Zeros(24)}));
  RawBox empty = RawBoxOf(Box("mvhd"));
  EXPECT_FALSE(ReadTimeHeader(shortOne));
  EXPECT_FALSE(ReadTimeHeader(other));
  EXPECT_FALSE(ReadTrackHeader(shortLarge));
  EXPECT_FALSE(ReadTimeHeader(empty));
  const Bytes before = shortOne.Written();
  EXPECT_FALSE(WriteTimeHeader(shortOne, {1, 1}));
  EXPECT_FALSE(WriteTimeHeader(other, {1, 1}));
  EXPECT_FALSE(WriteTrackHeader(shortLarge, {1, 1}));
  EXPECT_EQ(shortOne.Written(), before);
}

TEST(TrackHeaders, ATrackSaysItsKindAndItsFirstEntry) {
  const Bytes bytes = Box(
      "trak",
      {Box("mdia", {FullBox("hdlr", 0, 0, {U32(0), Text("vide"), Zeros(13)}),
                    Box("minf", {Box("stbl", {FullBox("stsd", 0, 0, {U32(1), Box("hvc1")})})})})});
  const RawBox track = RawBoxOf(bytes);
  EXPECT_EQ(TrackKind(track), FourCc("vide"));
  EXPECT_EQ(TrackSampleEntryType(track), FourCc("hvc1"));
  const RawBox bare = RawBoxOf(Box("trak"));
  EXPECT_EQ(TrackKind(bare), 0u);
  EXPECT_EQ(TrackSampleEntryType(bare), 0u);
  EXPECT_EQ(SampleTable(bare), nullptr);
  EXPECT_EQ(HandlerKind(RawBoxOf(FullBox("hdlr", 0, 0, {U32(0)}))), 0u);
  EXPECT_EQ(FirstSampleEntryType(RawBoxOf(FullBox("stsd", 0, 0, {U32(0), Box("hvc1")}))), 0u);
}

}  // namespace
}  // namespace clipchain
