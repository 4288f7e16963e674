#include "adapt/tables/fragment_clock.h"
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
using support::U32;

Bytes EditList(const Edits& edits) {
  Bytes bytes;
  EditsBox(edits).Write(bytes);
  return bytes;
}

// A run of one-byte samples of which the first is shown later than it is decoded.
struct Samples {
  std::uint32_t id = 1;
  std::uint32_t time = 0;
  std::uint32_t count = 1;
  std::uint32_t duration = 0;
  std::uint32_t offset = 0;
};

std::optional<RawBox> MovieWith(const std::vector<AnnouncedTrack>& tracks,
                                const std::vector<Samples>& samples,
                                std::uint32_t movieScale = 1000) {
  FragmentedMovie reading(RawBoxOf(AnnouncingMovie(tracks, movieScale)), {{1000, 8000}});
  EXPECT_TRUE(reading.Begin());
  for (const Samples& run : samples) {
    Bytes offsets;
    for (std::uint32_t i = 0; i < run.count; ++i) offsets = offsets + U32(run.offset);
    EXPECT_TRUE(
        reading.Add(Fragment({FullBox("tfhd", 0, 0x18, {U32(run.id), U32(run.duration), U32(1)}) +
                              FragmentTime(run.time) +
                              FullBox("trun", 0, 0x801, {U32(run.count), U32(0), offsets})}),
                    1000));
  }
  return reading.Finish();
}

std::optional<Edits> EditsOf(const RawBox& movie, std::size_t track) {
  const RawBox* list = TracksOf(movie)[track]->At({FourCc("edts"), FourCc("elst")});
  return list != nullptr ? ReadEdits(*list) : std::nullopt;
}

std::uint64_t TrackDuration(const RawBox& movie, std::size_t track) {
  return ReadTrackHeader(*TracksOf(movie)[track]->Child(FourCc("tkhd")))->duration;
}

TEST(FragmentClock, AnEditWithoutADurationShowsAllThatFollows) {
  AnnouncedTrack track;
  track.scale = 10000;
  track.edits = EditList({{0, 800, 0x10000}});
  const auto movie = MovieWith({track}, {{1, 0, 3, 400, 800}});
  ASSERT_TRUE(movie);
  EXPECT_EQ(EditsOf(*movie, 0), (Edits{{120, 800, 0x10000}}));
  EXPECT_EQ(TrackDuration(*movie, 0), 120u);
}

TEST(FragmentClock, ADurationThatIsSaidStays) {
  AnnouncedTrack track;
  track.edits = EditList({{50, 10, 0x10000}});
  const auto movie = MovieWith({track}, {{1, 0, 3, 40, 0}});
  ASSERT_TRUE(movie);
  EXPECT_EQ(EditsOf(*movie, 0), (Edits{{50, 10, 0x10000}}));
  EXPECT_EQ(ReadTimeHeader(*movie->Child(FourCc("mvhd"))), (TimeHeader{1000, 50}));
}

TEST(FragmentClock, DurationsAreRoundedUp) {
  AnnouncedTrack track;
  track.scale = 44100;
  const auto movie = MovieWith({track}, {{1, 0, 1, 1024, 0}});
  ASSERT_TRUE(movie);
  EXPECT_EQ(TrackDuration(*movie, 0), 24u);
  EXPECT_FALSE(EditsOf(*movie, 0));
}

// Pictures that are shown later than they are decoded are shown behind the last one's decoding.
TEST(FragmentClock, ATrackLastsUntilItsLastPictureIsShown) {
  const auto movie = MovieWith({AnnouncedTrack{}}, {{1, 0, 3, 40, 80}});
  ASSERT_TRUE(movie);
  EXPECT_EQ(TrackDuration(*movie, 0), 200u);
  EXPECT_EQ(ReadTimeHeader(*movie->Child(FourCc("mvhd"))), (TimeHeader{1000, 200}));
  EXPECT_EQ(ReadTimeHeader(*TracksOf(*movie)[0]->At({FourCc("mdia"), FourCc("mdhd")})),
            (TimeHeader{1000, 120}));
}

TEST(FragmentClock, ATimeThatAllTracksWaitIsDropped) {
  AnnouncedTrack second;
  second.id = 2;
  const auto movie =
      MovieWith({AnnouncedTrack{}, second}, {{1, 5000, 2, 40, 0}, {2, 5000, 1, 80, 0}});
  ASSERT_TRUE(movie);
  EXPECT_FALSE(EditsOf(*movie, 0));
  EXPECT_FALSE(EditsOf(*movie, 1));
  EXPECT_EQ(TrackDuration(*movie, 0), 80u);
}

