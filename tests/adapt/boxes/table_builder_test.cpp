#include "adapt/boxes/table_builder.h"

#include <gtest/gtest.h>

#include "adapt/fragment_boxes.h"
#include "foundation/fourcc.h"

namespace clipchain {
namespace {

using support::Bytes;
using support::FullBox;
using support::U32;

// So many samples that are alike.
bool Append(TableBuilder& tables, std::uint32_t count, const SampleDefaults& alike) {
  const RawBox box = RawBoxOf(FullBox("trun", 0, 0, {U32(count)}));
  const auto run = FragmentRun::Read(box, alike);
  return run && tables.AppendRun(*run, 100, 1);
}

TEST(TableBuilder, SpellsOutOnlyWhatMemoryCanTake) {
  constexpr std::uint32_t kMost = 1U << 28;
  TableBuilder tables;
  ASSERT_TRUE(Append(tables, kMost, {1, 40, 2, 0}));
  EXPECT_FALSE(Append(tables, 1, {1, 40, 3, 0}));
  EXPECT_TRUE(Append(tables, 1, {1, 40, 2, 0}));
  RawBox table;
  EXPECT_TRUE(tables.Write(table));
  ASSERT_TRUE(Append(tables, 1, {1, 40, 2, 0x10000}));
  EXPECT_FALSE(tables.Write(table));
}

TEST(TableBuilder, MoreSamplesThan32BitsAreRefused) {
  TableBuilder tables;
  ASSERT_TRUE(Append(tables, 0xFFFFFFFF, {1, 0, 2, 0}));
  EXPECT_FALSE(Append(tables, 1, {1, 0, 2, 0}));
}

TEST(TableBuilder, TimesThatNoClockCountsAreRefused) {
  TableBuilder tables;
  ASSERT_TRUE(Append(tables, 0x40000000, {1, 0xFFFFFFFF, 2, 0}));
  EXPECT_FALSE(Append(tables, 0x40000000, {1, 2, 2, 0}));
}

TEST(TableBuilder, WhatIsShownFirstAndLastIsKnown) {
  TableBuilder tables;
  const RawBox box =
      RawBoxOf(FullBox("trun", 1, 0x800, {U32(3), U32(80), U32(0xFFFFFFF6), U32(90)}));
  const auto run = FragmentRun::Read(box, {1, 40, 2, 0});
  ASSERT_TRUE(run && tables.AppendRun(*run, 100, 1));
  EXPECT_EQ(tables.FirstShown(), 30);
  EXPECT_EQ(tables.LastShown(), 210);
  EXPECT_EQ(tables.End(), 120u);
  EXPECT_TRUE(tables.MoveTo(110));
  EXPECT_EQ(tables.LastShown(), 200);
  EXPECT_FALSE(tables.MoveTo(79));
}

// No sizes, with times and chunks or without.
TEST(TableBuilder, SizesOfNoSampleGoWithNoTimes) {
  for (const std::uint32_t samples : {0u, 3u}) {
    const RawBox table =
        RawBoxOf(support::Box("stbl", {FullBox("stsz", 0, 0, {U32(0), U32(0)}),
                                       FullBox("stts", 0, 0, {U32(1), U32(samples), U32(5)}),
                                       FullBox("stsc", 0, 0, {U32(1), U32(1), U32(3), U32(1)}),
                                       FullBox("stco", 0, 0, {U32(1), U32(48)})}));
    EXPECT_EQ(TableBuilder().TakeTables(table).has_value(), samples != 0);
  }
}

TEST(TableBuilder, TablesThatWereReadAreWrittenAgain) {
  const RawBox read = RawBoxOf(support::Box(
      "stbl", {FullBox("stts", 0, 0, {U32(2), U32(2), U32(40), U32(1), U32(50)}),
               FullBox("ctts", 1, 0, {U32(2), U32(1), U32(0xFFFFFFF6), U32(2), U32(0)}),
               FullBox("stsc", 0, 0, {U32(1), U32(1), U32(3), U32(1)}),
               FullBox("stsz", 0, 0, {U32(0), U32(3), U32(5), U32(6), U32(7)}),
               FullBox("stco", 0, 0, {U32(1), U32(100)}), FullBox("stss", 0, 0, {U32(1), U32(2)}),
               FullBox("sdtp", 0, 0, {support::Hex("10 20 10")})}));
  TableBuilder tables;
  ASSERT_EQ(std::nullopt, tables.TakeTables(read));
  RawBox written = read;
  ASSERT_TRUE(tables.Write(written));
  Bytes before;
  Bytes after;
  read.Write(before);
  written.Write(after);
  EXPECT_EQ(after, before);
}

}  // namespace
}  // namespace clipchain
