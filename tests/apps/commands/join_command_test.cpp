#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "apps/tool.h"
#include "clipchain/commands/job_option.h"
#include "support/movie_builder.h"
#include "support/movie_oracle.h"
#include "support/sequences.h"
#include "support/temp_dir.h"

namespace fs = std::filesystem;
using clipchain::Job;
using nlohmann::json;
using support::Bytes;
using support::ChainLink;
using support::Finished;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

using Paths = std::vector<std::string>;

class JoinCommand : public testing::Test {
 protected:
  std::string At(const std::string& name) const { return (folder / name).string(); }
  std::string Put(const std::string& name, const Bytes& bytes) const {
    fs::create_directories((folder / name).parent_path());
    support::WriteFile(folder / name, bytes);
    return At(name);
  }
  // Clip `number` of a recording of `length`, which begins `base` minutes after the start of 1904.
  std::string PutLink(const std::string& name, unsigned int number, unsigned int length,
                      unsigned int base = 0) const {
    support::MovieBuilder movie = support::Clip(16, static_cast<unsigned char>(base + number));
    movie.creationTime = 60 * base + number;
    return Put(name, support::WithVendorBox(movie.Build(), ChainLink(number, length, base)));
  }
  // Two whole recordings of two clips each, on two cards.
  void PutTwoRecordings() const {
    PutLink("a/1.mp4", 1, 2);
    PutLink("b/2.mp4", 2, 2);
    PutLink("b/3.mp4", 1, 2, 10);
    PutLink("a/4.mp4", 2, 2, 10);
  }
  const std::string first = "1904-01-01_00-00-01_1.mp4";
  const std::string second = "1904-01-01_00-10-01_3.mp4";

  Finished Join(Paths arguments) const {
    arguments.insert(arguments.begin(), {"join", "-o", At("out")});
    return Tool(arguments);
  }
  Finished JoinBoth(Paths arguments = {}) const {
    arguments.insert(arguments.end(), {At("a"), At("b")});
    return Join(arguments);
  }
  // What it prints for programs; it must end with that code.
  json Json(int exitCode, Paths arguments) const {
    arguments.push_back("--json");
    const Finished run = Join(arguments);
    EXPECT_EQ(exitCode, run.exitCode);
    EXPECT_EQ("", run.err);
    return json::parse(run.out);
  }
  // Names in the folder of the results.
  Paths Results() const {
    Paths names;
    if (!fs::exists(At("out"))) return names;
    for (const fs::directory_entry& entry : fs::directory_iterator(At("out")))
      names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
  }
  void ExpectMerged(const std::string& result, const Paths& clips) const {
    const support::OracleMovie movie = support::ReadMovie(support::ReadFile(result));
    for (std::size_t track = 0; track < movie.tracks.size(); ++track) {
      std::vector<support::OracleSample> samples;
      for (const std::string& clip : clips) {
        const auto more = support::ReadMovie(support::ReadFile(At(clip))).tracks[track].samples;
        samples.insert(samples.end(), more.begin(), more.end());
      }
      EXPECT_EQ(samples, movie.tracks[track].samples) << result;
    }
  }

  support::TempDir folder;
};

std::string LastLine(const std::string& text);
// The line that counts recordings; the one behind it counts clips.
std::string CountLine(const std::string& text) {
  return LastLine(text.substr(0, text.size() - LastLine(text).size()));
}
std::string LastLine(const std::string& text) {
  return text.substr(text.rfind('\n', text.size() - 2) + 1);
}

}  // namespace

TEST_F(JoinCommand, NeedsPathsAndAFolder) {
  EXPECT_EQ(2, Tool({"join", At("a")}).exitCode);
  EXPECT_EQ(2, Tool({"join", "-o", At("out")}).exitCode);
  EXPECT_EQ(2, Join({At("a"), "--dry-run", "--plan", At("plan.json")}).exitCode);
  EXPECT_EQ(2, Join({At("a"), "--verify=much"}).exitCode);
  EXPECT_TRUE(fs::is_empty(folder.path()));
}

