// Clips without identifiers: what sequences and join make of them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "apps/tool.h"
#include "support/movie_builder.h"
#include "support/process.h"
#include "support/temp_dir.h"

namespace fs = std::filesystem;
using nlohmann::json;
using support::Finished;
using support::operator+;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

namespace {

class Proposals : public testing::Test {
 protected:
  std::string At(const std::string& name) const { return (folder / name).string(); }
  // A clip of 30 pictures a second that begins so many seconds after a day in 2024.
  void Put(const std::string& name, std::uint32_t begin, std::uint32_t frames) const {
    support::MovieBuilder movie;
    movie.creationTime = kSomeDay + begin;
    movie.Add(support::VideoTrack(frames));
    fs::create_directories((folder / name).parent_path());
    support::WriteFile(folder / name, movie.Build());
  }
  // A recording that was split at minutes, and another one.
  void PutCard() const {
    Put("card/MOVI0012.MP4", 0, 1800);
    Put("card/MOVI0013.MP4", 60, 1800);
    Put("card/MOVI0014.MP4", 120, 200);
    Put("card/MOVI0015.MP4", 5000, 300);
  }
  Finished Join(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), {"join", At("card"), "-o", At("out")});
    return Tool(arguments);
  }
  json JoinJson(std::vector<std::string> arguments) const {
    arguments.push_back("--json");
    return json::parse(Join(arguments).out);
  }

  static constexpr std::uint32_t kSomeDay = 3'800'000'000;
  const std::string result = "out/2024-05-31_11-33-20_MOVI0012.mp4";
  support::TempDir folder;
};

}  // namespace

TEST_F(Proposals, AreShownBelowTheSequences) {
  PutCard();
  const Finished shown = Tool({"sequences", At("card")});
  EXPECT_EQ(shown.exitCode, 0);
  EXPECT_THAT(shown.out, HasSubstr("proposed recordings"));
  EXPECT_THAT(shown.out, HasSubstr("MOVI0013.MP4 begins 0.0 s after MOVI0012.MP4 ends"));
  const json document = json::parse(Tool({"sequences", "--json", At("card")}).out);
  ASSERT_EQ(document["proposals"].size(), 1u);
  const json& proposal = document["proposals"][0];
  EXPECT_EQ(proposal["grade"], "likely");
  EXPECT_EQ(proposal["complete"], true);
  EXPECT_EQ(proposal["clips"],
            (json{At("card/MOVI0012.MP4"), At("card/MOVI0013.MP4"), At("card/MOVI0014.MP4")}));
  EXPECT_EQ(proposal["evidence"].size(), 8u);
  EXPECT_EQ(proposal["evidence"][1]["kind"], "timecode");
  EXPECT_EQ(proposal["evidence"][1]["agrees"], nullptr);
  EXPECT_EQ(proposal["evidence"][2]["agrees"], true);
}

TEST_F(Proposals, StandOnThePageAsDashedChains) {
  PutCard();
  ASSERT_EQ(Tool({"sequences", "--html", At("page.html"), At("card")}).exitCode, 0);
  const auto bytes = support::ReadFile(folder / "page.html");
  const std::string page(bytes.begin(), bytes.end());
  EXPECT_THAT(page, HasSubstr("class=\"proposal panel\" id=\"proposal-1\""));
  EXPECT_THAT(page, HasSubstr("data-grade=\"likely\" data-complete=\"true\""));
  EXPECT_THAT(page, HasSubstr("data-kind=\"clock\" data-agrees=\"true\""));
}

TEST_F(Proposals, GiveAResultOfTheTimeOfTheRecording) {
  PutCard();
  const auto time = fs::last_write_time(folder / "card/MOVI0014.MP4") - std::chrono::hours(50);
  fs::last_write_time(folder / "card/MOVI0014.MP4", time);
  ASSERT_EQ(Join({"--accept", "likely"}).exitCode, 0);
  EXPECT_EQ(fs::last_write_time(folder / result), time);
}

TEST_F(Proposals, AreNotJoinedUnasked) {
  PutCard();
  const Finished joined = Join({});
  EXPECT_EQ(joined.exitCode, 0);
  EXPECT_THAT(joined.out, HasSubstr("\n--accept likely would join 1 recording of 3 clips\n"));
  EXPECT_FALSE(fs::exists(folder / result));
  EXPECT_EQ(Join({"--accept", "certain"}).exitCode, 0);
  EXPECT_FALSE(fs::exists(folder / result));
}

