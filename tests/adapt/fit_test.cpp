#include "adapt/fit.h"
#include "adapt/boxes/tracks.h"

#include <algorithm>

#include "adapt/boxes/track_headers.h"
#include "adapt/boxes/track_tables.h"
#include "adapt/fitted_movie.h"
#include "foundation/fourcc.h"
#include "support/movie_builder.h"
#include "support/temp_dir.h"

namespace clipchain {
namespace {

using support::Bytes;
using support::MovieBuilder;
using support::operator+;

class FitTest : public testing::Test {
 protected:
  // A name for a clip of these bytes.
  std::string Put(const Bytes& bytes) {
    const std::string path = dir_ / ("clip" + std::to_string(++clips_) + ".mp4");
    support::WriteFile(path, bytes);
    return path;
  }

  static std::vector<std::string> ProblemsOf(const Fit& fit) {
    std::vector<std::string> problems;
    for (const FitProblem& problem : fit.Report().problems)
      problems.push_back(std::to_string(problem.clip + 1) + ": " + problem.text);
    return problems;
  }

  static std::vector<AdaptationKind> KindsOf(const Fit& fit) {
    std::vector<AdaptationKind> kinds;
    for (const FitNote& note : fit.Report().notes) {
      if (std::find(kinds.begin(), kinds.end(), note.kind) == kinds.end())
        kinds.push_back(note.kind);
    }
    return kinds;
  }