TEST_F(JoinCommand, MergesEachWholeRecording) {
  PutTwoRecordings();
  const Finished run = JoinBoth();
  EXPECT_EQ(0, run.exitCode) << run.out;
  EXPECT_EQ("", run.err);
  EXPECT_THAT(run.out,
              StartsWith(" no.  date                 clips       size  state              plan\n"
                         "   1  1904-01-01 00:00:01      2     4.0 kB  complete           -> " +
                         At("out/" + first) + "\n      " + At("a/1.mp4") + "\n      " +
                         At("b/2.mp4") + "\n   2  "));
  EXPECT_THAT(run.out, HasSubstr("\n   1  merged "));
  EXPECT_THAT(run.out, HasSubstr("\n   2  merged "));
  EXPECT_EQ("2 merged\n", CountLine(run.out));
  EXPECT_THAT(Results(), ElementsAre(first, second));
  ExpectMerged(At("out/" + first), {"a/1.mp4", "b/2.mp4"});
  ExpectMerged(At("out/" + second), {"b/3.mp4", "a/4.mp4"});
}

TEST_F(JoinCommand, ShowsThePlanAndDoesNothing) {
  PutTwoRecordings();
  const Finished run = JoinBoth({"--dry-run"});
  EXPECT_EQ(0, run.exitCode);
  EXPECT_THAT(run.out, HasSubstr("-> " + At("out/" + second)));
  EXPECT_THAT(run.out, Not(HasSubstr("merged")));
  EXPECT_FALSE(fs::exists(At("out")));
}

TEST_F(JoinCommand, SkipsWhatIsDone) {
  PutTwoRecordings();
  ASSERT_EQ(0, JoinBoth().exitCode);
  const Bytes before = support::ReadFile(At("out/" + first));
  fs::remove(At("out/" + second));
  const Finished run = JoinBoth();
  EXPECT_EQ(0, run.exitCode);
  EXPECT_EQ("1 merged, 1 already there\n", CountLine(run.out));
  EXPECT_EQ(before, support::ReadFile(At("out/" + first)));
  EXPECT_THAT(Results(), ElementsAre(first, second));
}

TEST_F(JoinCommand, NamesAnOutputThatIsDamagedAndKeepsIt) {
  PutTwoRecordings();
  ASSERT_EQ(0, JoinBoth().exitCode);
  Bytes damaged = support::ReadFile(At("out/" + first));
  damaged.pop_back();
  support::WriteFile(At("out/" + first), damaged);
  const Finished run = JoinBoth();
  EXPECT_EQ(3, run.exitCode);
  EXPECT_THAT(run.out, HasSubstr("   1  failed "));
  EXPECT_THAT(run.out, HasSubstr("error: " + At("out/" + first) + " is there already"));
  EXPECT_THAT(run.out, HasSubstr("(output-differs)"));
  EXPECT_EQ("1 already there, 1 failed\n", CountLine(run.out));
  EXPECT_EQ(damaged, support::ReadFile(At("out/" + first)));
}

TEST_F(JoinCommand, NeverPassesOverAResultOfWhichAByteChanged) {
  PutTwoRecordings();
  ASSERT_EQ(0, JoinBoth().exitCode);
  Bytes damaged = support::ReadFile(At("out/" + first));
  // The eighth sample of the first clip lies behind the file's start, its first chunks and headers.
  const Bytes sample = support::ReadMovie(damaged).tracks[0].samples[7].bytes;
  const auto place = std::search(damaged.begin(), damaged.end(), sample.begin(), sample.end());
  ASSERT_NE(damaged.end(), place);
  *place ^= 1;
  support::WriteFile(At("out/" + first), damaged);
  EXPECT_EQ(3, JoinBoth().exitCode);
  EXPECT_EQ(3, JoinBoth({"--verify=full"}).exitCode);
}

TEST_F(JoinCommand, GoesOnBehindARecordingThatCannotBeMerged) {
  PutTwoRecordings();
  support::MovieBuilder other = support::Clip(16, 2);
  other.tracks.pop_back();
  other.creationTime = 2;
  Put("b/2.mp4", support::WithVendorBox(other.Build(), ChainLink(2, 2)));
  const Finished run = JoinBoth();
  EXPECT_EQ(3, run.exitCode);
  EXPECT_THAT(run.out, HasSubstr("error: " + At("b/2.mp4") + " "));
  EXPECT_EQ("1 merged, 1 failed\n", CountLine(run.out));
  EXPECT_THAT(Results(), ElementsAre(second));
}

