#include "workflow/rescue/times.h"

#include <gtest/gtest.h>

namespace clipchain::rescue {

namespace {

Pictures WithOrders(const std::vector<std::int32_t>& orders) {
  Pictures pictures;
  for (const std::int32_t order : orders) {
    pictures.emplace_back();
    pictures.back().order = order;
  }
  return pictures;
}

std::vector<std::int64_t> OffsetsOf(const TrackTimes& made) {
  std::vector<std::int64_t> offsets;
  for (const OffsetRun& run : made.offsets) {
    for (std::uint64_t i = 0; i < run.count; ++i) offsets.push_back(run.offset);
  }
  return offsets;
}

// The reference may be of a quiet scene, of which no picture is shown out of turn.
TEST(RescueTimes, ShowsPicturesOutOfTurnThoughNoneOfTheReferenceIs) {
  ReferenceTrack track;
  track.times = {{4, 100}};
  track.offsets = {{4, 200}};
  TrackHarvest found;
  found.samples = 4;
  found.pictures = WithOrders({0, 6, 2, 4});
  const TrackTimes made = MakeTimes(track, WithOrders({0, 2, 4, 6}), found);
  EXPECT_FALSE(made.offsetsEstimated);
  EXPECT_EQ((std::vector<std::int64_t>{200, 400, 100, 100}), OffsetsOf(made));
}

// A chapter may begin with a picture that is shown behind two that follow it.
TEST(RescueTimes, LeavesRoomForPicturesThatLeadTheFirstOne) {
  ReferenceTrack track;
  track.times = {{4, 100}};
  track.offsets = {{1, 100}, {1, 200}, {1, 0}, {1, 100}};
  TrackHarvest found;
  found.samples = 4;
  found.pictures = WithOrders({10, 6, 8, 12});
  const TrackTimes made = MakeTimes(track, WithOrders({0, 4, 2, 6}), found);
  EXPECT_EQ((std::vector<std::int64_t>{300, 0, 0, 100}), OffsetsOf(made));
}

// Which of two kinds of pictures playing may start at a reference with one such picture leaves
// open.
TEST(RescueTimes, StartsPlayingWhereverItCan) {
  ReferenceTrack track;
  track.times = {{2, 100}};
  track.hasSyncTable = true;
  track.syncSamples = {1};
  Pictures seen(2);
  seen[0].idr = seen[0].randomAccess = true;
  TrackHarvest found;
  found.samples = 3;
  found.pictures.resize(3);
  found.pictures[0].randomAccess = found.pictures[2].randomAccess = true;
  const TrackTimes made = MakeTimes(track, seen, found);
  EXPECT_FALSE(made.syncEstimated);
  EXPECT_EQ((std::vector<std::uint32_t>{1, 3}), made.syncSamples);
}

}  // namespace

}  // namespace clipchain::rescue