  support::TempDir dir_;
  int clips_ = 0;
};

using Texts = std::vector<std::string>;
using Kinds = std::vector<AdaptationKind>;

MovieBuilder Pictures() { return MovieBuilder().Add(support::VideoTrack(8)); }

Bytes WithWideBox() {
  MovieBuilder clip = Pictures();
  clip.between = support::Box("wide", {});
  return clip.Build();
}

TEST_F(FitTest, OfClipsThatFitNothingIsSaid) {
  const Fit fit({Put(Pictures().Build()), Put(Pictures().Build())}, {});
  EXPECT_FALSE(fit.IsNeeded());
  EXPECT_TRUE(fit.Report().problems.empty());
}

TEST_F(FitTest, OneClipThatNeedsItHasAllOfThemAdapted) {
  const Fit fit({Put(Pictures().Build()), Put(WithWideBox())}, {});
  EXPECT_EQ(KindsOf(fit), Kinds{AdaptationKind::kTopLevel});
  EXPECT_TRUE(fit.HasView(0) && fit.HasView(1));
  const RawBox movie = FittedMovie(fit, 2);
  EXPECT_EQ(ReadSizes(*SampleTable(*TracksOf(movie)[0])->Child(FourCc("stsz")))->count, 16u);
}

TEST_F(FitTest, ExactLeavesClipsAsTheyAre) {
  FitOptions options;
  options.exact = true;
  EXPECT_FALSE(Fit({Put(WithWideBox())}, options).IsNeeded());
}

TEST_F(FitTest, GrowsAsItsTablesDo) {
  const std::string clip = Put(Pictures().Build());
  EXPECT_EQ(Fit({clip}, {}).Growth(), 1);
  EXPECT_EQ(Fit({clip, clip, clip}, {}).Growth(), 3);
  EXPECT_EQ(Fit({clip, dir_ / "none.mp4"}, {}).Growth(), 1);
  // What is no table may be large in one clip alone.
  MovieBuilder large = Pictures();
  large.extraMovieBoxes = support::Box("udta", {Bytes(100'000)});
  EXPECT_EQ(Fit({clip, Put(large.Build())}, {}).Growth(), 2);
}

TEST_F(FitTest, WithTooLittleMemoryIsARefusal) {
  const std::vector<std::string> clips{Put(WithWideBox()), Put(WithWideBox())};
  FitOptions options;
  options.memoryLimit = 1;
  for (int tries = 0; tries < 6; ++tries) {
    const Fit fit(clips, options);
    if (fit.IsNeeded()) break;
    ASSERT_EQ(fit.Report().problems.size(), 1u);
    const FitProblem& problem = fit.Report().problems[0];
    EXPECT_EQ(problem.kind, FitProblemKind::kMemoryLimit);
    const auto number = problem.text.find_first_of("0123456789");
    const long long needed = std::stoll(problem.text.substr(number));
    EXPECT_GT(needed, options.memoryLimit);
    options.memoryLimit = needed;
  }
  EXPECT_TRUE(Fit(clips, options).IsNeeded());
}

// Many clips are opened at once, and which of them finds no memory left is chance.
TEST_F(FitTest, TheFirstClipThatLacksMemoryIsNamed) {
  const std::vector<std::string> clips(20, Put(WithWideBox()));
  FitOptions options;
  options.memoryLimit = 1;
  const auto needed = [&] {
    const std::string text = Fit(clips, options).Report().problems.at(0).text;
    return std::stoll(text.substr(text.find_first_of("0123456789")));
  };
  // What one movie takes is counted in two steps.
  options.memoryLimit = needed();
  const long long one = needed();
  for (int tries = 0; tries < 20; ++tries) {
    options.memoryLimit = one * 20 - 1;
    const Fit lacking(clips, options);
    ASSERT_EQ(lacking.Report().problems.size(), 1u);
    EXPECT_EQ(lacking.Report().problems[0].clip, 19u);
    EXPECT_EQ(needed(), one * 20);
    EXPECT_TRUE(lacking.HasView(18));
    EXPECT_FALSE(lacking.HasView(19) || lacking.IsAdapted() || lacking.IsNeeded());
    options.memoryLimit = one * 20;
    EXPECT_TRUE(Fit(clips, options).IsNeeded());
  }
}

TEST_F(FitTest, SamplesBetweenTwoMediaBoxesAreOutside) {
  // The media is cut in two in the middle of the second chunk, whose offset is right.
  MovieBuilder clip = Pictures();
  clip.movieFirst = true;
  Bytes bytes = clip.Build();
  const std::size_t media = support::FindBox(bytes, "mdat");
  const std::size_t size = bytes.size() - media;
  const std::size_t cut = media + size * 3 / 4;
  const auto end = support::Box(
      "mdat", {Bytes(bytes.begin() + static_cast<std::ptrdiff_t>(cut) + 8, bytes.end())});
  bytes.resize(cut);
  bytes = bytes + end;
  const Bytes shorter = support::U32(static_cast<std::uint32_t>(cut - media));
  std::copy(shorter.begin(), shorter.end(), bytes.begin() + static_cast<std::ptrdiff_t>(media));
  const Fit fit({Put(bytes), Put(bytes)}, {});
  ASSERT_EQ(ProblemsOf(fit).size(), 2u);
  EXPECT_EQ(fit.Report().problems[0].kind, FitProblemKind::kSamplesOutsideMedia);
  EXPECT_EQ(fit.Report().problems[0].box, "moov/trak[0]/mdia/minf/stbl/stco");
  EXPECT_EQ(ProblemsOf(fit)[0].substr(0, 45), "1: has 1 of 2 chunks, the first of them at by");
}

TEST_F(FitTest, DurationsBeyond32BitsGetHeadersThatHoldThem) {
  MovieBuilder clip = Pictures();
  clip.tracks[0].stts = {{7, 1000}, {1, 0x70000000}};
  clip.tracks[0].mediaDuration = 0x70000000 + 7000;
  const Bytes shorter = clip.Build();
  clip.tracks[0].stts = {{5, 1000}, {3, 0x50000000}};
  clip.tracks[0].mediaDuration = 0xF0000000 + 5000;
  const Fit fit({Put(clip.Build()), Put(shorter)}, {});
  EXPECT_EQ(KindsOf(fit), Kinds{AdaptationKind::kDurations});
  EXPECT_EQ(ProblemsOf(fit), Texts{});
  const RawBox movie = FittedMovie(fit, 2);
  const RawBox& header = *TracksOf(movie)[0]->At({FourCc("mdia"), FourCc("mdhd")});
  EXPECT_EQ(header.data[0], 1);
  EXPECT_EQ(ReadTimeHeader(header)->duration, 0x160000000u + 12000);
}

TEST_F(FitTest, TracksThatNotAllClipsHaveAreLeftOutWhereThatIsAskedFor) {
  MovieBuilder both = Pictures();
  both.Add(support::AudioTrack(12));
  const std::vector<std::string> clips{Put(both.Build()), Put(Pictures().Build())};
  EXPECT_TRUE(Fit(clips, {}).Report().LacksPartners());
  FitOptions options;
  options.commonTracks = true;
  const Fit fit(clips, options);
  EXPECT_EQ(KindsOf(fit), Kinds{AdaptationKind::kCommonTracks});
  EXPECT_EQ(fit.Report().leftOut, (std::set<unsigned int>{2}));
  EXPECT_EQ(TracksOf(FittedMovie(fit, 2)).size(), 1u);
}

TEST_F(FitTest, AMovieThatIsNotOfTheClipsIsNotCompleted) {
  const Fit fit({Put(WithWideBox()), Put(WithWideBox())}, {});
  EXPECT_FALSE(fit.Complete(support::Box("moov", {})).has_value());
  EXPECT_FALSE(fit.Complete(support::Box("free", {})).has_value());
}

}  // namespace
}  // namespace clipchain
