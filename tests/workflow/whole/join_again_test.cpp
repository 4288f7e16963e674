// Joins into a folder in which earlier joins have left their results.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "support/movie_builder.h"
#include "support/sequences.h"
#include "support/temp_dir.h"
#include "support/vendor_box.h"
#include "workflow/join.h"

namespace fs = std::filesystem;

namespace clipchain {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class JoiningAgain : public testing::Test {
 protected:
  // Clip `number` of a recording of `length` clips; other recordings have another `base`.
  void PutClip(const std::string& card, const std::string& name, unsigned int number,
               unsigned int length, unsigned int base) const {
    Put(card, name,
        support::WithVendorBox(Clip(base + number).Build(),
                               support::ChainLink(number, length, base)));
  }
  void PutUnidentified(const std::string& card, const std::string& name, unsigned int seed) const {
    Put(card, name, Clip(seed).Build());
  }

  std::vector<Outcome> JoinCards(const std::vector<std::string>& cards) {
    options.folder = At("out");
    fs::create_directories(options.folder);
    std::vector<std::string> paths;
    for (const std::string& card : cards) paths.push_back(At(card));
    plan = PlanFor(paths, options);
    report = Join(plan, join);
    std::vector<Outcome> outcomes;
    for (const JobReport& job : report.jobs) outcomes.push_back(job.outcome);
    return outcomes;
  }
  std::set<std::string> Results() const {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(At("out")))
      names.insert(entry.path().filename().string());
    return names;
  }
  // The last thing that was said about the first job.
  Finding Last() const {
    return report.jobs[0].findings.empty() ? Finding{} : report.jobs[0].findings.back();
  }
  std::string At(const std::string& name) const { return (folder / name).string(); }

  support::TempDir folder;
  PlanOptions options;
  JoinOptions join;
  JoinPlan plan;
  JoinReport report;

 private:
  static support::MovieBuilder Clip(unsigned int seed) {
    support::MovieBuilder clip = support::Clip(30, static_cast<unsigned char>(seed));
    clip.creationTime = 1000;
    return clip;
  }
  void Put(const std::string& card, const std::string& name, const support::Bytes& bytes) const {
    fs::create_directories(At(card));
    support::WriteFile(folder / card / name, bytes);
  }
};

const std::string kName = "1904-01-01_00-16-40_a";

TEST_F(JoiningAgain, GivesEachRecordingTheSameNameWhateverElseIsJoined) {
  for (const unsigned int card : {0u, 1u}) {
    PutClip("card" + std::to_string(card), "a.mp4", 1, 2, 10 * card);
    PutClip("card" + std::to_string(card), "b.mp4", 2, 2, 10 * card);
  }
  EXPECT_THAT(JoinCards({"card0"}), ElementsAre(Outcome::kMerged));
  EXPECT_THAT(JoinCards({"card1"}), ElementsAre(Outcome::kMerged));
  EXPECT_EQ((std::set<std::string>{kName + ".mp4", kName + "_2.mp4"}), Results());
  EXPECT_THAT(JoinCards({"card0"}), ElementsAre(Outcome::kAlready));
  EXPECT_THAT(JoinCards({"card1"}), ElementsAre(Outcome::kAlready));
  EXPECT_THAT(JoinCards({"card1", "card0"}), ElementsAre(Outcome::kAlready, Outcome::kAlready));
  EXPECT_EQ(2u, Results().size());
  fs::remove(At("out/" + kName + ".mp4"));
  EXPECT_THAT(JoinCards({"card1"}), ElementsAre(Outcome::kAlready)) << "by its identifiers";
}

TEST_F(JoiningAgain, TellsClipsWithoutIdentifiersApartByTheirMedia) {
  options.all = true;
  PutUnidentified("card0", "a.mp4", 3);
  PutUnidentified("card1", "a.mp4", 4);
  EXPECT_THAT(JoinCards({"card0"}), ElementsAre(Outcome::kMerged));
  EXPECT_THAT(JoinCards({"card1"}), ElementsAre(Outcome::kMerged));
  EXPECT_EQ(2u, Results().size());
  EXPECT_THAT(JoinCards({"card1"}), ElementsAre(Outcome::kAlready));
  EXPECT_THAT(JoinCards({"card0"}), ElementsAre(Outcome::kAlready));
}

TEST_F(JoiningAgain, KeepsTheNameOfWhatCanNotBeRead) {
  PutClip("card", "a.mp4", 1, 2, 0);
  PutClip("card", "b.mp4", 2, 2, 0);
  fs::create_directories(At("out"));
  support::WriteFile(folder / ("out/" + kName + ".mp4"), support::Text("no movie"));
  EXPECT_THAT(JoinCards({"card"}), ElementsAre(Outcome::kFailed));
  EXPECT_EQ(1u, Results().size());
}

