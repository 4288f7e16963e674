#include "adapt/tables/torn_boxes.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "adapt/boxes/tracks.h"
#include "adapt/fragment_boxes.h"
#include "adapt/made_clips.h"
#include "support/movie_builder.h"

namespace clipchain {
namespace {

using support::Bytes;
using support::MovieBuilder;
using support::operator+;

// Problems of a movie whose box of that type was made longer by one byte.
std::vector<FitProblem> ProblemsOfLonger(const char* type) {
  MovieBuilder builder = MovieBuilder().Add(support::VideoTrack(4));
  builder.tracks[0].edits = {{4, 0}};
  Bytes movie;
  MovieOf(builder).Write(movie);
  const std::size_t at = support::FindBox(movie, type);
  FitClip clip("clip.mp4");
  clip.movie = RawBoxOf(support::WithU32(movie, at, support::ReadU32(movie, at) + 1));
  FitReport report;
  RefuseTornBoxes(clip, 0, report);
  return report.problems;
}

TEST(TornBoxes, AreRefusedWithTheirPlace) {
  for (const auto& [type, place] : {std::pair("elst", "moov/trak[0]/edts"),
                                    {"stbl", "moov/trak[0]/mdia/minf"},
                                    {"minf", "moov/trak[0]/mdia"}}) {
    const std::vector<FitProblem> problems = ProblemsOfLonger(type);
    ASSERT_FALSE(problems.empty()) << type;
    EXPECT_EQ(problems[0].kind, FitProblemKind::kBoxDamaged);
    EXPECT_EQ(problems[0].box, place);
    EXPECT_NE(problems[0].text.find(std::string("a box \"") + type), std::string::npos);
  }
}

TEST(TornBoxes, ZerosAtTheEndAreRoom) {
  FitClip clip = ClipOf(MovieBuilder().Add(support::VideoTrack(4)));
  TracksOf(clip.movie)[0]->data = Bytes(4);
  FitReport report;
  RefuseTornBoxes(clip, 0, report);
  EXPECT_TRUE(report.problems.empty());
  TracksOf(clip.movie)[0]->data = Bytes{0, 0, 1};
  RefuseTornBoxes(clip, 0, report);
  ASSERT_EQ(report.problems.size(), 1u);
  EXPECT_NE(report.problems[0].text.find("no box"), std::string::npos);
}

}  // namespace
}  // namespace clipchain
