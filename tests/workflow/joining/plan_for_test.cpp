// Plans from files and folders.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/movie_builder.h"
#include "support/result_matchers.h"
#include "support/sequences.h"
#include "support/temp_dir.h"
#include "workflow/plan.h"

namespace clipchain {
namespace {

namespace fs = std::filesystem;
using support::ChainLink;
using testing::HasSubstr;

using Paths = std::vector<std::string>;

class PlanForPaths : public testing::Test {
 protected:
  std::string Put(const std::string& name, const support::Bytes& bytes) {
    fs::create_directories((folder / name).parent_path());
    support::WriteFile(folder / name, bytes);
    return At(name);
  }
  // Clip `number` of a recording of `length`, of which all clips have one date.
  std::string PutLink(const std::string& name, unsigned int number, unsigned int length,
                      unsigned int base = 0) {
    return Put(name, support::TinyClip(ChainLink(number, length, base), 60));
  }
  std::string At(const std::string& name) const { return (folder / name).string(); }
  JoinPlan From(const Paths& operands, bool all = false) const {
    return PlanFor(operands, {At("card/joined"), all, false});
  }
  static std::vector<Paths> InputsOf(const JoinPlan& plan) {
    std::vector<Paths> inputs;
    for (const Job& job : plan.jobs) inputs.push_back(job.inputs);
    return inputs;
  }

