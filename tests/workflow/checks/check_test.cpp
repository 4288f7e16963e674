#include "workflow/check.h"

#include "workflow/checks/check_fixture.h"

using clipchain::CheckReport;
using support::CheckTest;
using testing::ElementsAre;

namespace {

class Check : public CheckTest {};

}  // namespace

TEST_F(Check, FindsNothingWrongWithClipsThatFit) {
  const CheckReport report = CheckAll({Put("a", EvenClip(1)), Put("b", EvenClip(2))});
  EXPECT_THAT(NamesOf(report), ElementsAre());
  ASSERT_EQ(2u, report.seams.size());
  EXPECT_EQ(0, report.seams[0].milliseconds);
  EXPECT_EQ(0, report.seams[1].milliseconds);
}

TEST_F(Check, AsksBeforeEachClipWhetherToGoOn) {
  const std::vector<std::string> inputs = {Put("a", EvenClip(1)), Put("b", EvenClip(2)),
                                           (folder / "missing").string()};
  using ClipOf = std::pair<std::size_t, std::size_t>;
  std::vector<ClipOf> steps;
  clipchain::CheckOptions options;
  options.progress = [&steps](const clipchain::Step& step) {
    steps.emplace_back(step.clip, step.clips);
    return true;
  };
  EXPECT_THAT(NamesOf(clipchain::Check(inputs, options)), ElementsAre("input-unreadable"));
  EXPECT_EQ((std::vector<ClipOf>{{0, 3}, {1, 3}, {2, 3}}), steps);
}

// What is not known of clips that nobody looked at is not taken for good.
TEST_F(Check, HoldsUpAMergeIfItWasStopped) {
  const std::vector<std::string> inputs = {Put("a", EvenClip(1)), (folder / "missing").string(),
                                           Put("b", EvenClip(2))};
  clipchain::CheckOptions options;
  options.progress = [](const clipchain::Step& step) { return step.clip != 2; };
  const CheckReport report = clipchain::Check(inputs, options);
  EXPECT_TRUE(report.stopped);
  EXPECT_THAT(NamesOf(report), ElementsAre("input-unreadable", "merge-stopped"));
  EXPECT_EQ("the check was stopped before clip 3 of 3", report.findings.back().text);
  EXPECT_TRUE(report.seams.empty());
  EXPECT_EQ(0, report.outputSize);

  options.output = output;
  options.progress = [](const clipchain::Step& step) { return step.clip != 0; };
  const CheckReport atOnce = clipchain::Check(inputs, options);
  EXPECT_TRUE(clipchain::HoldsUp(atOnce.findings, true));
  EXPECT_THAT(NamesOf(atOnce), ElementsAre("merge-stopped"));
  EXPECT_EQ(output, atOnce.findings.back().path);
  EXPECT_FALSE(CheckAll({inputs[0], inputs[2]}).stopped);
}

// A set of an extension is read from behind the place that it is written to.
TEST_F(Check, FindsAMovieBoxThatCannotBeReadAgain) {
  support::MovieBuilder clip = EvenClip(1);
  clip.tracks.at(0).sampleEntry = support::AvcEntry(
      support::Hex("01640028 FFE1 0004 67640028 01 0004 68EE3CB0 FDF8F8 01 0004 0000 11223344"));
  const CheckReport report = CheckAll({Put("a", clip)});
  EXPECT_THAT(NamesOf(report), testing::Contains("movie-unreadable"));
  EXPECT_TRUE(clipchain::HoldsUp(report.findings, false));
}

TEST_F(Check, KnowsTheSizeOfTheResult) {
  const std::vector<std::string> inputs = {Put("a", EvenClip(1)), Put("b", EvenClip(2))};
  const CheckReport report = CheckAll(inputs);
  ASSERT_EQ(S_OK, Merge(inputs));
  EXPECT_EQ(static_cast<long long>(support::ReadFile(output).size()), report.outputSize);
}

TEST_F(Check, PromisesNoChaptersWhereNothingIsAdapted) {
  const std::vector<std::string> inputs = {Put("a", EvenClip(1)), Put("b", EvenClip(2))};
  clipchain::CheckOptions options = Exactly();
  options.fitting.chapters = true;
  const CheckReport report = clipchain::Check(inputs, options);
  EXPECT_THAT(NamesOf(report), ElementsAre("chapters-impossible"));
  EXPECT_TRUE(clipchain::HoldsUp(report.findings, true));
  options.fitting.exact = false;
  EXPECT_THAT(NamesOf(clipchain::Check(inputs, options)), ElementsAre());
}
