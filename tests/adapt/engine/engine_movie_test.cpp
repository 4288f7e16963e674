#include "adapt/engine/engine_movie.h"

#include <gtest/gtest.h>

#include "adapt/boxes/track_headers.h"
#include "adapt/boxes/tracks.h"
#include "adapt/made_clips.h"
#include "foundation/fourcc.h"
#include "support/movie_builder.h"

namespace clipchain {
namespace {

using support::Bytes;
using support::MovieBuilder;

TEST(EngineMovie, StandsForATrackAndIsUndoneAgain) {
  MovieBuilder clip = MovieBuilder().Add(support::VideoTrack(4, 7));
  clip.tracks[0].sampleEntry =
      support::Box("hvc1", {support::Zeros(78), support::Box("hvcC", {support::Zeros(23)})});
  clip.tracks[0].extraTableBoxes = support::Box("zzzz", {support::U32(1)});
  const RawBox movie = MovieOf(clip);
  RawBox shown = EngineMovie(movie, movie, nullptr);
  EXPECT_EQ(IdsOf(shown), Ids{7});
  EXPECT_LT(shown.Size(), movie.Size());
  const auto merged = MergedMovie(movie, shown);
  ASSERT_TRUE(merged.has_value());
  Bytes before;
  Bytes after;
  movie.Write(before);
  merged->Write(after);
  EXPECT_EQ(before, after);
  shown.children.pop_back();
  EXPECT_FALSE(MergedMovie(movie, shown).has_value()) << "another number of tracks";
}

TEST(EngineMovie, FlagsThatNoTableHasAreNotShown) {
  MovieBuilder clip = MovieBuilder().Add(support::VideoTrack(4));
  RawBox movie = MovieOf(clip);
  RawBox& times = *SampleTable(*TracksOf(movie)[0])->Child(FourCc("stts"));
  times.data[2] = 9;
  RawBox shown = EngineMovie(movie, movie, nullptr);
  EXPECT_EQ(SampleTable(*TracksOf(shown)[0])->Child(FourCc("stts"))->data[2], 0);
}

}  // namespace
}  // namespace clipchain
