#include "workflow/rescue/sound_order.h"

#include <gtest/gtest.h>

#include "support/movie_builder.h"
#include "support/temp_dir.h"

namespace clipchain::rescue {

namespace {

// Two tracks of sound that take turns, of one frame each.
TEST(SoundOrder, KnowsWhoseTurnItIs) {
  const support::TempDir folder;
  support::MovieBuilder movie;
  for (const std::uint32_t id : {1u, 2u}) {
    support::Track sound = support::AudioTrack(10, id);
    sound.samplesPerChunk = 1;
    movie.Add(sound);
  }
  support::WriteFile(folder / "clip.mp4", movie.Build());
  Reference reference;
  ASSERT_EQ(std::nullopt, reference.Load(folder / "clip.mp4"));
  SoundOrder order;
  order.Learn(reference, {0});
  EXPECT_FALSE(order.Has(0)) << "one alone";
  order.Learn(reference, {0, 1});
  EXPECT_TRUE(order.Has(0));
  EXPECT_TRUE(order.MayEnd(0, {1, 0}));
  EXPECT_TRUE(order.MayEnd(0, {7, 6}));
  EXPECT_FALSE(order.MayEnd(0, {2, 0}));
  EXPECT_FALSE(order.MayEnd(0, {7, 7}));
  EXPECT_TRUE(order.MayEnd(1, {3, 3}));
  EXPECT_FALSE(order.MayEnd(1, {0, 1}));
}

}  // namespace

}  // namespace clipchain::rescue