TEST_F(JoinCommand, TellsAboutIncompleteRecordingsAndMergesThemOnRequest) {
  PutLink("a/1.mp4", 1, 3);
  PutLink("a/2.mp4", 2, 3);
  const Finished run = Join({At("a")});
  EXPECT_EQ(3, run.exitCode);
  EXPECT_THAT(
      run.out,
      HasSubstr("   -  1904-01-01 00:00:01      2     4.0 kB  open at tail       left out"));
  EXPECT_THAT(run.out, HasSubstr("warning: " + At("a/2.mp4") +
                                 " is continued by a clip that is missing (sequence-incomplete)"));
  EXPECT_EQ("1 incomplete left out\n", CountLine(run.out));
  EXPECT_FALSE(fs::exists(At("out")));
  const Finished merged = Join({At("a"), "--incomplete"});
  EXPECT_EQ(0, merged.exitCode);
  EXPECT_EQ("1 merged\n", CountLine(merged.out));
  std::string part = first;
  part.insert(part.rfind('.'), "_incomplete");
  ExpectMerged(At("out/" + part), {"a/1.mp4", "a/2.mp4"});
}

TEST_F(JoinCommand, LeavesSingleClipsAloneUnlessAllAreAskedFor) {
  PutLink("a/1.mp4", 1, 1);
  Put("a/2.mp4", support::Clip(16, 2).Build());
  Put("a/3.mp4", support::Clip(16, 3).Build());
  const Finished run = Join({At("a")});
  EXPECT_EQ(0, run.exitCode);
  EXPECT_EQ("3 single left alone\n", CountLine(run.out));
  EXPECT_THAT(LastLine(run.out), StartsWith("0 of 3 clips are in "));
  EXPECT_THAT(LastLine(run.out),
              HasSubstr("; 3 are not: 1 single (--all takes it along), 2 without identifiers\n"));
  EXPECT_THAT(run.out,
              HasSubstr("note: " + At("a/2.mp4") + " and 1 more clip have no identifiers"));
  EXPECT_FALSE(fs::exists(At("out")));
  EXPECT_EQ(0, Join({At("a"), "--all"}).exitCode);
  EXPECT_EQ(3u, Results().size());
  ExpectMerged(At("out/" + first), {"a/1.mp4"});
}

TEST_F(JoinCommand, FindsItsOwnResultsNeitherInAFolderInsideNorAmongTheClips) {
  PutTwoRecordings();
  for (const std::string& out : {At("a/out"), At("a"), At(".")}) {
    const Finished run = Tool({"join", "-o", out, At("a"), At("b")});
    EXPECT_EQ(0, run.exitCode) << run.out;
    EXPECT_EQ("2 merged\n", CountLine(run.out));
    const Finished again = Tool({"join", "-o", out, At("a"), At("b")});
    EXPECT_EQ(0, again.exitCode) << again.out;
    EXPECT_EQ("2 already there\n", CountLine(again.out));
  }
}

TEST_F(JoinCommand, ACardCopiedTwiceIsJoinedOnce) {
  PutTwoRecordings();
  fs::copy(At("a"), At("c"));
  fs::copy(At("b"), At("d"));
  const Finished run = Join({At("c"), At("b"), At("a"), At("d"), At("a")});
  EXPECT_EQ(0, run.exitCode) << run.out;
  EXPECT_THAT(run.out, HasSubstr("left out: a copy"));
  EXPECT_THAT(CountLine(run.out), StartsWith("2 merged, "));
  EXPECT_EQ(2u, Results().size());
}

TEST_F(JoinCommand, CountsCopiesInWords) {
  PutTwoRecordings();
  fs::create_directory(At("c"));
  fs::copy(At("a/1.mp4"), At("c/1.mp4"));
  fs::copy(At("b/2.mp4"), At("c/2.mp4"));
  EXPECT_EQ("2 merged, 1 copy left out\n", CountLine(JoinBoth({At("c")}).out));
  PutLink("d/5.mp4", 1, 2, 10);
  PutLink("d/6.mp4", 2, 2, 10);
  EXPECT_THAT(CountLine(JoinBoth({At("c"), At("d")}).out), HasSubstr(", 2 copies left out\n"));
}

