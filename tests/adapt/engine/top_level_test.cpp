#include "adapt/engine/top_level.h"

#include <gtest/gtest.h>

#include <string>

#include "support/movie_builder.h"
#include "support/temp_dir.h"

namespace clipchain {
namespace {

using support::Bytes;
using support::MovieBuilder;
using support::operator+;

TEST(TopLevel, TellsOnceOfAllBoxesOfATypeThatAreLost) {
  const support::TempDir folder;
  const std::string path = folder / "clip.mp4";
  MovieBuilder builder = MovieBuilder().Add(support::VideoTrack(4));
  const Bytes event = support::Box("emsg", {support::U32(7)});
  builder.tail = event + support::Box("uuid", {support::Zeros(20)}) + event;
  support::WriteFile(path, builder.Build());
  FitClip clip(path);
  FitReport report;
  MemoryBudget memory;
  ASSERT_TRUE(clip.Open(0, report, memory));
  AdaptTopLevel(clip, 0, report);
  ASSERT_EQ(report.problems.size(), 2u);
  EXPECT_EQ(report.problems[0].text,
            "has 2 boxes \"emsg\" of 24 bytes at its top level, which a merge leaves out");
  EXPECT_EQ(report.problems[1].box, "uuid");
}

}  // namespace
}  // namespace clipchain
