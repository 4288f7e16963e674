#include "adapt/tables/fragmented_movie.h"
#include "adapt/boxes/tracks.h"

#include <gtest/gtest.h>

#include "adapt/boxes/track_headers.h"
#include "adapt/boxes/track_tables.h"
#include "adapt/fragment_boxes.h"
#include "foundation/fourcc.h"

namespace clipchain {
namespace {

using support::Bytes;
using support::FullBox;
using support::U16;
using support::U32;
using support::U64;

constexpr std::uint32_t kNoSync = 0x10000;

// Media from byte 1000 to 9000; fragments stand before it.
FragmentedMovie Reading(const std::vector<AnnouncedTrack>& tracks) {
  return {RawBoxOf(AnnouncingMovie(tracks)), {{1000, 8000}}};
}

// Data that begins `at` bytes behind the fragment, which stands at 500.
Bytes RunAt(std::uint32_t at, const std::vector<std::uint32_t>& sizes) {
  Bytes entries;
  for (const std::uint32_t size : sizes) entries = entries + U32(size);
  return FullBox("trun", 0, 0x201,
                 {U32(static_cast<std::uint32_t>(sizes.size())), U32(at), entries});
}

Bytes Header(std::uint32_t id, std::uint32_t duration = 40) {
  return FullBox("tfhd", 0, 0x20008, {U32(id), U32(duration)});
}

const RawBox& TableOf(const RawBox& movie, std::size_t track, unsigned int type) {
  return *SampleTable(*TracksOf(movie)[track])->Child(type);
}

TEST(FragmentedMovie, RunsBecomeChunksAndTables) {
  auto reading = Reading({AnnouncedTrack{}});
  ASSERT_TRUE(reading.Begin());
  ASSERT_TRUE(reading.Add(Fragment({Header(1) + FragmentTime(0) + RunAt(500, {10, 20})}), 500));
  ASSERT_TRUE(reading.Add(Fragment({Header(1, 50) + FragmentTime(80) + RunAt(600, {30})}), 500));
  const auto movie = reading.Finish();
  ASSERT_TRUE(movie);
  EXPECT_EQ(movie->Child(FourCc("mvex")), nullptr);
  EXPECT_EQ(ReadTimes(TableOf(*movie, 0, FourCc("stts"))), (TimeRuns{{2, 40}, {1, 50}}));
  EXPECT_EQ(ReadSizes(TableOf(*movie, 0, FourCc("stsz")))->sizes,
            (std::vector<std::uint32_t>{10, 20, 30}));
  EXPECT_EQ(ReadChunkRuns(TableOf(*movie, 0, FourCc("stsc"))), (ChunkRuns{{1, 2, 1}, {2, 1, 1}}));
  EXPECT_EQ(ReadChunkOffsets(TableOf(*movie, 0, FourCc("stco"))),
            (std::vector<std::uint64_t>{1000, 1100}));
  const RawBox& table = *SampleTable(*TracksOf(*movie)[0]);
  EXPECT_EQ(table.Child(FourCc("stss")), nullptr);
  EXPECT_EQ(table.Child(FourCc("ctts")), nullptr);
  EXPECT_EQ(table.Child(FourCc("sdtp")), nullptr);
  EXPECT_EQ(ReadTimeHeader(*movie->Child(FourCc("mvhd"))), (TimeHeader{1000, 130}));
  EXPECT_EQ(ReadTrackHeader(*movie->At({FourCc("trak"), FourCc("tkhd")})), (TrackHeader{1, 130}));
  EXPECT_EQ(ReadTimeHeader(*movie->At({FourCc("trak"), FourCc("mdia"), FourCc("mdhd")})),
            (TimeHeader{1000, 130}));
}

TEST(FragmentedMovie, FlagsBecomeSyncSamplesAndDependencies) {
  AnnouncedTrack track;
  track.flags = 0x01000000 | kNoSync;
  track.size = 10;
  auto reading = Reading({track});
  ASSERT_TRUE(reading.Begin());
  const Bytes run = FullBox("trun", 0, 0x5, {U32(3), U32(500), U32(0x02000000)});
  ASSERT_TRUE(reading.Add(Fragment({Header(1) + run}), 500));
  ASSERT_TRUE(reading.Add(
      Fragment({Header(1) + FullBox("trun", 0, 0x5, {U32(2), U32(600), U32(0x02400000)})}), 500));
  const auto movie = reading.Finish();
  ASSERT_TRUE(movie);
  EXPECT_EQ(ReadSampleNumbers(TableOf(*movie, 0, FourCc("stss"))),
            (std::vector<std::uint32_t>{1, 4}));
  const auto dependencies = ReadDependencies(TableOf(*movie, 0, FourCc("sdtp")));
  ASSERT_TRUE(dependencies);
  EXPECT_EQ(Bytes(dependencies->begin(), dependencies->end()),
            (Bytes{0x20, 0x10, 0x10, 0x24, 0x10}));
  EXPECT_EQ(ReadSizes(TableOf(*movie, 0, FourCc("stsz"))), (SampleSizes{10, 5, {}}));
}

TEST(FragmentedMovie, DependenciesOfAFragmentTakeThePlaceOfItsFlags) {
  auto reading = Reading({AnnouncedTrack{}});
  ASSERT_TRUE(reading.Begin());
  const Bytes dependencies = FullBox("sdtp", 0, 0, {support::Hex("18 20")});
  ASSERT_TRUE(reading.Add(Fragment({Header(1) + RunAt(500, {1, 1})}), 500));
  ASSERT_TRUE(reading.Add(Fragment({Header(1) + RunAt(600, {1, 1}) + dependencies}), 500));
  EXPECT_FALSE(reading.Add(Fragment({Header(1) + RunAt(700, {1}) + dependencies}), 500));
  const auto movie = reading.Finish();
  ASSERT_TRUE(movie);
  const auto read = ReadDependencies(TableOf(*movie, 0, FourCc("sdtp")));
  ASSERT_TRUE(read);
  EXPECT_EQ(Bytes(read->begin(), read->begin() + 4), (Bytes{0, 0, 0x18, 0x20}));
}

TEST(FragmentedMovie, OffsetsKeepTheirSign) {
  auto reading = Reading({AnnouncedTrack{}});
  ASSERT_TRUE(reading.Begin());
  const Bytes run =
      FullBox("trun", 1, 0xA01, {U32(2), U32(500), U32(5), U32(0), U32(5), U32(0xFFFFFFF8)});
  ASSERT_TRUE(reading.Add(Fragment({Header(1) + run}), 500));
  const auto movie = reading.Finish();
  ASSERT_TRUE(movie);
  EXPECT_EQ(ReadOffsets(TableOf(*movie, 0, FourCc("ctts"))), (OffsetRuns{{1, 0}, {1, -8}}));
}

// 8.8.7.1: of the first track fragment the base is the fragment, of those behind it the end of the
// data before; a run without an offset follows the one before.
TEST(FragmentedMovie, DataIsWhereTheBasesSay) {
  AnnouncedTrack second;
  second.id = 2;
  auto reading = Reading({AnnouncedTrack{}, second});
  ASSERT_TRUE(reading.Begin());
  const Bytes plain = FullBox("trun", 0, 0x200, {U32(1), U32(7)});
  const Bytes bare = FullBox("tfhd", 0, 0, {U32(2)});
  ASSERT_TRUE(reading.Add(Fragment({FullBox("tfhd", 0, 0, {U32(1)}) + RunAt(500, {10}) + plain,
                                    bare + plain, bare + RunAt(3, {1})}),
                          500));
  const Bytes based = FullBox("tfhd", 0, 0x1, {U32(1), U64(2000)});
  ASSERT_TRUE(reading.Add(
      Fragment({bare + RunAt(600, {2}), based + plain + plain, Header(2) + RunAt(800, {1})}), 500));
  const auto movie = reading.Finish();
  ASSERT_TRUE(movie);
  EXPECT_EQ(ReadChunkOffsets(TableOf(*movie, 0, FourCc("stco"))),
            (std::vector<std::uint64_t>{1000, 1010, 2000, 2007}));
  EXPECT_EQ(ReadChunkOffsets(TableOf(*movie, 1, FourCc("stco"))),
            (std::vector<std::uint64_t>{1017, 1027, 1100, 1300}));
}

TEST(FragmentedMovie, AGapOrAnOverlapChangesHowLongTheSampleBeforeLasts) {
  auto reading = Reading({AnnouncedTrack{}});
  ASSERT_TRUE(reading.Begin());
  ASSERT_TRUE(reading.Add(Fragment({Header(1) + FragmentTime(0) + RunAt(500, {1, 1})}), 500));
  ASSERT_TRUE(reading.Add(Fragment({Header(1) + FragmentTime(100) + RunAt(510, {1, 1})}), 500));
  ASSERT_TRUE(reading.Add(Fragment({Header(1) + FragmentTime(150) + RunAt(520, {1})}), 500));
  EXPECT_FALSE(reading.Add(Fragment({Header(1) + FragmentTime(149) + RunAt(530, {1})}), 500));
  EXPECT_EQ(reading.Problem().kind, FitProblemKind::kFragmented);
  EXPECT_EQ(reading.Problem().track, 1u);
  const auto movie = reading.Finish();
  ASSERT_TRUE(movie);
  EXPECT_EQ(ReadTimes(TableOf(*movie, 0, FourCc("stts"))),
            (TimeRuns{{1, 40}, {1, 60}, {1, 40}, {1, 10}, {1, 40}}));
}

TEST(FragmentedMovie, AnEmptyDurationMovesWhatFollows) {
  auto reading = Reading({AnnouncedTrack{}});
  ASSERT_TRUE(reading.Begin());
  ASSERT_TRUE(reading.Add(Fragment({Header(1) + RunAt(500, {1})}), 500));
  ASSERT_TRUE(reading.Add(Fragment({FullBox("tfhd", 0, 0x10008, {U32(1), U32(25)})}), 500));
  ASSERT_TRUE(reading.Add(Fragment({Header(1) + RunAt(510, {1})}), 500));
  const auto movie = reading.Finish();
  ASSERT_TRUE(movie);
  EXPECT_EQ(ReadTimes(TableOf(*movie, 0, FourCc("stts"))), (TimeRuns{{1, 65}, {1, 40}}));
}

TEST(FragmentedMovie, SamplesOfTheMovieBoxComeFirst) {
  AnnouncedTrack track;
  track.tables = FullBox("stts", 0, 0, {U32(1), U32(2), U32(30)}) +
                 FullBox("stsc", 0, 0, {U32(1), U32(1), U32(2), U32(1)}) +
                 FullBox("stsz", 0, 0, {U32(5), U32(2)}) +
                 FullBox("co64", 0, 0, {U32(1), U64(1500)}) +
                 FullBox("stss", 0, 0, {U32(1), U32(2)});
  auto reading = Reading({track});
  ASSERT_TRUE(reading.Begin());
  ASSERT_TRUE(reading.Add(Fragment({Header(1) + RunAt(500, {6})}), 500));
  const auto movie = reading.Finish();
  ASSERT_TRUE(movie);
  EXPECT_EQ(ReadTimes(TableOf(*movie, 0, FourCc("stts"))), (TimeRuns{{2, 30}, {1, 40}}));
  EXPECT_EQ(ReadSizes(TableOf(*movie, 0, FourCc("stsz")))->sizes,
            (std::vector<std::uint32_t>{5, 5, 6}));
  EXPECT_EQ(ReadChunkOffsets(TableOf(*movie, 0, FourCc("stco"))),
            (std::vector<std::uint64_t>{1500, 1000}));
  EXPECT_EQ(ReadSampleNumbers(TableOf(*movie, 0, FourCc("stss"))),
            (std::vector<std::uint32_t>{2, 3}));
  EXPECT_EQ(SampleTable(*TracksOf(*movie)[0])->Child(FourCc("co64")), nullptr);
}

TEST(FragmentedMovie, TablesOfTheMovieBoxThatDisagreeAreRefused) {
  AnnouncedTrack track;
  track.tables = FullBox("stts", 0, 0, {U32(1), U32(3), U32(30)}) +
                 FullBox("stsc", 0, 0, {U32(1), U32(1), U32(2), U32(1)}) +
                 FullBox("stsz", 0, 0, {U32(5), U32(2)}) +
                 FullBox("stco", 0, 0, {U32(1), U32(1500)});
  auto reading = Reading({track});
  EXPECT_FALSE(reading.Begin());
  EXPECT_EQ(reading.Problem().kind, FitProblemKind::kBoxDamaged);
}

TEST(FragmentedMovie, SamplesOfAFragmentPointAtTheirDescription) {
  AnnouncedTrack track;
  track.descriptions = 2;
  auto reading = Reading({track});
  ASSERT_TRUE(reading.Begin());
  const auto described = [](std::uint32_t index) {
    return FullBox("tfhd", 0, 0x20002, {U32(1), U32(index)});
  };
  ASSERT_TRUE(reading.Add(Fragment({Header(1) + RunAt(500, {6})}), 500));
  ASSERT_TRUE(reading.Add(Fragment({described(2) + RunAt(510, {6})}), 500));
  EXPECT_FALSE(reading.Add(Fragment({described(3) + RunAt(520, {6})}), 500));
  const auto movie = reading.Finish();
  ASSERT_TRUE(movie);
  EXPECT_EQ(ReadChunkRuns(TableOf(*movie, 0, FourCc("stsc"))), (ChunkRuns{{1, 1, 1}, {2, 1, 2}}));
}

TEST(FragmentedMovie, DataOutsideOfTheMediaIsRefused) {
  auto reading = Reading({AnnouncedTrack{}});
  ASSERT_TRUE(reading.Begin());
  EXPECT_TRUE(reading.Add(Fragment({Header(1) + RunAt(8495, {5})}), 500));
  EXPECT_FALSE(reading.Add(Fragment({Header(1) + RunAt(8496, {5})}), 500));
  EXPECT_EQ(reading.Problem().kind, FitProblemKind::kSamplesOutsideMedia);
  EXPECT_EQ(reading.Problem().offset, 500);
  EXPECT_FALSE(reading.Add(Fragment({Header(1) + RunAt(499, {5})}), 500));
  EXPECT_FALSE(reading.Add(Fragment({Header(1) + RunAt(0x80000000, {5})}), 500));
}

TEST(FragmentedMovie, MediaBelongsToOneSample) {
  auto reading = Reading({AnnouncedTrack{}});
  ASSERT_TRUE(reading.Begin());
  EXPECT_TRUE(reading.Add(Fragment({Header(1) + RunAt(500, {8000})}), 500));
  EXPECT_FALSE(reading.Add(Fragment({Header(1) + RunAt(500, {8000})}), 500));
  EXPECT_EQ(reading.Problem().kind, FitProblemKind::kBoxDamaged);
}

TEST(FragmentedMovie, SamplesWithoutAByteAreFew) {
  auto reading = Reading({AnnouncedTrack{}});
  ASSERT_TRUE(reading.Begin());
  EXPECT_TRUE(reading.Add(Fragment({Header(1) + FullBox("trun", 0, 0, {U32(1)})}), 500));
  EXPECT_FALSE(reading.Add(Fragment({Header(1) + FullBox("trun", 0, 0, {U32(0xFFFFFFF0)})}), 500));
}

TEST(FragmentedMovie, WhatTheMovieDoesNotAnnounceIsRefused) {
  AnnouncedTrack hidden;
  hidden.id = 2;
  hidden.isExtended = false;
  auto reading = Reading({AnnouncedTrack{}, hidden});
  ASSERT_TRUE(reading.Begin());
  EXPECT_TRUE(reading.Add(Fragment({Header(1) + RunAt(500, {1})}), 500));
  EXPECT_FALSE(reading.Add(Fragment({Header(2) + RunAt(500, {1})}), 500));
  EXPECT_FALSE(reading.Add(Fragment({Header(3) + RunAt(500, {1})}), 500));
  EXPECT_FALSE(reading.Add(Fragment({RunAt(500, {1})}), 500));
  EXPECT_FALSE(reading.Add(Fragment({Header(1) + Header(1) + RunAt(500, {1})}), 500));
  EXPECT_FALSE(Reading({AnnouncedTrack{}, AnnouncedTrack{}}).Begin());
}

TEST(FragmentedMovie, ProtectionOfSamplesThatAreNotProtectedIsRefused) {
  auto reading = Reading({AnnouncedTrack{}});
  ASSERT_TRUE(reading.Begin());
  EXPECT_FALSE(reading.Add(
      Fragment({Header(1) + RunAt(500, {1}) + FullBox("senc", 0, 0, {U32(1), U64(7)})}), 500));
  EXPECT_EQ(reading.Problem().kind, FitProblemKind::kFragmented);
}

// A "uuid" box that begins with the type by which protection was said before it had a box.
TEST(FragmentedMovie, ProtectionOfAUsersTypeIsRefused) {
  auto reading = Reading({AnnouncedTrack{}});
  ASSERT_TRUE(reading.Begin());
  const Bytes times =
      support::Box("uuid", {support::Hex("6D1D9B0542D544E680E2141DAFF757B2"), U32(0)});
  EXPECT_TRUE(reading.Add(Fragment({Header(1) + RunAt(500, {1}) + times}), 500));
  EXPECT_TRUE(reading.LeftOut().empty());
  const Bytes other =
      support::Box("uuid", {support::Hex("A2394F525A9B4F14A2446C427C648DF4"), U32(0)});
  EXPECT_FALSE(reading.Add(Fragment({Header(1) + RunAt(501, {1}) + other}), 500));
}

TEST(FragmentedMovie, GroupsAndSubsamplesOfFragmentsBecomeTablesOfAllSamples) {
  auto reading = Reading({AnnouncedTrack{}});
  ASSERT_TRUE(reading.Begin());
  const Bytes groups =
      FullBox("sgpd", 1, 0, {support::Text("roll"), U32(2), U32(1), U16(7)}) +
      FullBox("sbgp", 0, 0, {support::Text("roll"), U32(1), U32(2), U32(0x10001)}) +
      FullBox("subs", 0, 0, {U32(1), U32(2), U16(0)});
  ASSERT_TRUE(reading.Add(Fragment({Header(1) + RunAt(500, {1})}), 500));
  ASSERT_TRUE(reading.Add(Fragment({Header(1) + RunAt(510, {1, 1}) + groups}), 500));
  const auto movie = reading.Finish();
  ASSERT_TRUE(movie);
  EXPECT_TRUE(reading.LeftOut().empty());
  EXPECT_EQ(TableOf(*movie, 0, FourCc("sbgp")).data,
            RawBoxOf(FullBox("sbgp", 0, 0,
                             {support::Text("roll"), U32(2), U32(1), U32(0), U32(2), U32(1)}))
                .data);
  EXPECT_EQ(TableOf(*movie, 0, FourCc("subs")).data,
            RawBoxOf(FullBox("subs", 0, 0, {U32(1), U32(3), U16(0)})).data);
}

TEST(FragmentedMovie, UnknownBoxesInPlaceOfSamplesAreDamage) {
  auto reading = Reading({AnnouncedTrack{}});
  ASSERT_TRUE(reading.Begin());
  EXPECT_TRUE(reading.Add(Fragment({Header(1)}), 500));
  EXPECT_FALSE(reading.Add(Fragment({Header(1) + FullBox("tru?", 0, 0, {U32(1)})}), 500));
  EXPECT_EQ(reading.Problem().kind, FitProblemKind::kBoxDamaged);
}

TEST(FragmentedMovie, BoxesThatAreLeftOutAreNamed) {
  auto reading = Reading({AnnouncedTrack{}});
  ASSERT_TRUE(reading.Begin());
  EXPECT_TRUE(
      reading.Add(Fragment({Header(1) + RunAt(500, {1}) + FullBox("abcd", 0, 0, {U32(1)})}), 500));
  EXPECT_EQ(reading.LeftOut(), std::set<unsigned int>{FourCc("abcd")});
}

TEST(FragmentedMovie, ATrackWithoutSamplesStaysEmpty) {
  AnnouncedTrack second;
  second.id = 2;
  auto reading = Reading({AnnouncedTrack{}, second});
  ASSERT_TRUE(reading.Begin());
  ASSERT_TRUE(reading.Add(Fragment({Header(1) + RunAt(500, {1})}), 500));
  const auto movie = reading.Finish();
  ASSERT_TRUE(movie);
  EXPECT_EQ(ReadTimes(TableOf(*movie, 1, FourCc("stts"))), TimeRuns{});
  EXPECT_EQ(ReadChunkOffsets(TableOf(*movie, 1, FourCc("stco"))), std::vector<std::uint64_t>{});
}

}  // namespace
}  // namespace clipchain
