#include "workflow/plan.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/vendor_box.h"

namespace clipchain {
namespace {

using support::Id;
using testing::HasSubstr;

constexpr MP4G::_tagSequenceTimedate kDate = {2024, 5, 6, 7, 8, 9};

// A clip of 100 bytes that bears the identifier `id`.
SequenceClip ClipOf(const std::string& path, std::uint8_t id, long long size = 100) {
  SequenceClip clip{};
  clip.path = path;
  clip.id = Id(id);
  clip.date = kDate;
  clip.size = size;
  return clip;
}

SequenceReport Whole(std::vector<SequenceClip> clips) {
  SequenceReport sequence{};
  sequence.date = kDate;
  sequence.closedAtHead = true;
  sequence.closedAtTail = true;
  sequence.clips = std::move(clips);
  return sequence;
}

SequenceReport Open(bool head, bool tail, std::vector<SequenceClip> clips) {
  SequenceReport sequence = Whole(std::move(clips));
  sequence.closedAtHead = !head;
  sequence.closedAtTail = !tail;
  return sequence;
}

JoinPlan PlanOf(std::vector<SequenceReport> sequences, bool all = false, bool incomplete = false) {
  ScanReport scan;
  scan.sequences = std::move(sequences);
  return Plan(scan, {"out", all, incomplete});
}

std::vector<LeftOut> LeftOutOf(const JoinPlan& plan) {
  std::vector<LeftOut> leftOut;
  for (const Job& job : plan.jobs) leftOut.push_back(job.leftOut);
  return leftOut;
}

using Paths = std::vector<std::string>;
using States = std::vector<LeftOut>;

TEST(Plan, OfNothingIsEmpty) {
  const JoinPlan plan = PlanOf({});
  EXPECT_TRUE(plan.jobs.empty());
  EXPECT_TRUE(plan.findings.empty());
  EXPECT_FALSE(LeavesOut(plan));
}

TEST(Plan, MergesAWholeSequenceInItsOrder) {
  const JoinPlan plan = PlanOf({Whole({ClipOf("b/2.mp4", 1, 100), ClipOf("a/1.mp4", 2, 23)})});
  ASSERT_EQ(1u, plan.jobs.size());
  const Job& job = plan.jobs[0];
  EXPECT_EQ((Paths{"b/2.mp4", "a/1.mp4"}), job.inputs);
  EXPECT_EQ("out/2024-05-06_07-08-09_2.mp4", job.output);
  EXPECT_EQ(kDate, job.date);
  EXPECT_TRUE(job.closedAtHead);
  EXPECT_TRUE(job.closedAtTail);
  EXPECT_EQ(123, job.size);
  EXPECT_EQ(LeftOut::kNo, job.leftOut);
  EXPECT_TRUE(job.findings.empty());
  EXPECT_FALSE(LeavesOut(plan));
}

TEST(Plan, LeavesWholeSingleClipsAloneUnlessAllAreAskedFor) {
  const std::vector<SequenceReport> sequences = {Whole({ClipOf("1.mp4", 1)})};
  const JoinPlan plan = PlanOf(sequences);
  EXPECT_EQ((States{LeftOut::kSingle}), LeftOutOf(plan));
  EXPECT_TRUE(plan.jobs[0].findings.empty());
  EXPECT_FALSE(LeavesOut(plan));
  const JoinPlan all = PlanOf(sequences, true);
  EXPECT_EQ((States{LeftOut::kNo}), LeftOutOf(all));
  EXPECT_EQ(plan.jobs[0].output, all.jobs[0].output);
}

TEST(Plan, TellsWhichEndIsOpen) {
  const JoinPlan plan = PlanOf({Open(true, false, {ClipOf("2.mp4", 2), ClipOf("3.mp4", 3)}),
                                Open(false, true, {ClipOf("5.mp4", 5), ClipOf("6.mp4", 6)}),
                                Open(true, true, {ClipOf("8.mp4", 8), ClipOf("9.mp4", 9)})});
  EXPECT_EQ((States{LeftOut::kIncomplete, LeftOut::kIncomplete, LeftOut::kIncomplete}),
            LeftOutOf(plan));
  EXPECT_TRUE(LeavesOut(plan));
  ASSERT_EQ(1u, plan.jobs[0].findings.size());
  const Finding& head = plan.jobs[0].findings[0];
  EXPECT_EQ(Message::kSequenceIncomplete, head.message);
  EXPECT_EQ(Severity::kWarning, head.severity);
  EXPECT_EQ("2.mp4", head.path);
  EXPECT_EQ("continues a clip that is missing", head.text);
  EXPECT_THAT(head.remedy, HasSubstr("--incomplete"));
  EXPECT_FALSE(plan.jobs[0].closedAtHead);
  EXPECT_TRUE(plan.jobs[0].closedAtTail);
  ASSERT_EQ(1u, plan.jobs[1].findings.size());
  EXPECT_EQ("6.mp4", plan.jobs[1].findings[0].path);
  EXPECT_EQ("is continued by a clip that is missing", plan.jobs[1].findings[0].text);
  ASSERT_EQ(2u, plan.jobs[2].findings.size());
  EXPECT_EQ("8.mp4", plan.jobs[2].findings[0].path);
  EXPECT_EQ("9.mp4", plan.jobs[2].findings[1].path);
}

TEST(Plan, MergesIncompleteSequencesOnRequest) {
  const JoinPlan plan =
      PlanOf({Open(true, false, {ClipOf("2.mp4", 2), ClipOf("3.mp4", 3)}),
              Open(false, true, {ClipOf("5.mp4", 5)}), Whole({ClipOf("7.mp4", 7)})},
             false, true);
  EXPECT_EQ((States{LeftOut::kNo, LeftOut::kNo, LeftOut::kSingle}), LeftOutOf(plan));
  ASSERT_EQ(1u, plan.jobs[0].findings.size());
  EXPECT_EQ(Severity::kNote, plan.jobs[0].findings[0].severity);
  EXPECT_EQ("", plan.jobs[0].findings[0].remedy);
  EXPECT_FALSE(LeavesOut(plan));
}

TEST(Plan, AnOpenSingleClipIsIncompleteEvenIfAllAreAskedFor) {
  const JoinPlan plan = PlanOf({Open(false, true, {ClipOf("1.mp4", 1)})}, true);
  EXPECT_EQ((States{LeftOut::kIncomplete}), LeftOutOf(plan));
  EXPECT_TRUE(LeavesOut(plan));
}

TEST(Plan, NeverPutsClipsWithoutIdentifiersTogether) {
  const std::vector<SequenceReport> sequences = {Whole({ClipOf("1.mp4", 0)}),
                                                 Whole({ClipOf("2.mp4", 0, 101)})};
  const JoinPlan plan = PlanOf(sequences);
  EXPECT_EQ((States{LeftOut::kSingle, LeftOut::kSingle}), LeftOutOf(plan));
  EXPECT_FALSE(plan.jobs[0].identified);
  EXPECT_FALSE(LeavesOut(plan));
  EXPECT_EQ((States{LeftOut::kNo, LeftOut::kNo}), LeftOutOf(PlanOf(sequences, true)));
  const JoinPlan chained = PlanOf({Whole({ClipOf("1.mp4", 0), ClipOf("2.mp4", 2)})});
  EXPECT_EQ((States{LeftOut::kContradiction}), LeftOutOf(chained));
  EXPECT_EQ("1.mp4", chained.jobs[0].findings[0].path);
  EXPECT_TRUE(LeavesOut(chained));
}

TEST(Plan, LeavesCopiesOut) {
  const JoinPlan plan = PlanOf({Whole({ClipOf("a/1.mp4", 1), ClipOf("a/2.mp4", 2)}),
                                Whole({ClipOf("b/1.mp4", 1), ClipOf("b/2.mp4", 2)}),
                                Whole({ClipOf("b/3.mp4", 3), ClipOf("b/4.mp4", 4)})});
  EXPECT_EQ((States{LeftOut::kNo, LeftOut::kCopy, LeftOut::kNo}), LeftOutOf(plan));
  EXPECT_EQ("", plan.jobs[1].output);
  ASSERT_EQ(1u, plan.jobs[1].findings.size());
  EXPECT_EQ(Message::kClipsCopied, plan.jobs[1].findings[0].message);
  EXPECT_EQ("b/1.mp4", plan.jobs[1].findings[0].path);
  EXPECT_THAT(plan.jobs[1].findings[0].text, HasSubstr("a/1.mp4"));
  EXPECT_FALSE(LeavesOut(plan));
}

TEST(Plan, KeepsTheCompleteSequenceAndThenTheLongerOneOfTwo) {
  const JoinPlan plan =
      PlanOf({Open(false, true, {ClipOf("a/1.mp4", 1)}),
              Whole({ClipOf("b/1.mp4", 1), ClipOf("b/2.mp4", 2)}),
              Open(true, false, {ClipOf("a/2.mp4", 2)}), Open(true, true, {ClipOf("a/5.mp4", 5)}),
              Open(true, true, {ClipOf("b/4.mp4", 4), ClipOf("b/5.mp4", 5)})});
  EXPECT_EQ(
      (States{LeftOut::kCopy, LeftOut::kNo, LeftOut::kCopy, LeftOut::kCopy, LeftOut::kIncomplete}),
      LeftOutOf(plan));
  // Named by what is kept, wherever it stands.
  EXPECT_EQ("is a copy of b/1.mp4", plan.jobs[0].findings.at(0).text);
  EXPECT_EQ("is a copy of b/2.mp4", plan.jobs[2].findings.at(0).text);
}

TEST(Plan, LeavesEverySequenceOutThatHoldsOneOfTwoFilesThatClaimToBeAClip) {
  const JoinPlan plan = PlanOf({Whole({ClipOf("a/1.mp4", 1), ClipOf("a/2.mp4", 2)}),
                                Open(false, true, {ClipOf("whole.mp4", 1, 200)}),
                                Whole({ClipOf("a/3.mp4", 3), ClipOf("a/4.mp4", 4)})},
                               true, true);
  EXPECT_EQ((States{LeftOut::kContradiction, LeftOut::kContradiction, LeftOut::kNo}),
            LeftOutOf(plan));
  ASSERT_EQ(1u, plan.jobs[0].findings.size());
  const Finding& finding = plan.jobs[0].findings[0];
  EXPECT_EQ(Message::kClipsContradict, finding.message);
  // A folder that is named can't spare a file of its own, and nobody is to delete one.
  EXPECT_THAT(finding.remedy, HasSubstr("move the file"));
  EXPECT_EQ("whole.mp4", finding.path);
  EXPECT_EQ("says that it is the same clip as a/1.mp4, but has 200 bytes where that has 100",
            finding.text);
  EXPECT_TRUE(LeavesOut(plan));
}

TEST(Plan, LeavesChainsOutThatRepeatAClipOrShareSome) {
  const JoinPlan twice = PlanOf({Whole({ClipOf("a/1.mp4", 1), ClipOf("b/1.mp4", 1)})});
  EXPECT_EQ((States{LeftOut::kContradiction}), LeftOutOf(twice));
  EXPECT_EQ("b/1.mp4", twice.jobs[0].findings[0].path);
  const JoinPlan shared = PlanOf({Open(true, false, {ClipOf("b/3.mp4", 3), ClipOf("b/2.mp4", 2)}),
                                  Whole({ClipOf("a/1.mp4", 1), ClipOf("a/2.mp4", 2)})},
                                 true, true);
  EXPECT_EQ((States{LeftOut::kContradiction, LeftOut::kNo}), LeftOutOf(shared));
}

TEST(Plan, GivesEachOutputANameOfItsOwnWhateverIsLeftOut) {
  const std::vector<SequenceReport> sequences = {
      Whole({ClipOf("a/1.mp4", 1)}), Whole({ClipOf("b/1.mp4", 2), ClipOf("b/2.mp4", 3)}),
      Whole({ClipOf("c/1.mp4", 2), ClipOf("c/2.mp4", 3)}),
      Open(true, false, {ClipOf("d/1.mp4", 4)})};
  const JoinPlan some = PlanOf(sequences);
  const JoinPlan all = PlanOf(sequences, true, true);
  const Paths expected = {"out/2024-05-06_07-08-09_1.mp4", "out/2024-05-06_07-08-09_1_2.mp4", "",
                          "out/2024-05-06_07-08-09_1_incomplete.mp4"};
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(expected[i], some.jobs[i].output);
    EXPECT_EQ(expected[i], all.jobs[i].output);
  }
}

TEST(Plan, NamesASequenceWithoutADate) {
  SequenceReport sequence = Whole({ClipOf("1.mp4", 1), ClipOf("2.mp4", 2)});
  sequence.date.reset();
  EXPECT_EQ("out/unknown-date_1.mp4", PlanOf({sequence}).jobs[0].output);
}

TEST(Plan, NamesWhyASequenceIsLeftOut) {
  EXPECT_EQ("", LeftOutName(LeftOut::kNo));
  EXPECT_EQ("single", LeftOutName(LeftOut::kSingle));
  EXPECT_EQ("incomplete", LeftOutName(LeftOut::kIncomplete));
  EXPECT_EQ("copy", LeftOutName(LeftOut::kCopy));
  EXPECT_EQ("contradiction", LeftOutName(LeftOut::kContradiction));
}

}  // namespace
}  // namespace clipchain