TEST_F(JoinCommand, NothingIsDoneWhereNothingCanBeRead) {
  const Finished absent = Join({At("absent")});
  EXPECT_EQ(1, absent.exitCode);
  EXPECT_EQ("", absent.out);
  EXPECT_THAT(absent.err, HasSubstr("can't be read: there is no such file"));
  EXPECT_THAT(absent.err, HasSubstr("\n  check the name and the permissions\n"));
  fs::create_directory(At("empty"));
  const Finished empty = Join({At("empty")});
  EXPECT_EQ(1, empty.exitCode);
  EXPECT_THAT(empty.out,
              StartsWith("no clips\nerror: " + At("empty") + " has no clips (no-clips)\n"));
  PutTwoRecordings();
  // The recordings of a card that was mistyped would be thought to lack clips.
  EXPECT_EQ(1, JoinBoth({At("absent")}).exitCode);
  fs::create_symlink("nowhere", At("link.mp4"));
  const Finished one = JoinBoth({At("link.mp4")});
  EXPECT_EQ(3, one.exitCode);
  EXPECT_EQ("2 merged\n", CountLine(one.out));
}

// Whatever is wrong with a clip, it counts: what a dying battery left was never joined.
TEST_F(JoinCommand, CountsEveryClipThatItCannotRead) {
  PutTwoRecordings();
  Bytes cut = support::ReadFile(At("a/1.mp4"));
  cut.resize(cut.size() / 2);
  Put("a/5.mp4", cut);
  Put("b/6.mp4", {});
  const Finished run = JoinBoth();
  EXPECT_EQ(3, run.exitCode);
  EXPECT_THAT(run.out, HasSubstr("4 of 6 clips are in " + At("out") +
                                 "; 2 are not: 2 that can't be read\n"));
}

TEST_F(JoinCommand, NeedsAFolderThatCanBeMade) {
  PutTwoRecordings();
  const Finished run = Tool({"join", "-o", At("no/such"), At("a"), At("b")});
  EXPECT_EQ(1, run.exitCode);
  EXPECT_EQ("", run.out);
  EXPECT_THAT(run.err, StartsWith("error: " + At("no/such") + " can't be created: "));
  EXPECT_EQ(1, Tool({"join", "-o", At("a/1.mp4"), At("a"), At("b")}).exitCode);
}

TEST_F(JoinCommand, PrintsEveryFieldForPrograms) {
  PutTwoRecordings();
  const std::string lone = PutLink("b/9.mp4", 1, 2, 20);
  json document = Json(3, {At("a"), At("b")});
  EXPECT_FALSE(document["stopped"]);
  EXPECT_EQ(json::array(), document["findings"]);
  ASSERT_EQ(3u, document["jobs"].size());
  json& job = document["jobs"][0];
  EXPECT_GE(job["seconds"], 0);
  job.erase("seconds");
  const auto clips = fs::file_size(At("a/1.mp4")) + fs::file_size(At("b/2.mp4"));
  EXPECT_EQ((json{{"number", 1},
                  {"left_out", nullptr},
                  {"adaptations", json::array()},
                  {"date", "1904-01-01T00:00:01"},
                  {"state", "complete"},
                  {"size", clips},
                  {"inputs", {{{"path", At("a/1.mp4")}}, {{"path", At("b/2.mp4")}}}},
                  {"output", {{"path", At("out/" + first)}}},
                  {"accepted", nullptr},
                  {"outcome", "merged"},
                  {"shared", 0},
                  {"output_size", fs::file_size(At("out/" + first))},
                  {"findings", json::array()}}),
            job);
  const json& open = document["jobs"][2];
  EXPECT_TRUE(open["number"].is_null());
  EXPECT_EQ("incomplete", open["left_out"]);
  EXPECT_EQ("left out", open["outcome"]);
  EXPECT_TRUE(open["output_size"].is_null());
  EXPECT_EQ("sequence-incomplete", open["findings"][0]["name"]);
  EXPECT_EQ(lone, open["findings"][0]["path"]);

  const json dry = Json(3, {At("a"), At("b"), "--dry-run"});
  EXPECT_TRUE(dry["jobs"][0]["outcome"].is_null());
  EXPECT_TRUE(dry["jobs"][0]["seconds"].is_null());
  EXPECT_EQ(document["jobs"][1]["output"], dry["jobs"][1]["output"]);
}

