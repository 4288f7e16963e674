#include "workflow/joining/join_run.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <map>
#include <new>
#include <string>
#include <vector>

#include "support/movie_builder.h"
#include "support/movie_oracle.h"
#include "support/result_matchers.h"
#include "support/temp_dir.h"

namespace clipchain {
namespace {

namespace fs = std::filesystem;
using support::Bytes;
using testing::ElementsAre;
using testing::HasSubstr;
using Paths = std::vector<std::string>;
using Phase = Step::Phase;

class JoiningSequences : public testing::Test {
 protected:
  std::string At(const std::string& name) const { return (folder / name).string(); }
  std::string Put(const std::string& name, const Bytes& bytes) const {
    support::WriteFile(folder / name, bytes);
    return At(name);
  }
  // A job of two small clips that are there.
  void Add(const std::string& output, LeftOut leftOut = LeftOut::kNo) {
    Job job;
    for (const std::size_t i : {0u, 1u}) {
      const std::string name = std::to_string(2 * plan.jobs.size() + i) + ".mp4";
      job.inputs.push_back(
          Put(name, support::Clip(16, static_cast<unsigned char>(++seed)).Build()));
      job.size += static_cast<long long>(fs::file_size(job.inputs.back()));
    }
    job.output = At(output);
    job.leftOut = leftOut;
    plan.jobs.push_back(job);
  }
  // Merges do what `outcome` says of the output, by its name, or succeed.
  void Script(std::map<std::string, bool> outcome = {}) {
    work.merge = [this, outcome](const Paths&, const SafeMergeOptions& merge) {
      const std::string name = fs::path(merge.check.output).filename();
      merged.push_back(name);
      SafeMergeReport result;
      const auto entry = outcome.find(name);
      result.done = entry == outcome.end() || entry->second;
      result.size = result.done ? 17 : 0;
      result.findings.push_back(MakeFinding(Message::kInputRefused, name, "said by the merge"));
      return result;
    };
  }
  std::vector<Outcome> Outcomes() {
    report = RunJobs(plan, options, work);
    std::vector<Outcome> outcomes;
    for (const JobReport& job : report.jobs) outcomes.push_back(job.outcome);
    return outcomes;
  }