TEST_F(Proposals, AreJoinedWhereTheirGradeIsAccepted) {
  PutCard();
  const json document = JoinJson({"--accept", "likely"});
  ASSERT_EQ(document["jobs"].size(), 2u);
  const json& job = document["jobs"][0];
  EXPECT_EQ(job["outcome"], "merged");
  EXPECT_EQ(job["accepted"]["grade"], "likely");
  EXPECT_EQ(job["findings"][0]["name"], "proposal-accepted");
  EXPECT_THAT(job["findings"][0]["text"].get<std::string>(), HasSubstr("begins 0.0 s after"));
  EXPECT_EQ(document["jobs"][1]["left_out"], "single");
  EXPECT_EQ(document["proposed"][0]["accepted"], true);
  EXPECT_TRUE(fs::exists(folder / result));
  const Finished again = Join({"--accept", "likely"});
  EXPECT_EQ(again.exitCode, 0);
  EXPECT_THAT(again.out, HasSubstr("1 already there, 1 single left alone\n"));
}

TEST_F(Proposals, ReplaceShorterJoinsThatNobodyChangedWhereToldTo) {
  Put("card/MOVI0012.MP4", 0, 1800);
  Put("card/MOVI0013.MP4", 60, 1800);
  ASSERT_EQ(Join({"--accept", "likely"}).exitCode, 0);
  const auto shorter = support::ReadFile(folder / result);
  Put("card/MOVI0014.MP4", 120, 200);
  const Finished untold = Join({"--accept", "likely"});
  EXPECT_EQ(untold.exitCode, 3);
  EXPECT_THAT(untold.out, HasSubstr("2 of its 3 clips"));
  EXPECT_EQ(support::ReadFile(folder / result), shorter);
  auto changed = shorter;
  changed[support::FindBox(changed, "moov") - 1] ^= 1;
  support::WriteFile(folder / result, changed);
  EXPECT_EQ(Join({"--accept", "likely", "--update"}).exitCode, 3);
  EXPECT_EQ(support::ReadFile(folder / result), changed);
  support::WriteFile(folder / result, shorter);
  EXPECT_EQ(Join({"--accept", "likely", "--update"}).exitCode, 0);
  EXPECT_GT(support::ReadFile(folder / result).size(), shorter.size());
  EXPECT_THAT(Join({"--accept", "likely"}).out, HasSubstr("1 already there"));
}

TEST_F(Proposals, ReplaceResultsOfTheirClipsAlone) {
  PutCard();
  ASSERT_EQ(Join({"--all"}).exitCode, 0);
  ASSERT_TRUE(fs::exists(folder / "out/2024-05-31_11-35-20_MOVI0014.mp4"));
  EXPECT_EQ(Join({"--accept", "likely", "--update"}).exitCode, 0);
  EXPECT_TRUE(fs::exists(folder / result));
  EXPECT_FALSE(fs::exists(folder / "out/2024-05-31_11-34-20_MOVI0013.mp4"));
  EXPECT_FALSE(fs::exists(folder / "out/2024-05-31_11-35-20_MOVI0014.mp4"));
  EXPECT_TRUE(fs::exists(folder / "out/2024-05-31_12-56-40_MOVI0015.mp4"));
}

TEST_F(Proposals, LeaveResultsToWhichSomethingBelongs) {
  PutCard();
  ASSERT_EQ(Join({"--all"}).exitCode, 0);
  const fs::path second = folder / "out/2024-05-31_11-34-20_MOVI0013.mp4";
  fs::remove(second);
  ASSERT_EQ(Join({"--all", "--originals"}).exitCode, 0);
  ASSERT_TRUE(fs::exists(second.string() + ".originals"));
  fs::remove(folder / result);
  for (const char* name : {"MOVI0012", "MOVI0014"}) {
    for (const auto& entry : fs::directory_iterator(folder / "out")) {
      const std::string path = entry.path().string();
      if (path.find(name) != std::string::npos && path.ends_with(".originals"))
        fs::remove(entry.path());
    }
  }
  const Finished joined = Join({"--accept", "likely", "--update"});
  EXPECT_EQ(joined.exitCode, 0);
  EXPECT_THAT(joined.out, HasSubstr("MOVI0013.mp4.originals belongs to it"));
  EXPECT_TRUE(fs::exists(second));
  EXPECT_FALSE(fs::exists(folder / "out/2024-05-31_11-35-20_MOVI0014.mp4"));
}