TEST_F(JoinCommand, TakesPathsOfAnyBytes) {
  const std::string card = "\xFF card\n";
  PutLink(card + "/\xE9.mp4", 1, 2);
  PutLink(card + "/\"\t.mp4", 2, 2);
  EXPECT_EQ(0, Join({At(card)}).exitCode);
  EXPECT_THAT(Results(), ElementsAre("1904-01-01_00-00-01_\xE9.mp4"));
  EXPECT_EQ(0, Join({At(card), "--plan", At("plan\xFE.json")}).exitCode);
  EXPECT_EQ(0, Tool({"merge", "--job", At("plan\xFE.json"), "1"}).exitCode);
}

TEST_F(JoinCommand, ShowsItsProgressOverAllRecordingsOnATerminal) {
  PutTwoRecordings();
  const Finished run =
      support::RunOnTerminal(ToolCommand({"join", "-o", At("out"), At("a"), At("b")}));
  EXPECT_EQ(0, run.exitCode);
  EXPECT_THAT(run.out, HasSubstr("recording 1 of 2"));
  EXPECT_THAT(run.out, HasSubstr("\r\x1B[K"));
}

TEST_F(JoinCommand, PaintsItsTablesOnATerminal) {
  PutTwoRecordings();
  Put("out/" + second, {1});
  const auto shown = [this](const std::string& colour) {
    return support::RunOnTerminal({"env", "NO_COLOR=" + colour, "TERM=xterm", CLIPCHAIN_TOOL_PATH,
                                   "join", "-o", At("out"), At("a"), At("b")})
        .out;
  };
  const std::string painted = shown("");
  EXPECT_THAT(painted, HasSubstr("\x1B[32mcomplete         \x1B[0m"));
  EXPECT_THAT(painted, HasSubstr("\x1B[32mmerged       \x1B[0m"));
  EXPECT_THAT(painted, HasSubstr("\x1B[1;31mfailed       \x1B[0m"));
  EXPECT_THAT(painted, HasSubstr("      \x1B[1;31merror:\x1B[0m "));
  EXPECT_THAT(shown("1"), Not(HasSubstr("\x1B[3")));
}

TEST_F(JoinCommand, AsksOnATerminalWhetherToRemoveWhatAKilledMergeHasLeftBehind) {
  PutTwoRecordings();
  const std::string left =
      Put("out/." + first + ".clipchain-4711-0123456789abcdef.part", support::Text("abc"));
  support::Talk talk(ToolCommand({"join", "-o", At("out"), At("a"), At("b")}));
  talk.Expect("Remove it? [y/N] ");
  talk.Say("y\n");
  EXPECT_EQ(0, talk.End().exitCode);
  EXPECT_FALSE(fs::exists(left));
  EXPECT_THAT(Results(), ElementsAre(first, second));
}

TEST_F(JoinCommand, StopsAtASignalAndSaysWhatWasDone) {
  ASSERT_TRUE(support::HasProgram("strace")) << "scripts/test installs it";
  PutTwoRecordings();
  // The signal comes while the first result gets its name; before, its hidden file gets another
  // one.
  Paths command = {"strace", "-o", At("trace"), "-e", "inject=renameat2:signal=INT:when=2"};
  for (const std::string& word : ToolCommand({"join", "-o", At("out"), At("a"), At("b")}))
    command.push_back(word);
  const Finished run = support::Run(command);
  EXPECT_NE(0, run.exitCode);
  EXPECT_EQ("1 merged, 1 not run\n", CountLine(run.out));
  EXPECT_THAT(Results(), ElementsAre(first));
  // And here when its hidden file has just come into being.
  fs::remove_all(At("out"));
  command[4] = "inject=flock:signal=TERM:when=1";
  const Finished early = support::Run(command);
  EXPECT_NE(0, early.exitCode);
  EXPECT_THAT(Results(), ElementsAre());
  EXPECT_THAT(early.out, HasSubstr("not run"));
}