TEST(FragmentClock, ATrackThatBeginsLaterWaits) {
  AnnouncedTrack second;
  second.id = 2;
  const auto movie =
      MovieWith({AnnouncedTrack{}, second}, {{1, 5000, 2, 40, 0}, {2, 5025, 1, 80, 0}});
  ASSERT_TRUE(movie);
  EXPECT_FALSE(EditsOf(*movie, 0));
  EXPECT_EQ(EditsOf(*movie, 1), (Edits{{25, -1, 0x10000}, {80, 0, 0x10000}}));
  EXPECT_EQ(TrackDuration(*movie, 1), 105u);
  EXPECT_EQ(ReadTimeHeader(*movie->Child(FourCc("mvhd"))), (TimeHeader{1000, 105}));
}

TEST(FragmentClock, AWaitBetweenTicksOfTheMovieMakesItsClockFiner) {
  AnnouncedTrack second;
  second.id = 2;
  second.scale = 12800;
  const auto movie = MovieWith({AnnouncedTrack{}, second}, {{1, 0, 2, 40, 0}, {2, 356, 1, 512, 0}});
  ASSERT_TRUE(movie);
  // 356 / 12800 = 89 / 3200.
  EXPECT_EQ(ReadTimeHeader(*movie->Child(FourCc("mvhd"))), (TimeHeader{16000, 1280}));
  EXPECT_EQ(EditsOf(*movie, 1), (Edits{{445, -1, 0x10000}, {640, 0, 0x10000}}));
  EXPECT_EQ(TrackDuration(*movie, 0), 1280u);
}

TEST(FragmentClock, WhatTheListHidesStaysHidden) {
  AnnouncedTrack sound;
  sound.edits = EditList({{0, 30, 0x10000}});
  AnnouncedTrack picture;
  picture.id = 2;
  const auto movie = MovieWith({sound, picture}, {{1, 0, 3, 40, 0}, {2, 10, 2, 50, 0}});
  ASSERT_TRUE(movie);
  EXPECT_EQ(EditsOf(*movie, 0), (Edits{{90, 30, 0x10000}}));
  EXPECT_EQ(EditsOf(*movie, 1), (Edits{{10, -1, 0x10000}, {100, 0, 0x10000}}));
}

// Shown from 70, of which nothing is left to hide; the picture is decoded from 100 and shown from
// 100 on.
TEST(FragmentClock, PrimingOfAnEarlierFragmentIsNotHiddenAgain) {
  AnnouncedTrack sound;
  sound.edits = EditList({{0, 30, 0x10000}});
  AnnouncedTrack picture;
  picture.id = 2;
  picture.edits = EditList({{0, 80, 0x10000}});
  const auto movie = MovieWith({sound, picture}, {{1, 100, 3, 40, 0}, {2, 100, 3, 40, 80}});
  ASSERT_TRUE(movie);
  EXPECT_FALSE(EditsOf(*movie, 0));
  EXPECT_EQ(EditsOf(*movie, 1), (Edits{{30, -1, 0x10000}, {120, 80, 0x10000}}));
}

TEST(FragmentClock, AListBeginsWithWhatIsShownFirst) {
  AnnouncedTrack sound;
  AnnouncedTrack picture;
  picture.id = 2;
  const auto movie = MovieWith({sound, picture}, {{1, 0, 3, 40, 0}, {2, 10, 3, 40, 80}});
  ASSERT_TRUE(movie);
  EXPECT_FALSE(EditsOf(*movie, 0));
  EXPECT_EQ(EditsOf(*movie, 1), (Edits{{90, -1, 0x10000}, {120, 80, 0x10000}}));
}

TEST(FragmentClock, AListInPartsCannotBeMoved) {
  AnnouncedTrack track;
  track.edits = EditList({{20, 0, 0x10000}, {20, 60, 0x10000}});
  AnnouncedTrack other;
  other.id = 2;
  EXPECT_FALSE(MovieWith({track, other}, {{1, 10, 3, 40, 0}, {2, 0, 3, 40, 0}}));
  EXPECT_TRUE(MovieWith({track, other}, {{1, 0, 3, 40, 0}, {2, 10, 3, 40, 0}}));
}

TEST(FragmentClock, ADurationThatNoClockCountsIsRefused) {
  EXPECT_TRUE(MovieWith({AnnouncedTrack{}}, {{1, 0, 2000, 0xFFFFFFFF, 0}}, 1000));
  EXPECT_FALSE(MovieWith({AnnouncedTrack{}}, {{1, 0, 8000, 0xFFFFFFFF, 0}}, 0xFFFFFFFF));
}

TEST(FragmentClock, AMovieWhoseClockStandsStillIsRefused) {
  EXPECT_FALSE(MovieWith({AnnouncedTrack{}}, {{1, 0, 1, 40, 0}}, 0));
}

}  // namespace
}  // namespace clipchain
