#include "adapt/times/time_scales.h"

#include <gtest/gtest.h>

#include "adapt/fragment_boxes.h"
#include "foundation/fourcc.h"
#include "support/bytes.h"

namespace clipchain {
namespace {

using support::Box;
using support::FullBox;
using support::Join;
using support::U32;
using support::Zeros;

struct Numbers {
  std::uint32_t scale;
  std::uint32_t duration;  // of the media
  std::uint32_t delta;
  std::uint32_t offset;
  std::uint32_t shown;  // of the track, in ticks of the movie
  std::uint32_t start;  // of its edit
};

Bytes Track(const Numbers& numbers, std::initializer_list<Bytes> more = {}) {
  return Box(
      "trak",
      {FullBox("tkhd", 0, 7, {U32(0), U32(0), U32(1), U32(0), U32(numbers.shown), Zeros(60)}),
       Box("edts", {FullBox("elst", 0, 0,
                            {U32(2), U32(numbers.shown), U32(0xFFFFFFFF), U32(0x10000),
                             U32(numbers.shown), U32(numbers.start), U32(0x10000)})}),
       Box("mdia",
           {FullBox("mdhd", 0, 0,
                    {U32(0), U32(0), U32(numbers.scale), U32(numbers.duration), U32(0)}),
            Box("minf", {Box("stbl", {FullBox("stts", 0, 0, {U32(1), U32(10), U32(numbers.delta)}),
                                      FullBox("ctts", 1, 0, {U32(1), U32(10), U32(numbers.offset)}),
                                      Join(more)})})})});
}

Bytes Movie(std::uint32_t scale, std::uint32_t duration, const Bytes& track) {
  return Box("moov", {FullBox("mvhd", 0, 0, {U32(0), U32(0), U32(scale), U32(duration), Zeros(80)}),
                      track});
}

TEST(MovieScale, ConvertsAllThatTheMovieCounts) {
  RawBox movie = RawBoxOf(Movie(600, 601, Track({12800, 5120, 512, 1024, 599, 1024})));
  ASSERT_TRUE(ConvertMovieScale(movie, 1000));
  EXPECT_EQ(movie.Written(), Movie(1000, 1002, Track({12800, 5120, 512, 1024, 998, 1024})));
}

TEST(MovieScale, LeavesADurationThatIsNotKnown) {
  RawBox movie = RawBoxOf(Movie(600, 0xFFFFFFFF, Track({1, 2, 3, 4, 0xFFFFFFFF, 6})));
  ASSERT_TRUE(ConvertMovieScale(movie, 300));
  EXPECT_EQ(support::ReadU32(movie.Written(), 32), 0xFFFFFFFFu);
}

TEST(MovieScale, IsNotConvertedWithoutAScale) {
  RawBox movie = RawBoxOf(Movie(0, 600, Track({1, 2, 3, 4, 5, 6})));
  EXPECT_FALSE(ConvertMovieScale(movie, 1000));
  movie = RawBoxOf(Box("moov"));
  EXPECT_FALSE(ConvertMovieScale(movie, 1000));
}

TEST(MediaScale, ConvertsDurationsOffsetsAndStarts) {
  const std::uint32_t minus = 0xFFFFFFFF;
  RawBox trak = RawBoxOf(Track({30000, 10010, 1001, minus - 1001, 334, 2002}));
  ASSERT_TRUE(ConvertMediaScale(trak, 90000));
  EXPECT_EQ(trak.Written(), Track({90000, 30030, 3003, minus - 3005, 334, 6006}));
  ASSERT_TRUE(ConvertMediaScale(trak, 30000));
  EXPECT_EQ(trak.Written(), Track({30000, 10010, 1001, minus - 1001, 334, 2002}));
}

TEST(MediaScale, DropsTheBoundsOfTheOldUnits) {
  const std::uint32_t offset = 0xFFFFFFFF - 1001;
  RawBox trak =
      RawBoxOf(Track({30000, 10010, 1001, offset, 334, 2002}, {Box("cslg", {Zeros(24)})}));
  ASSERT_TRUE(ConvertMediaScale(trak, 90000));
  EXPECT_EQ(trak.Written(), Track({90000, 30030, 3003, 0xFFFFFFFF - 3005, 334, 6006}));
}

void ExpectUnchanged(const Bytes& track, std::uint32_t scale) {
  RawBox trak = RawBoxOf(track);
  EXPECT_FALSE(ConvertMediaScale(trak, scale));
  EXPECT_EQ(trak.Written(), track);
}

TEST(MediaScale, IsLeftWhereADurationOrAnOffsetWouldNotBeExact) {
  ExpectUnchanged(Track({12800, 5120, 512, 0, 400, 0}), 15360);
  ExpectUnchanged(Track({90000, 30030, 3003, 1, 334, 0}), 30000);
  ExpectUnchanged(Track({1, 10, 0x80000000, 0, 400, 0}), 2);
  ExpectUnchanged(Track({0, 10, 1, 0, 400, 0}), 2);
}

}  // namespace
}  // namespace clipchain