TEST_F(JoinCommand, WritesAPlanOfWhichEachJobIsRunByItself) {
  PutTwoRecordings();
  PutLink("b/9.mp4", 1, 2, 20);
  const std::string plan = At("plan.json");
  const Finished run = JoinBoth({"--plan", plan});
  EXPECT_EQ(3, run.exitCode);
  EXPECT_EQ("2 jobs in " + plan + "\n", LastLine(run.out));
  EXPECT_FALSE(fs::exists(At("out")));
  for (const bool again : {false, true}) {
    const Finished job = Tool({"merge", "--job", plan, "2"});
    EXPECT_EQ(0, job.exitCode) << job.err;
    EXPECT_THAT(job.out, HasSubstr(again ? " is there already, " : "merged 2 clips into "));
    EXPECT_THAT(Results(), ElementsAre(second));
  }
  ExpectMerged(At("out/" + second), {"b/3.mp4", "a/4.mp4"});
  const json document = json::parse(Tool({"merge", "--json", "--job", plan, "2"}).out);
  EXPECT_TRUE(document["done"]);
  EXPECT_TRUE(document["already"]);
  EXPECT_EQ("full", document["verified"]);
  EXPECT_EQ(2, document["clips"]);
  EXPECT_EQ(At("out/" + second), document["path"]);
}

TEST_F(JoinCommand, WritesNoPlanOverAnotherFile) {
  PutTwoRecordings();
  const Bytes clip = support::ReadFile(At("a/1.mp4"));
  const Finished run = JoinBoth({"--plan", At("a/1.mp4")});
  EXPECT_EQ(1, run.exitCode);
  EXPECT_THAT(run.err, HasSubstr("(plan-unwritable)"));
  EXPECT_EQ(clip, support::ReadFile(At("a/1.mp4")));
}

TEST_F(JoinCommand, NamesWhatARunThatWroteThePlanHasLeftBehind) {
  PutTwoRecordings();
  const std::string leftover = Put(".plan.json.clipchain-4711-0123456789abcdef.part", Bytes(3));
  const Finished run = JoinBoth({"--plan", At("plan.json")});
  EXPECT_EQ(0, run.exitCode);
  EXPECT_THAT(run.out, HasSubstr("warning: " + leftover + " was left behind by a run that was "));
  fs::remove(At("plan.json"));
  EXPECT_EQ(0, JoinBoth({"--plan", At("plan.json"), "--remove-leftovers"}).exitCode);
  EXPECT_FALSE(fs::exists(leftover));
}

// Other jobs' clips may be many, and on a disk that sleeps.
TEST_F(JoinCommand, AJobLooksAtItsOwnClipsAlone) {
  PutTwoRecordings();
  ASSERT_EQ(0, JoinBoth({"--plan", At("plan.json")}).exitCode);
  Job job;
  ASSERT_FALSE(clipchain::FindJob({At("plan.json"), "2"}, job));
  EXPECT_EQ(static_cast<long long>(fs::file_size(At("b/3.mp4")) + fs::file_size(At("a/4.mp4"))),
            job.size);
}

TEST_F(JoinCommand, AJobTellsHowFarEachPhaseIs) {
  PutTwoRecordings();
  ASSERT_EQ(0, JoinBoth({"--plan", At("plan.json")}).exitCode);
  Job job;
  ASSERT_FALSE(clipchain::FindJob({At("plan.json"), "1"}, job));
  for (const bool again : {false, true}) {
    std::vector<long long> verified;
    clipchain::SafeMergeOptions options;
    options.verification = clipchain::Verification::kFull;
    options.check.progress = [&](const clipchain::Step& step) {
      EXPECT_EQ(job.size, step.total);
      EXPECT_GE(job.size, step.current);
      if (step.phase == clipchain::Step::Phase::kVerifying) verified.push_back(step.current);
      return true;
    };
    EXPECT_EQ(again, MergeJob(job, options, {}).already);
    ASSERT_FALSE(verified.empty());
    EXPECT_EQ(0, verified.front());
    EXPECT_LT(0, verified.back());
  }
}

