#include "workflow/check.h"

#include <random>

#include "workflow/check_fixture.h"

using clipchain::CheckReport;
using clipchain::Finding;
using clipchain::Message;
using clipchain::Severity;
using support::Bytes;
using support::CheckTest;
using support::Clip;
using support::MovieBuilder;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

class Check : public CheckTest {};

// Frames of 20 ms, so that picture and sound of a clip are equally long.
MovieBuilder EvenClip(unsigned char seed = 1) {
  MovieBuilder clip = Clip(48, seed);
  clip.tracks[1] = support::AudioTrack(75);
  clip.tracks[1].mediaSeed = seed;
  return clip;
}

}  // namespace

TEST_F(Check, FindsNothingWrongWithClipsThatFit) {
  const CheckReport report = CheckAll({Put("a", EvenClip(1)), Put("b", EvenClip(2))});
  EXPECT_THAT(NamesOf(report), ElementsAre());
  ASSERT_EQ(2u, report.seams.size());
  EXPECT_EQ(0, report.seams[0].milliseconds);
  EXPECT_EQ(0, report.seams[1].milliseconds);
}

TEST_F(Check, KnowsTheSizeOfTheResult) {
  const std::vector<std::string> inputs = {Put("a", EvenClip(1)), Put("b", EvenClip(2))};
  const CheckReport report = CheckAll(inputs);
  ASSERT_EQ(S_OK, Merge(inputs));
  EXPECT_EQ(static_cast<long long>(support::ReadFile(output).size()), report.outputSize);
}
