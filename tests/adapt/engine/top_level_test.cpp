#include "adapt/engine/top_level.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
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

TEST(TopLevel, PassesOverZerosAtTheEndHoweverManyAreNotOnTheDisk) {
  const support::TempDir folder;
  const std::string path = folder / "clip.mp4";
  const Bytes bytes = MovieBuilder().Add(support::VideoTrack(4)).Build();
  support::WriteFile(path, bytes);
  constexpr std::uintmax_t kLarge = 1ULL << 36;
  std::filesystem::resize_file(path, kLarge);
  FitClip clip(path);
  FitReport report;
  MemoryBudget memory;
  EXPECT_TRUE(clip.Open(0, report, memory));
  std::ofstream(path, std::ios::app | std::ios::binary).put('x');
  EXPECT_FALSE(clip.Open(0, report, memory));
  ASSERT_EQ(report.problems.size(), 1u);
  EXPECT_EQ(report.problems[0].kind, FitProblemKind::kFileCutOff);
  EXPECT_EQ(report.problems[0].offset, static_cast<long long>(bytes.size()));
}

}  // namespace
}  // namespace clipchain