  support::TempDir folder;
  const std::string date = "1904-01-01_00-01-00_";
};

TEST_F(PlanForPaths, NamesNoDateThatWasNeverSet) {
  Put("card/1.mp4", support::TinyClip(ChainLink(1, 2), 0));
  Put("card/2.mp4", support::TinyClip(ChainLink(2, 2), 0));
  const JoinPlan plan = From({At("card")});
  ASSERT_EQ(1u, plan.jobs.size());
  EXPECT_EQ(std::nullopt, plan.jobs[0].date);
  EXPECT_EQ(At("card/joined/unknown-date_1.mp4"), plan.jobs[0].output);
}

TEST_F(PlanForPaths, StopsWhenItIsToldTo) {
  const std::string result = PutLink("card/" + date + "1.mp4", 1, 2);
  PutLink("card/1.mp4", 1, 2);
  PutLink("card/2.mp4", 2, 2);
  // An earlier result among the clips makes them be read a second time.
  std::size_t asked = 0;
  std::size_t last = 100;
  clipchain::PlanOptions options;
  options.folder = At("joined");
  options.progress = [&](const clipchain::Step&) { return asked++ != last; };
  EXPECT_EQ(1u, PlanFor({At("card")}, options).jobs.size());
  // Twice for each of three files in the folder, while it is searched.
  EXPECT_EQ(11u, asked);
  for (last = 0; last < 11; ++last) {
    asked = 0;
    const JoinPlan plan = PlanFor({At("card")}, options);
    EXPECT_TRUE(plan.stopped) << last;
    EXPECT_TRUE(plan.jobs.empty()) << last;
    EXPECT_EQ(last + 1, asked);
  }
  EXPECT_FALSE(From({At("card")}).stopped);
}

TEST_F(PlanForPaths, FindsASequenceOverSeveralFolders) {
  const std::string second = PutLink("card/2.mp4", 2, 2);
  const std::string first = PutLink("other/1.mp4", 1, 2);
  const JoinPlan plan = From({At("card"), At("other")});
  EXPECT_EQ((std::vector<Paths>{{first, second}}), InputsOf(plan));
  EXPECT_EQ(At("card/joined/" + date + "1.mp4"), plan.jobs[0].output);
  EXPECT_TRUE(plan.findings.empty());
  EXPECT_FALSE(fs::exists(At("card/joined")));
}

TEST_F(PlanForPaths, TellsWhatCannotBeRead) {
  PutLink("card/1.mp4", 1, 1);
  const std::string notes = Put("card/notes.mp4", support::Text("These are notes about a clip.\n"));
  const JoinPlan plan = From({At("card"), "/dev/null"});
  ASSERT_EQ(2u, plan.findings.size());
  EXPECT_EQ(Message::kInputUnreadable, plan.findings[0].message);
  EXPECT_EQ("/dev/null", plan.findings[0].path);
  EXPECT_EQ("is no regular file", plan.findings[0].text);
  EXPECT_OK(plan.findings[0].result);
  EXPECT_EQ(notes, plan.findings[1].path);
  EXPECT_THAT(plan.findings[1].text, HasSubstr("is no MP4 clip"));
  EXPECT_RESULT(E_BAD_TYPE, plan.findings[1].result);
  EXPECT_EQ("check the name and the permissions", plan.findings[0].remedy);
  EXPECT_EQ(Message::kTopLevelBoxUnknown, plan.findings[1].message);
  EXPECT_THAT(plan.findings[1].remedy, HasSubstr("rewrap it"));
  EXPECT_TRUE(LeavesOut(plan));
  EXPECT_EQ(1u, plan.jobs.size());
}

TEST_F(PlanForPaths, CountsAFileOnceHoweverItIsReached) {
  const std::string first = PutLink("card/1.mp4", 1, 2);
  const std::string second = PutLink("card/DCIM/2.mp4", 2, 2);
  fs::create_symlink(first, At("card/3.mp4"));
  ASSERT_EQ(0, ::link(second.c_str(), At("4.mp4").c_str()));
  const JoinPlan plan = From({At("card"), At("card/DCIM"), At("4.mp4")});
  EXPECT_EQ((std::vector<Paths>{{first, second}}), InputsOf(plan));
  ASSERT_EQ(3u, plan.findings.size());
  for (const Finding& finding : plan.findings) {
    EXPECT_EQ(Message::kClipNamedTwice, finding.message);
    EXPECT_EQ(Severity::kNote, finding.severity);
  }
  EXPECT_EQ(At("card/3.mp4"), plan.findings[0].path);
  EXPECT_EQ("is the same file as " + first, plan.findings[0].text);
  EXPECT_EQ(At("card/DCIM/2.mp4"), plan.findings[1].path);
  EXPECT_EQ(At("4.mp4"), plan.findings[2].path);
  EXPECT_FALSE(LeavesOut(plan));
}

TEST_F(PlanForPaths, DoesNotSearchTheFolderOfTheResults) {
  const std::string first = PutLink("card/1.mp4", 1, 2);
  const std::string second = PutLink("card/2.mp4", 2, 2);
  PutLink("card/joined/other.mp4", 1, 1, 10);
  const JoinPlan plan = From({At("card")});
  EXPECT_EQ((std::vector<Paths>{{first, second}}), InputsOf(plan));
  EXPECT_EQ(2u, PlanFor({At("card")}, {At("elsewhere"), false, false}).jobs.size());
}

TEST_F(PlanForPaths, PassesOverEarlierResultsAmongTheClips) {
  const std::string first = PutLink("card/1.mp4", 1, 2);
  const std::string second = PutLink("card/2.mp4", 2, 2);
  // The merged file says what its first clip says, and stands in front of it by name.
  const std::string result = PutLink("card/" + date + "1.mp4", 1, 2);
  const std::string counted = PutLink("card/" + date + "1_2.mp4", 1, 2);
  const JoinPlan plan = PlanFor({At("card")}, {At("card"), false, false});
  EXPECT_EQ((std::vector<Paths>{{first, second}}), InputsOf(plan));
  EXPECT_EQ(result, plan.jobs[0].output);
  ASSERT_EQ(2u, plan.findings.size());
  EXPECT_EQ(Message::kResultAmongClips, plan.findings[0].message);
  EXPECT_EQ(result, plan.findings[0].path);
  EXPECT_EQ("is the result of a join that began with " + first + ", and no clip",
            plan.findings[0].text);
  EXPECT_EQ(counted, plan.findings[1].path);
  EXPECT_FALSE(LeavesOut(plan));
}

TEST_F(PlanForPaths, PassesOverEarlierResultsOfSingleClipsWithoutIdentifiers) {
  const std::string clip = Put("card/1.mp4", support::PlainClip(60));
  Put("card/" + date + "1.mp4", support::PlainClip(60));
  const JoinPlan plan = PlanFor({At("card")}, {At("card"), true, false});
  EXPECT_EQ((std::vector<Paths>{{clip}}), InputsOf(plan));
}

TEST_F(PlanForPaths, TellsWhoseAResultIsByMediaBehindAnEmptyMediaBox) {
  const auto clip = [](unsigned char fill) {
    support::MovieBuilder builder = support::Clip(30, fill);
    builder.fileType = support::Join({builder.fileType, support::Box("mdat")});
    return builder.Build();
  };
  Put("card/1.mp4", clip(1));
  fs::create_directory(folder / "card/joined");
  const std::string first = From({At("card")}, true).jobs[0].output;
  support::WriteFile(first, clip(2));
  const std::string second = From({At("card")}, true).jobs[0].output;
  EXPECT_NE(first, second);
  support::WriteFile(second, clip(1));
  EXPECT_EQ(second, From({At("card")}, true).jobs[0].output);
}

TEST_F(PlanForPaths, TakesAClipForAClipThatOnlyLooksLikeAResult) {
  PutLink("card/1.mp4", 1, 2);
  PutLink("card/" + date + "1.mp4", 1, 1, 20);
  PutLink("card/" + date + "7.mp4", 1, 1, 30);
  Put("card/1904-01-01_00-02-00_1.mp4", support::TinyClip(ChainLink(1, 1, 40), 120));
  const JoinPlan plan = From({At("card")});
  EXPECT_EQ(4u, plan.jobs.size());
  EXPECT_TRUE(plan.findings.empty());
}

}  // namespace
}  // namespace clipchain