class JoiningWhatWasIncomplete : public JoiningAgain {
 protected:
  JoiningWhatWasIncomplete() {
    options.incomplete = true;
    PutClip("card", "a.mp4", 1, 3, 0);
    PutClip("card", "b.mp4", 2, 3, 0);
  }
};

TEST_F(JoiningWhatWasIncomplete, MarksThePartAndNamesItOnceTheWholeIsThere) {
  EXPECT_THAT(JoinCards({"card"}), ElementsAre(Outcome::kMerged));
  EXPECT_EQ((std::set<std::string>{kName + "_incomplete.mp4"}), Results());
  EXPECT_THAT(JoinCards({"card"}), ElementsAre(Outcome::kAlready));
  PutClip("card", "c.mp4", 3, 3, 0);
  EXPECT_THAT(JoinCards({"card"}), ElementsAre(Outcome::kMerged));
  EXPECT_EQ((std::set<std::string>{kName + ".mp4", kName + "_incomplete.mp4"}), Results());
  EXPECT_EQ(Message::kEarlierJoin, Last().message);
  EXPECT_EQ(Severity::kNote, Last().severity);
  EXPECT_THAT(Last().text, HasSubstr("2 of its 3 clips"));
  EXPECT_THAT(Last().remedy, HasSubstr("--update"));
  join.update = true;
  EXPECT_THAT(JoinCards({"card"}), ElementsAre(Outcome::kAlready));
  EXPECT_EQ((std::set<std::string>{kName + ".mp4"}), Results());
}

TEST_F(JoiningWhatWasIncomplete, RemovesNoPartThatSomebodyChanged) {
  ASSERT_THAT(JoinCards({"card"}), ElementsAre(Outcome::kMerged));
  const std::string part = At("out/" + kName + "_incomplete.mp4");
  support::Bytes bytes = support::ReadFile(part);
  const std::size_t media = support::FindBox(bytes, "mdat");
  ASSERT_NE(support::kNotFound, media);
  bytes[media + 20] ^= 1;
  support::WriteFile(part, bytes);
  PutClip("card", "c.mp4", 3, 3, 0);
  join.update = true;
  EXPECT_THAT(JoinCards({"card"}), ElementsAre(Outcome::kMerged));
  EXPECT_EQ(Message::kOutputDiffers, Last().message);
  EXPECT_EQ(bytes, support::ReadFile(part));
}

TEST_F(JoiningWhatWasIncomplete, ReplacesALongerPartsShorterOneOnlyIfTold) {
  ASSERT_THAT(JoinCards({"card"}), ElementsAre(Outcome::kMerged));
  fs::remove_all(At("card"));
  PutClip("card", "a.mp4", 1, 4, 0);
  PutClip("card", "b.mp4", 2, 4, 0);
  PutClip("card", "c.mp4", 3, 4, 0);
  const support::Bytes before = support::ReadFile(At("out/" + kName + "_incomplete.mp4"));
  EXPECT_THAT(JoinCards({"card"}), ElementsAre(Outcome::kFailed));
  EXPECT_EQ(Message::kEarlierJoin, Last().message);
  EXPECT_EQ(Severity::kRefusal, Last().severity);
  EXPECT_EQ(before, support::ReadFile(At("out/" + kName + "_incomplete.mp4")));
  join.update = true;
  EXPECT_THAT(JoinCards({"card"}), ElementsAre(Outcome::kMerged));
  EXPECT_LT(before.size(), support::ReadFile(At("out/" + kName + "_incomplete.mp4")).size());
  EXPECT_EQ(1u, Results().size());
}

TEST_F(JoiningAgain, NamesThePartWhoseHeadTurnedUp) {
  options.incomplete = true;
  PutClip("card", "b.mp4", 2, 3, 0);
  PutClip("card", "c.mp4", 3, 3, 0);
  ASSERT_THAT(JoinCards({"card"}), ElementsAre(Outcome::kMerged));
  PutClip("card", "a.mp4", 1, 3, 0);
  ASSERT_THAT(JoinCards({"card"}), ElementsAre(Outcome::kMerged));
  EXPECT_EQ(Message::kEarlierJoin, Last().message);
  EXPECT_THAT(Last().path, testing::EndsWith("_b_incomplete.mp4"));
}

TEST_F(JoiningAgain, SaysThatThereIsNoClip) {
  fs::create_directories(At("card"));
  EXPECT_THAT(JoinCards({"card"}), IsEmpty());
  ASSERT_EQ(1u, plan.findings.size());
  EXPECT_EQ(Message::kNoClips, plan.findings[0].message);
  EXPECT_EQ(At("card"), plan.findings[0].path);
}

}  // namespace
}  // namespace clipchain
