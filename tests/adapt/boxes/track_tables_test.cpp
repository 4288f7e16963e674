#include "adapt/boxes/track_tables.h"

#include <gtest/gtest.h>

#include "adapt/fragment_boxes.h"
#include "foundation/fourcc.h"
#include "support/bytes.h"

namespace clipchain {
namespace {

using support::FullBox;
using support::Hex;
using support::U16;
using support::U32;
using support::U64;

TEST(TrackTables, TimesAreReadAndWritten) {
  const Bytes bytes = FullBox("stts", 0, 0, {U32(2), U32(3), U32(1001), U32(1), U32(1000)});
  const auto runs = ReadTimes(RawBoxOf(bytes));
  ASSERT_TRUE(runs);
  EXPECT_EQ(*runs, (TimeRuns{{3, 1001}, {1, 1000}}));
  EXPECT_EQ(SampleCount(*runs), 4u);
  EXPECT_EQ(MediaDuration(*runs), 4003u);
  EXPECT_EQ(TimesBox(*runs).Written(), bytes);
}

TEST(TrackTables, ACountBeyondTheBytesIsNoTable) {
  EXPECT_TRUE(ReadTimes(RawBoxOf(FullBox("stts", 0, 0, {U32(1), U32(3), U32(5)}))));
  EXPECT_FALSE(ReadTimes(RawBoxOf(FullBox("stts", 0, 0, {U32(2), U32(3), U32(5)}))));
  EXPECT_FALSE(ReadTimes(RawBoxOf(FullBox("stts", 0, 0, {U32(0xFFFFFFFF)}))));
  EXPECT_FALSE(ReadTimes(RawBoxOf(FullBox("stts", 0, 0))));
  EXPECT_FALSE(ReadTimes(RawBoxOf(FullBox("stts", 1, 0, {U32(1), U32(3), U32(5)}))));
}

TEST(TrackTables, BytesBehindATableArePassedOver) {
  EXPECT_TRUE(ReadTimes(RawBoxOf(FullBox("stts", 0, 0, {U32(1), U32(3), U32(5), U32(9)}))));
}

TEST(TrackTables, ADurationBeyond64BitsIsNone) {
  const TimeRuns runs(2, TimeRun{0xFFFFFFFF, 0xFFFFFFFF});
  EXPECT_FALSE(MediaDuration(runs));
}

TEST(TrackTables, OffsetsAreUnsignedInVersion0AndSignedInVersion1) {
  const Bytes plain = FullBox("ctts", 0, 0, {U32(1), U32(2), U32(0xFFFFFFFE)});
  const Bytes withSign = FullBox("ctts", 1, 0, {U32(1), U32(2), U32(0xFFFFFFFE)});
  const auto runs = ReadOffsets(RawBoxOf(plain));
  const auto signedRuns = ReadOffsets(RawBoxOf(withSign));
  ASSERT_TRUE(runs && signedRuns);
  EXPECT_EQ(*runs, (OffsetRuns{{2, 0xFFFFFFFE}}));
  EXPECT_EQ(*signedRuns, (OffsetRuns{{2, -2}}));
  EXPECT_EQ(OffsetsBox(*runs).value().Written(), plain);
  EXPECT_EQ(OffsetsBox(*signedRuns).value().Written(), withSign);
  EXPECT_FALSE(ReadOffsets(RawBoxOf(FullBox("ctts", 2, 0, {U32(0)}))));
}

TEST(TrackTables, OffsetsThatNoVersionHoldsAreNotWritten) {
  EXPECT_TRUE(OffsetsBox({{1, 0xFFFFFFFF}, {1, 0}}));
  EXPECT_FALSE(OffsetsBox({{1, 0xFFFFFFFF}, {1, -1}}));
  EXPECT_FALSE(OffsetsBox({{1, 0x100000000}}));
  EXPECT_FALSE(OffsetsBox({{1, -0x80000001LL}}));
}

TEST(TrackTables, SizesAreReadFromEitherForm) {
  const Bytes table = FullBox("stsz", 0, 0, {U32(0), U32(3), U32(1), U32(2), U32(15)});
  const auto sizes = ReadSizes(RawBoxOf(table));
  ASSERT_TRUE(sizes);
  EXPECT_EQ(sizes->sizes, (std::vector<std::uint32_t>{1, 2, 15}));
  EXPECT_EQ(sizes->Sum(), 18u);
  EXPECT_EQ(SizesBox(*sizes).Written(), table);
  EXPECT_EQ(ReadSizes(RawBoxOf(FullBox("stz2", 0, 0, {U32(4), U32(3), Hex("12 F0")}))), sizes);
  EXPECT_EQ(ReadSizes(RawBoxOf(FullBox("stz2", 0, 0, {U32(8), U32(3), Hex("01 02 0F")}))), sizes);
  EXPECT_EQ(ReadSizes(RawBoxOf(FullBox("stz2", 0, 0, {U32(16), U32(3), Hex("0001 0002 000F")}))),
            sizes);
}

TEST(TrackTables, CompactSizesThatAreShortOrOfAnotherWidthAreNoTable) {
  EXPECT_FALSE(ReadSizes(RawBoxOf(FullBox("stz2", 0, 0, {U32(4), U32(3), Hex("12")}))));
  EXPECT_FALSE(ReadSizes(RawBoxOf(FullBox("stz2", 0, 0, {U32(8), U32(3), Hex("01 02")}))));
  EXPECT_FALSE(ReadSizes(RawBoxOf(FullBox("stz2", 0, 0, {U32(16), U32(3), Hex("0001 0002 00")}))));
  EXPECT_FALSE(ReadSizes(RawBoxOf(FullBox("stz2", 0, 0, {U32(12), U32(1), Hex("0001")}))));
}

TEST(TrackTables, AUniformSizeTakesNoMemory) {
  const Bytes bytes = FullBox("stsz", 0, 0, {U32(4), U32(0xFFFFFFFF)});
  const auto sizes = ReadSizes(RawBoxOf(bytes));
  ASSERT_TRUE(sizes);
  EXPECT_TRUE(sizes->sizes.empty());
  EXPECT_EQ(sizes->At(7), 4u);
  EXPECT_EQ(sizes->Sum(), 4 * std::uint64_t{0xFFFFFFFF});
  EXPECT_EQ(SizesBox(*sizes).Written(), bytes);
  EXPECT_FALSE(ReadSizes(RawBoxOf(FullBox("stsz", 0, 0, {U32(0), U32(1)}))));
}

TEST(TrackTables, ChunksRiseFromTheFirst) {
  const Bytes bytes =
      FullBox("stsc", 0, 0, {U32(2), U32(1), U32(5), U32(1), U32(4), U32(2), U32(2)});
  const auto runs = ReadChunkRuns(RawBoxOf(bytes));
  ASSERT_TRUE(runs);
  EXPECT_EQ(*runs, (ChunkRuns{{1, 5, 1}, {4, 2, 2}}));
  EXPECT_EQ(ChunkRunsBox(*runs).Written(), bytes);
  EXPECT_EQ(SampleCount(*runs, 5), 3u * 5 + 2 * 2);
  EXPECT_FALSE(SampleCount(*runs, 3));
  EXPECT_FALSE(ReadChunkRuns(RawBoxOf(FullBox("stsc", 0, 0, {U32(1), U32(2), U32(5), U32(1)}))));
  EXPECT_FALSE(ReadChunkRuns(RawBoxOf(FullBox("stsc", 0, 0, {U32(1), U32(1), U32(5), U32(0)}))));
  EXPECT_FALSE(ReadChunkRuns(
      RawBoxOf(FullBox("stsc", 0, 0, {U32(2), U32(1), U32(5), U32(1), U32(1), U32(2), U32(1)}))));
}

TEST(TrackTables, ChunkOffsetsAreAsWideAsTheyNeedToBe) {
  const Bytes narrow = FullBox("stco", 0, 0, {U32(2), U32(48), U32(0xFFFFFFFF)});
  const Bytes wide = FullBox("co64", 0, 0, {U32(2), U64(48), U64(0x100000000)});
  const auto offsets = ReadChunkOffsets(RawBoxOf(narrow));
  const auto wideOffsets = ReadChunkOffsets(RawBoxOf(wide));
  ASSERT_TRUE(offsets && wideOffsets);
  EXPECT_EQ(ChunkOffsetsBox(*offsets).Written(), narrow);
  EXPECT_EQ(ChunkOffsetsBox(*wideOffsets).Written(), wide);
  EXPECT_FALSE(ReadChunkOffsets(RawBoxOf(FullBox("co64", 0, 0, {U32(2), U64(48), U32(0)}))));
}

TEST(TrackTables, SampleNumbersRise) {
  const Bytes bytes = FullBox("stss", 0, 0, {U32(2), U32(1), U32(13)});
  const auto numbers = ReadSampleNumbers(RawBoxOf(bytes));
  ASSERT_TRUE(numbers);
  EXPECT_EQ(SampleNumbersBox(FourCc("stss"), *numbers).Written(), bytes);
  EXPECT_FALSE(ReadSampleNumbers(RawBoxOf(FullBox("stss", 0, 0, {U32(2), U32(0), U32(13)}))));
  EXPECT_FALSE(ReadSampleNumbers(RawBoxOf(FullBox("stss", 0, 0, {U32(2), U32(13), U32(13)}))));
}

TEST(TrackTables, DependenciesAreLent) {
  const RawBox box = RawBoxOf(FullBox("sdtp", 0, 0, {Hex("20 10 18")}));
  const auto dependencies = ReadDependencies(box);
  ASSERT_TRUE(dependencies);
  EXPECT_EQ(dependencies->data(), box.data.data() + 4);
  EXPECT_EQ(DependenciesBox(*dependencies).data, box.data);
}

TEST(TrackTables, EditsAreReadFromEitherVersion) {
  const Bytes narrow = FullBox(
      "elst", 0, 0,
      {U32(2), U32(100), U32(0xFFFFFFFF), U32(0x10000), U32(900), U32(512), U16(1), U16(0)});
  const auto edits = ReadEdits(RawBoxOf(narrow));
  ASSERT_TRUE(edits);
  EXPECT_EQ(*edits, (Edits{{100, -1, 0x10000}, {900, 512, 0x10000}}));
  EXPECT_EQ(EditsBox(*edits).Written(), narrow);
  const Bytes wide = FullBox("elst", 1, 0, {U32(1), U64(0x100000000), U64(~0ULL), U32(0x10000)});
  const auto wideEdits = ReadEdits(RawBoxOf(wide));
  ASSERT_TRUE(wideEdits);
  EXPECT_EQ(wideEdits->front().mediaTime, -1);
  EXPECT_EQ(EditsBox(*wideEdits).Written(), wide);
  EXPECT_FALSE(ReadEdits(RawBoxOf(FullBox("elst", 2, 0, {U32(0)}))));
}

TEST(TrackTables, WhatSaysTheSameJoinsTheRunBefore) {
  TimeRuns times;
  AppendTime(times, 2, 40);
  AppendTime(times, 3, 40);
  AppendTime(times, 0, 50);
  AppendTime(times, 1, 41);
  EXPECT_EQ(times, (TimeRuns{{5, 40}, {1, 41}}));
  AppendTime(times, 0xFFFFFFFF, 41);
  EXPECT_EQ(times, (TimeRuns{{5, 40}, {0xFFFFFFFF, 41}, {1, 41}}));
  OffsetRuns offsets;
  AppendOffset(offsets, 1, -3);
  AppendOffset(offsets, 1, -3);
  EXPECT_EQ(offsets, (OffsetRuns{{2, -3}}));
  ChunkRuns chunks;
  AppendChunk(chunks, 1, 5, 1);
  AppendChunk(chunks, 2, 5, 1);
  AppendChunk(chunks, 3, 5, 2);
  EXPECT_EQ(chunks, (ChunkRuns{{1, 5, 1}, {3, 5, 2}}));
}

}  // namespace
}  // namespace clipchain