  support::TempDir folder;
  JoinPlan plan;
  JoinOptions options;
  JobWork work;
  JoinReport report;
  Paths merged;
  unsigned int seed = 0;
};

TEST_F(JoiningSequences, DoesNothingWithoutAny) {
  EXPECT_THAT(Outcomes(), ElementsAre());
  EXPECT_FALSE(report.stopped);
}

TEST_F(JoiningSequences, MergesThoseThatAreNotLeftOut) {
  Add("a");
  Add("b", LeftOut::kSingle);
  Add("c");
  plan.jobs[1].findings.push_back(MakeFinding(Message::kClipUnidentified, "b", "said by the plan"));
  plan.jobs[2].findings.push_back(MakeFinding(Message::kClipUnidentified, "c", "said by the plan"));
  Script();
  EXPECT_THAT(Outcomes(), ElementsAre(Outcome::kMerged, Outcome::kLeftOut, Outcome::kMerged));
  EXPECT_THAT(merged, ElementsAre("a", "c"));
  EXPECT_EQ(17, report.jobs[0].size);
  EXPECT_GE(report.jobs[0].seconds, 0);
  ASSERT_EQ(1u, report.jobs[1].findings.size());
  EXPECT_EQ("said by the plan", report.jobs[1].findings[0].text);
  ASSERT_EQ(2u, report.jobs[2].findings.size());
  EXPECT_EQ("said by the plan", report.jobs[2].findings[0].text);
  EXPECT_EQ("said by the merge", report.jobs[2].findings[1].text);
}

// Another run that joins the same was first.
TEST_F(JoiningSequences, LooksAgainWhereTheResultCameIntoBeingMeanwhile) {
  Add("a");
  for (const bool isRight : {true, false}) {
    fs::remove(At("a"));
    work.merge = [this](const Paths&, const SafeMergeOptions&) {
      Put("a", Bytes(17));
      SafeMergeReport result;
      result.findings = {MakeFinding(Message::kTrackDrift, "a", "said by the check"),
                         MakeFinding(Message::kOutputExists, "a", "exists already")};
      return result;
    };
    work.verify = [isRight](const Job&, const Progress&) {
      return isRight ? Findings{} : Findings{MakeFinding(Message::kResultDamaged, "a", "differs")};
    };
    EXPECT_THAT(Outcomes(), ElementsAre(isRight ? Outcome::kAlready : Outcome::kFailed));
    EXPECT_EQ(17, report.jobs[0].size);
    EXPECT_EQ(isRight ? 1u : 3u, report.jobs[0].findings.size());
    EXPECT_EQ("said by the check", report.jobs[0].findings.at(0).text);
  }
}

TEST_F(JoiningSequences, GoesOnBehindAFailure) {
  Add("a");
  Add("b");
  Add("c");
  Script({{"b", false}});
  EXPECT_THAT(Outcomes(), ElementsAre(Outcome::kMerged, Outcome::kFailed, Outcome::kMerged));
  EXPECT_EQ("said by the merge", report.jobs[1].findings.at(0).text);
}

TEST_F(JoiningSequences, GoesOnWhereMemoryWasTooSmallForOne) {
  Add("a");
  Add("b");
  Script();
  const auto merge = work.merge;
  work.merge = [merge](const Paths& inputs, const SafeMergeOptions& job) {
    if (fs::path(job.check.output).filename() == "a") throw std::bad_alloc();
    return merge(inputs, job);
  };
  EXPECT_THAT(Outcomes(), ElementsAre(Outcome::kFailed, Outcome::kMerged));
  EXPECT_EQ(Message::kOutOfMemory, report.jobs[0].findings.at(0).message);
}

TEST_F(JoiningSequences, HandsItsOptionsToTheMerge) {
  Add("a");
  options.merge.force = true;
  options.merge.verification = Verification::kFull;
  options.merge.check.memoryLimit = 12345;
  options.merge.removeLeftover = [](const Leftover& leftover) { return leftover.size == 7; };
  SafeMergeOptions seen;
  work.merge = [&seen](const Paths&, const SafeMergeOptions& merge) {
    seen = merge;
    SafeMergeReport result;
    result.result = E_BAD_DATA;
    return result;
  };
  EXPECT_THAT(Outcomes(), ElementsAre(Outcome::kFailed));
  EXPECT_EQ(At("a"), seen.check.output);
  EXPECT_FALSE(seen.check.overwrite);
  EXPECT_TRUE(seen.force);
  EXPECT_EQ(Verification::kFull, seen.verification);
  EXPECT_EQ(12345, seen.check.memoryLimit);
  EXPECT_TRUE(seen.removeLeftover({"", 7}));
  EXPECT_FALSE(seen.removeLeftover({"", 8}));
  EXPECT_RESULT(E_BAD_DATA, report.jobs[0].result);
}

TEST_F(JoiningSequences, CountsTheBytesOfAllJobs) {
  Add("a");
  Add("b", LeftOut::kSingle);
  Add("c");
  work.merge = [](const Paths&, const SafeMergeOptions& merge) {
    for (const Phase phase :
         {Phase::kChecking, Phase::kCopying, Phase::kVerifying, Phase::kFlushing})
      EXPECT_TRUE(merge.check.progress({phase, 1, 10, 20}));
    return SafeMergeReport{};
  };
  std::vector<Step> steps;
  options.merge.check.progress = [&steps](const Step& step) {
    steps.push_back(step);
    return true;
  };
  static_cast<void>(Outcomes());
  const long long first = plan.jobs[0].size;
  const long long total = first + plan.jobs[2].size;
  const long long expected[] = {0, 0, 10, first, first, first, first, first + 10, total, total};
  ASSERT_EQ(std::size(expected), steps.size());
  for (std::size_t i = 0; i < steps.size(); ++i) {
    EXPECT_EQ(expected[i], steps[i].current) << i;
    EXPECT_EQ(total, steps[i].total) << i;
    EXPECT_EQ(i < 5 ? 1u : 2u, steps[i].job);
    EXPECT_EQ(2u, steps[i].jobs);
  }
  EXPECT_EQ(Phase::kChecking, steps[0].phase);
  EXPECT_EQ(Phase::kCopying, steps[2].phase);
  EXPECT_EQ(1u, steps[2].clip);

  steps.clear();
  options.merge.verification = Verification::kFull;
  static_cast<void>(Outcomes());
  const long long full[] = {0, 0, 10, first + 10, first + 10};
  for (std::size_t i = 0; i < std::size(full); ++i) EXPECT_EQ(full[i], steps[i].current) << i;
  EXPECT_EQ(2 * total, steps[0].total);
}

TEST_F(JoiningSequences, StopsWhenItIsTold) {
  Add("a");
  Add("b");
  Add("c", LeftOut::kSingle);
  Add("d");
  work.merge = [this](const Paths&, const SafeMergeOptions& merge) {
    merged.push_back(fs::path(merge.check.output).filename());
    SafeMergeReport result;
    result.done = merge.check.progress({Phase::kCopying, 0, 10, 20});
    return result;
  };
  options.merge.check.progress = [](const Step& step) {
    return step.job < 2 || step.phase != Phase::kCopying;
  };
  EXPECT_THAT(Outcomes(),
              ElementsAre(Outcome::kMerged, Outcome::kFailed, Outcome::kLeftOut, Outcome::kNotRun));
  EXPECT_THAT(merged, ElementsAre("a", "b"));
  EXPECT_TRUE(report.stopped);
}

TEST_F(JoiningSequences, CreatesTheLastFolderAlone) {
  Add("new/a");
  Add("absent/folder/b");
  Add("0.mp4/c");
  EXPECT_THAT(Outcomes(), ElementsAre(Outcome::kMerged, Outcome::kFailed, Outcome::kFailed));
  EXPECT_TRUE(fs::exists(At("new/a")));
  EXPECT_FALSE(fs::exists(At("absent")));
  const Finding& absent = report.jobs[1].findings.at(0);
  EXPECT_EQ(Message::kFolderUnusable, absent.message);
  EXPECT_EQ(At("absent/folder"), absent.path);
  EXPECT_EQ("can't be created: No such file or directory", absent.text);
  EXPECT_EQ("create the folder that it lies in first", absent.remedy);
  const Finding& file = report.jobs[2].findings.at(0);
  EXPECT_EQ(At("0.mp4"), file.path);
  EXPECT_EQ("is no folder", file.text);
}

TEST_F(JoiningSequences, SaysWhatToDoAboutAFolderThatCannotBe) {
  const auto remedy = [](const std::string& path) {
    const std::optional<Finding> fault = MakeFolder(path);
    return fault ? fault->remedy : "";
  };
  EXPECT_EQ("", remedy(At("new")));
  EXPECT_EQ("", remedy(At("new")));
  EXPECT_EQ("choose a shorter name", remedy(At(std::string(256, 'a'))));
  EXPECT_EQ("choose another name", remedy(Put("file", {})));
  EXPECT_EQ("choose another folder", remedy(At("file/new")));
}

TEST_F(JoiningSequences, MergesForGood) {
  Add("out.mp4");
  EXPECT_THAT(Outcomes(), ElementsAre(Outcome::kMerged));
  const support::OracleMovie movie = support::ReadMovie(support::ReadFile(folder / "out.mp4"));
  std::vector<support::OracleSample> samples;
  for (const std::string& input : plan.jobs[0].inputs) {
    const auto track = support::ReadMovie(support::ReadFile(input)).tracks[0];
    samples.insert(samples.end(), track.samples.begin(), track.samples.end());
  }
  EXPECT_EQ(samples, movie.tracks[0].samples);
  EXPECT_EQ(static_cast<long long>(fs::file_size(folder / "out.mp4")), report.jobs[0].size);
}

TEST_F(JoiningSequences, PassesOverWhatIsDone) {
  Add("out.mp4");
  ASSERT_THAT(Outcomes(), ElementsAre(Outcome::kMerged));
  const auto written = fs::last_write_time(folder / "out.mp4");
  Script();
  for (const Verification verification : {Verification::kSeams, Verification::kFull}) {
    options.merge.verification = verification;
    EXPECT_THAT(Outcomes(), ElementsAre(Outcome::kAlready));
    EXPECT_TRUE(report.jobs[0].findings.empty());
    EXPECT_EQ(static_cast<long long>(fs::file_size(folder / "out.mp4")), report.jobs[0].size);
  }
  EXPECT_THAT(merged, ElementsAre());
  EXPECT_EQ(written, fs::last_write_time(folder / "out.mp4"));
}

TEST_F(JoiningSequences, NeverReplacesAnotherFile) {
  Add("out.mp4");
  Add("next.mp4");
  ASSERT_THAT(Outcomes(), ElementsAre(Outcome::kMerged, Outcome::kMerged));
  Bytes damaged = support::ReadFile(folder / "out.mp4");
  damaged.resize(damaged.size() - 1);
  Put("out.mp4", damaged);
  EXPECT_THAT(Outcomes(), ElementsAre(Outcome::kFailed, Outcome::kAlready));
  ASSERT_LE(2u, report.jobs[0].findings.size());
  const Finding& finding = report.jobs[0].findings[0];
  EXPECT_EQ(Message::kOutputDiffers, finding.message);
  EXPECT_EQ(At("out.mp4"), finding.path);
  EXPECT_THAT(finding.text, HasSubstr("it stays as it is"));
  EXPECT_EQ(damaged, support::ReadFile(folder / "out.mp4"));
}

TEST_F(JoiningSequences, FindsAnyByteOfAResultThatChanged) {
  Add("out.mp4");
  ASSERT_THAT(Outcomes(), ElementsAre(Outcome::kMerged));
  const Bytes result = support::ReadFile(folder / "out.mp4");
  for (std::size_t at = 0; at < result.size(); at += 41) {
    Bytes damaged = result;
    damaged[at] ^= 1;
    Put("out.mp4", damaged);
    EXPECT_THAT(Outcomes(), ElementsAre(Outcome::kFailed)) << at;
    EXPECT_EQ(damaged, support::ReadFile(folder / "out.mp4"));
  }
}

// The same tables and the same bytes where clips meet.
TEST_F(JoiningSequences, TakesTheResultOfAnotherRecordingForAnotherFile) {
  Add("out.mp4");
  ASSERT_THAT(Outcomes(), ElementsAre(Outcome::kMerged));
  Bytes clip = support::ReadFile(plan.jobs[0].inputs[0]);
  clip[support::FindBox(clip, "mdat") + 8 +
       support::ReadU32(clip, support::FindBox(clip, "mdat")) / 2] ^= 1;
  support::WriteFile(plan.jobs[0].inputs[0], clip);
  EXPECT_THAT(Outcomes(), ElementsAre(Outcome::kFailed));
  EXPECT_EQ(Message::kOutputDiffers, report.jobs[0].findings.at(0).message);
}

// A clip of samples of one size in front of one with a table of sizes.
TEST_F(JoiningSequences, PassesOverWhatItWasForcedToMake) {
  options.merge.check.fitting.exact = true;
  Add("out.mp4");
  support::Track track = support::AudioTrack(20, 1);
  Put("1.mp4", support::MovieBuilder().Add(track).Build());
  track.uniformSize = 16;
  track.sampleSizes.assign(20, 16);
  Put("0.mp4", support::MovieBuilder().Add(track).Build());
  EXPECT_THAT(Outcomes(), ElementsAre(Outcome::kFailed));
  options.merge.force = true;
  EXPECT_THAT(Outcomes(), ElementsAre(Outcome::kMerged));
  EXPECT_THAT(Outcomes(), ElementsAre(Outcome::kAlready));
  EXPECT_EQ(Message::kResultDiffers, report.jobs[0].findings.at(0).message);
  options.merge.force = false;
  EXPECT_THAT(Outcomes(), ElementsAre(Outcome::kFailed));
}

TEST_F(JoiningSequences, LooksForLeftoversOfWhatIsDone) {
  Add("out.mp4");
  ASSERT_THAT(Outcomes(), ElementsAre(Outcome::kMerged));
  const std::string leftover = Put(".out.mp4.clipchain-4711-0123456789abcdef.part", Bytes(3));
  EXPECT_THAT(Outcomes(), ElementsAre(Outcome::kAlready));
  ASSERT_EQ(1u, report.jobs[0].findings.size());
  EXPECT_EQ(Message::kLeftover, report.jobs[0].findings[0].message);
  EXPECT_EQ(leftover, report.jobs[0].findings[0].path);
  options.merge.removeLeftover = [](const Leftover&) { return true; };
  EXPECT_THAT(Outcomes(), ElementsAre(Outcome::kAlready));
  EXPECT_EQ(Message::kLeftoverRemoved, report.jobs[0].findings.at(0).message);
  EXPECT_FALSE(fs::exists(leftover));
}

TEST_F(JoiningSequences, CountsWhatIsThereByTheBytesThatItCompares) {
  Add("there");
  Add("failed");
  Add("new");
  Put("there", {});
  work.verify = [&](const Job& job, const Progress& progress) {
    EXPECT_TRUE(progress({Phase::kVerifying, 0, job.size / 2, job.size}));
    return Findings{};
  };
  Script({{"failed", false}});
  const auto merge = work.merge;
  work.merge = [merge](const Paths& inputs, const SafeMergeOptions& job) {
    EXPECT_TRUE(job.check.progress({Phase::kCopying, 0, 10, 20}));
    return merge(inputs, job);
  };
  for (const Verification verification : {Verification::kSeams, Verification::kFull}) {
    options.merge.verification = verification;
    std::vector<std::pair<long long, long long>> steps;
    options.merge.check.progress = [&steps](const Step& step) {
      steps.emplace_back(step.current, step.total);
      return true;
    };
    EXPECT_THAT(Outcomes(), ElementsAre(Outcome::kAlready, Outcome::kFailed, Outcome::kMerged));
    const long long there = plan.jobs[0].size;
    const long long each = verification == Verification::kFull ? 2 : 1;
    const long long last = each * plan.jobs[2].size;
    const long long all = there + each * plan.jobs[1].size + last;
    // Of the job that failed only what it did is work.
    const long long rest = there + 10 + last;
    EXPECT_THAT(steps,
                ElementsAre(testing::Pair(0, all), testing::Pair(there / 2, all),
                            testing::Pair(there, all), testing::Pair(there + 10, all),
                            testing::Pair(there + 10, rest), testing::Pair(there + 20, rest)));
  }
}

TEST_F(JoiningSequences, TakesTheResultOfFewerClipsForAnotherFile) {
  Add("out.mp4");
  const std::string second = plan.jobs[0].inputs[1];
  plan.jobs[0].inputs.pop_back();
  ASSERT_THAT(Outcomes(), ElementsAre(Outcome::kMerged));
  plan.jobs[0].inputs.push_back(second);
  EXPECT_THAT(Outcomes(), ElementsAre(Outcome::kFailed));
}

TEST_F(JoiningSequences, NeitherWaitsForAPipeNorFollowsALinkToNowhere) {
  Add("pipe");
  Add("link");
  Add("folder");
  ASSERT_EQ(0, ::mkfifo(At("pipe").c_str(), 0600));
  fs::create_symlink("nowhere", At("link"));
  fs::create_directory(At("folder"));
  EXPECT_THAT(Outcomes(), ElementsAre(Outcome::kFailed, Outcome::kFailed, Outcome::kFailed));
  EXPECT_EQ("is no regular file", report.jobs[0].findings.at(1).text);
  EXPECT_THAT(report.jobs[1].findings.at(1).text, HasSubstr("can't be read: No such file"));
  EXPECT_EQ("is no regular file", report.jobs[2].findings.at(1).text);
  EXPECT_FALSE(fs::exists(At("nowhere")));
}

TEST_F(JoiningSequences, DoesNotTakeAClipForItsOwnResult) {
  Add("0.mp4");
  plan.jobs[0].inputs.pop_back();
  EXPECT_THAT(Outcomes(), ElementsAre(Outcome::kFailed));
  EXPECT_EQ(Message::kOutputIsInput, report.jobs[0].findings.at(0).message);
}

TEST_F(JoiningSequences, StopsInAVerification) {
  Add("there");
  Add("b");
  Put("there", {});
  work.verify = [](const Job&, const Progress& progress) {
    EXPECT_FALSE(progress({Phase::kVerifying, 0, 1, 2}));
    return Findings{};
  };
  options.merge.check.progress = [](const Step& step) { return step.phase != Phase::kVerifying; };
  EXPECT_THAT(Outcomes(), ElementsAre(Outcome::kNotRun, Outcome::kNotRun));
  EXPECT_TRUE(report.stopped);
}

TEST(JoinOutcome, HasAName) {
  EXPECT_EQ("merged", OutcomeName(Outcome::kMerged));
  EXPECT_EQ("already there", OutcomeName(Outcome::kAlready));
  EXPECT_EQ("failed", OutcomeName(Outcome::kFailed));
  EXPECT_EQ("left out", OutcomeName(Outcome::kLeftOut));
  EXPECT_EQ("not run", OutcomeName(Outcome::kNotRun));
}

}  // namespace
}  // namespace clipchain