TEST_F(JoinCommand, AJobNeedsANumberThatThePlanHas) {
  PutTwoRecordings();
  const std::string plan = At("plan.json");
  ASSERT_EQ(0, JoinBoth({"--plan", plan}).exitCode);
  for (const char* number : {"0", "-1", "x", "1x", "", "99999999999999999999999"})
    EXPECT_EQ(2, Tool({"merge", "--job", plan, number}).exitCode) << number;
  EXPECT_EQ(2, Tool({"merge", "--job", plan}).exitCode);
  EXPECT_EQ(2, Tool({"merge", "--job", plan, "1", "-o", At("x.mp4")}).exitCode);
  EXPECT_EQ(2, Tool({"merge", "--job", plan, "1", At("a/1.mp4")}).exitCode);
  EXPECT_EQ(2, Tool({"merge", "-o", At("x.mp4")}).exitCode);
  EXPECT_EQ(2, Tool({"merge", At("a/1.mp4")}).exitCode);
  const Finished run = Tool({"merge", "--job", plan, "3"});
  EXPECT_EQ(1, run.exitCode);
  EXPECT_THAT(run.err, HasSubstr("has jobs up to number 2, and no job 3 (job-missing)"));
  const Finished told = Tool({"merge", "--json", "--job", plan, "3"});
  EXPECT_EQ(1, told.exitCode);
  EXPECT_EQ("", told.err);
  EXPECT_EQ("job-missing", json::parse(told.out)["findings"][0]["name"]);
  EXPECT_FALSE(fs::exists(At("out")));
}

TEST_F(JoinCommand, AJobOfAHostilePlanHarmsNothing) {
  const std::string clip = PutLink("a/1.mp4", 1, 1);
  const Bytes before = support::ReadFile(clip);
  EXPECT_THAT(Tool({"merge", "--job", clip, "1"}).err, HasSubstr("(plan-invalid)"));
  EXPECT_THAT(Tool({"merge", "--job", At("absent"), "1"}).err, HasSubstr("(plan-unreadable)"));
  ASSERT_EQ(0, Join({At("a"), "--all", "--plan", At("plan.json")}).exitCode);
  const Bytes text = support::ReadFile(At("plan.json"));
  json plan = json::parse(text.begin(), text.end());
  const auto run = [&](const json& output) {
    plan["jobs"][0]["output"]["path"] = output;
    support::WriteFile(At("plan.json"), support::Text(plan.dump()));
    return Tool({"merge", "--job", At("plan.json"), "1"}).exitCode;
  };
  // What exists is never replaced, be it an input; another place is as good as any.
  EXPECT_EQ(1, run(clip));
  EXPECT_EQ(1, run(At("a/../a/./1.mp4")));
  EXPECT_EQ(1, run(At("plan.json")));
  EXPECT_EQ(1, run(At("a")));
  EXPECT_EQ(1, run(""));
  EXPECT_EQ(1, run(17));
  EXPECT_EQ(before, support::ReadFile(clip));
  EXPECT_EQ(0, run(At("a/../a/2.mp4")));
  EXPECT_TRUE(fs::exists(At("a/2.mp4")));
}

TEST_F(JoinCommand, TellsOnceOfAllClipsWithoutIdentifiers) {
  fs::create_directory(folder / "a");
  for (const char* name : {"a/1.mp4", "a/2.mp4", "a/3.mp4"})
    support::WriteFile(folder / name, support::PlainClip());
  const Finished run = Join({At("a"), "--dry-run"});
  EXPECT_THAT(run.out, HasSubstr("  unidentified       single clip, left alone"));
  EXPECT_THAT(run.out, Not(HasSubstr("complete ")));
  EXPECT_THAT(run.out, HasSubstr("1.mp4 and 2 more clips have no identifiers"));
  const std::size_t place = run.out.find("clip-unidentified");
  EXPECT_NE(std::string::npos, place);
  EXPECT_EQ(place, run.out.rfind("clip-unidentified"));
}

TEST_F(JoinCommand, WritesAPageThatReplacesNothing) {
  PutTwoRecordings();
  EXPECT_EQ(0, JoinBoth({"--html", At("page.html")}).exitCode);
  EXPECT_TRUE(fs::exists(At("page.html")));
  const Finished again = JoinBoth({"--html", At("page.html")});
  EXPECT_EQ(1, again.exitCode);
  EXPECT_THAT(again.err, HasSubstr("exists already"));
  EXPECT_EQ(1, JoinBoth({"--html", At("a/1.mp4")}).exitCode);
  EXPECT_EQ(1, JoinBoth({"--html", At("out/" + first)}).exitCode);
  EXPECT_EQ(1, JoinBoth({"--html", At("absent/page.html")}).exitCode);
  EXPECT_EQ(0, JoinBoth({"--dry-run", "--html", At("plan.html")}).exitCode);
  EXPECT_TRUE(fs::exists(At("plan.html")));
}
