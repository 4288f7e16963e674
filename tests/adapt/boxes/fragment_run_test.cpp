#include "adapt/boxes/fragment_run.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "adapt/fragment_boxes.h"

namespace clipchain {
namespace {

using support::FullBox;
using support::U32;
using support::U64;

constexpr SampleDefaults kDefaults{1, 40, 7, 0x10000};

std::vector<std::pair<std::uint32_t, FragmentSample>> SamplesOf(const FragmentRun& run) {
  std::vector<std::pair<std::uint32_t, FragmentSample>> samples;
  run.ForEach([&](std::uint32_t count, const FragmentSample& sample) {
    samples.emplace_back(count, sample);
  });
  return samples;
}

TEST(FragmentRun, SamplesWithoutFieldsHaveTheDefaults) {
  const RawBox box = RawBoxOf(FullBox("trun", 0, 0, {U32(5)}));
  const auto run = FragmentRun::Read(box, kDefaults);
  ASSERT_TRUE(run);
  EXPECT_EQ(run->Bytes(), 35u);
  EXPECT_EQ(run->Spelled(), 0u);
  EXPECT_FALSE(run->DataOffset());
  const auto samples = SamplesOf(*run);
  ASSERT_EQ(samples.size(), 1u);
  EXPECT_EQ(samples[0].first, 5u);
  EXPECT_EQ(samples[0].second.duration, 40u);
  EXPECT_EQ(samples[0].second.size, 7u);
  EXPECT_EQ(samples[0].second.flags, 0x10000u);
}

TEST(FragmentRun, TheFirstSampleMayHaveFlagsOfItsOwn) {
  const RawBox box = RawBoxOf(FullBox("trun", 0, 0x5, {U32(3), U32(0xFFFFFFF0), U32(0x2000000)}));
  const auto run = FragmentRun::Read(box, kDefaults);
  ASSERT_TRUE(run);
  EXPECT_EQ(run->DataOffset(), -16);
  const auto samples = SamplesOf(*run);
  ASSERT_EQ(samples.size(), 2u);
  EXPECT_EQ(samples[0].second.flags, 0x2000000u);
  EXPECT_EQ(samples[1].first, 2u);
  EXPECT_EQ(samples[1].second.flags, 0x10000u);
}

TEST(FragmentRun, EntriesHoldTheFieldsThatTheFlagsName) {
  const RawBox all = RawBoxOf(
      FullBox("trun", 1, 0xF00,
              {U32(2), U32(1), U32(2), U32(3), U32(0xFFFFFFFF), U32(5), U32(6), U32(7), U32(8)}));
  const auto run = FragmentRun::Read(all, kDefaults);
  ASSERT_TRUE(run);
  EXPECT_EQ(run->Bytes(), 8u);
  const auto samples = SamplesOf(*run);
  ASSERT_EQ(samples.size(), 2u);
  EXPECT_EQ(samples[0].second.duration, 1u);
  EXPECT_EQ(samples[0].second.size, 2u);
  EXPECT_EQ(samples[0].second.flags, 3u);
  EXPECT_EQ(samples[0].second.offset, -1);
  EXPECT_EQ(samples[1].second.offset, 8);
  const RawBox two = RawBoxOf(FullBox("trun", 0, 0xA00, {U32(1), U32(2), U32(0xFFFFFFFF)}));
  const auto plain = FragmentRun::Read(two, kDefaults);
  ASSERT_TRUE(plain);
  EXPECT_EQ(SamplesOf(*plain)[0].second.duration, 40u);
  EXPECT_EQ(SamplesOf(*plain)[0].second.size, 2u);
  EXPECT_EQ(SamplesOf(*plain)[0].second.offset, 0xFFFFFFFF);
}

TEST(FragmentRun, MoreSamplesThanBytesAreNone) {
  const RawBox fits = RawBoxOf(FullBox("trun", 0, 0x200, {U32(2), U32(1), U32(2)}));
  const RawBox shortOne = RawBoxOf(FullBox("trun", 0, 0x200, {U32(3), U32(1), U32(2)}));
  const RawBox huge = RawBoxOf(FullBox("trun", 0, 0xF00, {U32(0xFFFFFFFF), U32(1)}));
  EXPECT_TRUE(FragmentRun::Read(fits, kDefaults));
  EXPECT_FALSE(FragmentRun::Read(shortOne, kDefaults));
  EXPECT_FALSE(FragmentRun::Read(huge, kDefaults));
}

TEST(FragmentRun, FlagsAndVersionsThatNobodyDefinedAreRefused) {
  EXPECT_FALSE(FragmentRun::Read(RawBoxOf(FullBox("trun", 0, 0x1000, {U32(0)})), kDefaults));
  EXPECT_FALSE(FragmentRun::Read(RawBoxOf(FullBox("trun", 2, 0, {U32(0)})), kDefaults));
  EXPECT_FALSE(ReadFragmentHeader(RawBoxOf(FullBox("tfhd", 0, 0x4, {U32(1), U32(0)}))));
  EXPECT_FALSE(ReadFragmentTime(RawBoxOf(FullBox("tfdt", 2, 0, {U64(1)}))));
}

TEST(FragmentRun, HeadersAreRead) {
  const auto header = ReadFragmentHeader(RawBoxOf(
      FullBox("tfhd", 0, 0x3B, {U32(7), U64(0x123456789), U32(2), U32(40), U32(9), U32(0x10000)})));
  ASSERT_TRUE(header);
  EXPECT_EQ(header->trackId, 7u);
  EXPECT_EQ(header->base, 0x123456789u);
  EXPECT_EQ(header->description, 2u);
  EXPECT_EQ(header->duration, 40u);
  EXPECT_EQ(header->size, 9u);
  EXPECT_EQ(header->flags, 0x10000u);
  EXPECT_FALSE(header->baseIsFragment || header->durationIsEmpty);
  const auto bare = ReadFragmentHeader(RawBoxOf(FullBox("tfhd", 0, 0x30000, {U32(7)})));
  ASSERT_TRUE(bare);
  EXPECT_TRUE(bare->baseIsFragment && bare->durationIsEmpty);
  EXPECT_FALSE(bare->base || bare->description || bare->duration || bare->size || bare->flags);
  EXPECT_FALSE(ReadFragmentHeader(RawBoxOf(FullBox("tfhd", 0, 0x1, {U32(7), U32(0)}))));
  EXPECT_EQ(ReadFragmentTime(RawBoxOf(FullBox("tfdt", 1, 0, {U64(0x100000000)}))), 0x100000000u);
  EXPECT_EQ(ReadFragmentTime(RawBoxOf(FullBox("tfdt", 0, 0, {U32(5)}))), 5u);
  std::uint32_t id = 0;
  const auto defaults = ReadTrackDefaults(
      RawBoxOf(FullBox("trex", 0, 0, {U32(3), U32(1), U32(40), U32(9), U32(0x10000)})), id);
  ASSERT_TRUE(defaults);
  EXPECT_EQ(id, 3u);
  EXPECT_EQ(defaults->duration, 40u);
  EXPECT_FALSE(ReadTrackDefaults(RawBoxOf(FullBox("trex", 0, 0, {U32(3)})), id));
}

}  // namespace
}  // namespace clipchain