TEST_F(Proposals, WithAHoleNeedToBeAllowedTo) {
  Put("card/MOVI0012.MP4", 0, 1800);
  Put("card/MOVI0013.MP4", 60, 1800);
  Put("card/MOVI0015.MP4", 180, 200);
  const Finished unasked = Join({});
  EXPECT_EQ(unasked.exitCode, 0);
  EXPECT_THAT(unasked.out,
              EndsWith("\n--accept likely --incomplete would join 1 recording of 3 clips\n"));
  const Finished left = Join({"--accept", "likely"});
  EXPECT_EQ(left.exitCode, 3);
  EXPECT_THAT(left.out, HasSubstr("1 incomplete left out"));
  EXPECT_FALSE(fs::exists(folder / result));
  Put("card/MOVI0021.MP4", 5000, 1800);
  Put("card/MOVI0022.MP4", 5060, 200);
  EXPECT_THAT(Join({}).out,
              EndsWith("\n--accept likely would join 2 recordings of 5 clips, 1 of them with "
                       "--incomplete alone\n"));
  EXPECT_EQ(Join({"--accept", "likely", "--incomplete"}).exitCode, 0);
  EXPECT_TRUE(fs::exists(folder / result));
}

TEST_F(Proposals, TakeClipsThatAMergeTakesAdapted) {
  PutCard();
  for (const char* name : {"MOVI0012", "MOVI0013", "MOVI0014"}) {
    const fs::path path = folder / "card" / (std::string(name) + ".MP4");
    support::WriteFile(path, support::ReadFile(path) + support::Box("wide", {}));
  }
  EXPECT_EQ(Tool({"sequences", At("card")}).exitCode, 0);
  EXPECT_EQ(Tool({"sequences", "--html", At("page.html"), At("card")}).exitCode, 0);
  const json document = JoinJson({"--accept", "likely"});
  ASSERT_EQ(document["jobs"].size(), 2u);
  EXPECT_EQ(document["jobs"][0]["outcome"], "merged");
  EXPECT_EQ(document["jobs"][0]["inputs"].size(), 3u);
  EXPECT_TRUE(fs::exists(folder / result));
}

TEST_F(Proposals, ThatCanNotBeMergedGiveThree) {
  PutCard();
  support::WriteFile(folder / "card/MOVI0013.MP4", support::ReadFile(folder / "card/MOVI0013.MP4"));
  fs::create_directories(folder / result);
  EXPECT_EQ(Join({"--accept", "likely"}).exitCode, 3);
}

TEST_F(Proposals, StandInAPlanAndAreMergedFromIt) {
  PutCard();
  ASSERT_EQ(Join({"--accept", "likely", "--plan", At("plan.json")}).exitCode, 0);
  const auto bytes = support::ReadFile(folder / "plan.json");
  const json plan = json::parse(bytes.begin(), bytes.end());
  ASSERT_EQ(plan["proposed"].size(), 1u);
  EXPECT_EQ(plan["proposed"][0]["accepted"], true);
  EXPECT_EQ(plan["proposed"][0]["job"], 1);
  ASSERT_EQ(plan["jobs"].size(), 1u);
  EXPECT_EQ(plan["jobs"][0]["inputs"].size(), 3u);
  const json merged = json::parse(Tool({"merge", "--json", "--job", At("plan.json"), "1"}).out);
  EXPECT_EQ(merged["done"], true);
  EXPECT_EQ(merged["findings"][0]["name"], "proposal-accepted");
  ASSERT_EQ(Join({"--plan", At("other.json")}).exitCode, 0);
  const auto other = support::ReadFile(folder / "other.json");
  const json unaccepted = json::parse(other.begin(), other.end());
  EXPECT_EQ(unaccepted["proposed"][0]["accepted"], false);
  EXPECT_EQ(unaccepted["proposed"][0]["job"], nullptr);
  EXPECT_TRUE(unaccepted["jobs"].empty());
}

TEST_F(Proposals, AreAskedAboutOnATerminalAlone) {
  PutCard();
  const Finished refused = Join({"--ask"});
  EXPECT_EQ(refused.exitCode, 2);
  EXPECT_THAT(refused.err, HasSubstr("--ask needs a terminal"));
  EXPECT_EQ(Join({"--accept", "sure"}).exitCode, 2);
}

TEST_F(Proposals, AreJoinedWhereSomebodyOnATerminalSaysSo) {
  PutCard();
  const std::vector<std::string> join{"join", At("card"), "-o", At("out"), "--ask"};
  support::Talk no(ToolCommand(join));
  no.Expect("MOVI0013.MP4 begins 0.0 s after MOVI0012.MP4 ends");
  no.Expect("[y/N]");
  no.Say("n\n");
  EXPECT_EQ(no.End().exitCode, 0);
  EXPECT_FALSE(fs::exists(folder / result));
  support::Talk yes(ToolCommand(join));
  yes.Expect("[y/N]");
  yes.Say("y\n");
  EXPECT_EQ(yes.End().exitCode, 0);
  EXPECT_TRUE(fs::exists(folder / result));
}
