// What a merge leaves behind when it is disturbed.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <thread>

#include "apps/tool.h"
#include "support/bytes.h"
#include "support/temp_dir.h"

namespace fs = std::filesystem;
using support::Bytes;
using support::Finished;
using support::ReadFile;
using support::Talk;
using support::Text;
using support::WriteFile;
using testing::HasSubstr;
using testing::Not;

namespace {

const std::string kClip1 = support::SourcePath("examples/clips/clip1.mp4");
const std::string kClip2 = support::SourcePath("examples/clips/clip2.mp4");
constexpr char kLeftover[] = ".out.mp4.clipchain-4711-0123456789abcdef.part";
constexpr char kQuestion[] = "Remove it? [y/N] ";

class MergeSafety : public testing::Test {
 protected:
  MergeSafety() {
    const std::string reference = folder_ / "reference.mp4";
    EXPECT_EQ(0, Tool({"merge", "-o", reference, kClip1, kClip2}).exitCode);
    reference_ = ReadFile(reference);
    fs::remove(reference);
  }

  std::vector<std::string> Merge(std::vector<std::string> more = {}) const {
    more.insert(more.begin(), {"merge", "-o", output_, kClip1, kClip2});
    return ToolCommand(more);
  }
  std::vector<std::string> Names() const {
    std::vector<std::string> names;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder_.path()))
      names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
  }
  void PutLeftover() const { WriteFile(folder_ / kLeftover, Text("abc")); }
  void ExpectComplete() const {
    EXPECT_TRUE(fs::exists(output_) && ReadFile(output_) == reference_);
  }

  support::TempDir folder_;
  std::string output_ = folder_ / "out.mp4";
  Bytes reference_;
};

const std::vector<std::string> kOutputOnly = {"out.mp4"};
const std::vector<std::string> kLeftoverOnly = {kLeftover};

std::array<Finished, 2> AtOnce(const std::vector<std::string>& command) {
  std::array<Finished, 2> runs;
  std::thread other([&] { runs[1] = support::Run(command); });
  runs[0] = support::Run(command);
  other.join();
  return runs;
}

}  // namespace

TEST_F(MergeSafety, LetsOneOfTwoMergesHaveTheName) {
  for (int round = 0; round < 20; ++round) {
    const auto runs = AtOnce(Merge());
    EXPECT_EQ(1, runs[0].exitCode + runs[1].exitCode);
    const Finished& loser = runs[runs[0].exitCode == 0 ? 1 : 0];
    EXPECT_THAT(loser.err, HasSubstr("exists already (output-exists)"));
    ExpectComplete();
    EXPECT_EQ(kOutputOnly, Names());
    fs::remove(output_);
  }
}

TEST_F(MergeSafety, LetsTheLaterOfTwoMergesReplaceWhenBothMay) {
  for (int round = 0; round < 20; ++round) {
    for (const Finished& run : AtOnce(Merge({"--overwrite"})))
      EXPECT_EQ(0, run.exitCode) << run.err;
    ExpectComplete();
    EXPECT_EQ(kOutputOnly, Names());
  }
}

TEST_F(MergeSafety, NamesWhatAKilledMergeHasLeftBehind) {
  PutLeftover();
  const Finished run = support::Run(Merge());
  EXPECT_EQ(0, run.exitCode);
  EXPECT_THAT(run.err, HasSubstr("warning: " + (folder_ / kLeftover).string() +
                                 " was left behind by a run that was killed, with 3 bytes in it "
                                 "(leftover)\n  remove it, or let --remove-leftovers do it\n"));
  EXPECT_TRUE(fs::exists(folder_ / kLeftover));
}

TEST_F(MergeSafety, RemovesWhatWasLeftBehindWhenTold) {
  PutLeftover();
  const Finished run = support::Run(Merge({"--remove-leftovers"}));
  EXPECT_EQ(0, run.exitCode);
  EXPECT_THAT(run.err, HasSubstr("(leftover-removed)\n"));
  EXPECT_EQ(kOutputOnly, Names());
}

TEST_F(MergeSafety, AsksOnATerminalWhetherToRemoveIt) {
  PutLeftover();
  Talk no(Merge());
  no.Expect(kQuestion);
  no.Say("n\n");
  EXPECT_EQ(0, no.End().exitCode);
  EXPECT_TRUE(fs::exists(folder_ / kLeftover));
  Talk yes(Merge({"--overwrite"}));
  yes.Expect(kQuestion);
  yes.Say("y\n");
  EXPECT_EQ(0, yes.End().exitCode);
  EXPECT_EQ(kOutputOnly, Names());
}

TEST_F(MergeSafety, LeavesTheHiddenFileOfARunningMergeAlone) {
  PutLeftover();
  const int file = ::open((folder_ / kLeftover).c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_EQ(0, ::flock(file, LOCK_EX));
  const Finished run = support::Run(Merge({"--remove-leftovers"}));
  ::close(file);
  EXPECT_EQ(0, run.exitCode);
  EXPECT_THAT(run.err, Not(HasSubstr("left behind")));
  EXPECT_TRUE(fs::exists(folder_ / kLeftover));
}

// The question holds the merge up, so that a signal meets it at a known place.
TEST_F(MergeSafety, EndsWithoutATraceAtASignalHoweverOftenItComes) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    PutLeftover();
    Talk talk(Merge());
    talk.Expect(kQuestion);
    EXPECT_EQ(0, ::kill(talk.process(), signal));
    EXPECT_EQ(0, ::kill(talk.process(), signal));
    const Finished run = talk.End();
    EXPECT_EQ(128 + signal, run.exitCode);
    EXPECT_THAT(run.out, HasSubstr("was not made: the merge was stopped (merge-stopped)"));
    EXPECT_EQ(kLeftoverOnly, Names());
  }
}

TEST_F(MergeSafety, EndsWhenSomebodyTypesControlC) {
  PutLeftover();
  Talk talk(Merge());
  talk.Expect(kQuestion);
  talk.Say("\x03");
  EXPECT_EQ(128 + SIGINT, talk.End().exitCode);
  EXPECT_EQ(kLeftoverOnly, Names());
}

TEST_F(MergeSafety, GoesOnAtASignalThatItsCallerIgnores) {
  PutLeftover();
  std::string line = "trap '' HUP; exec";
  for (const std::string& word : Merge()) line += " '" + word + "'";
  Talk talk({"sh", "-c", line});
  talk.Expect(kQuestion);
  EXPECT_EQ(0, ::kill(talk.process(), SIGHUP));
  talk.Say("y\n");
  EXPECT_EQ(0, talk.End().exitCode);
  ExpectComplete();
}

TEST_F(MergeSafety, TakesALimitOnTheSizeOfFilesAsAnError) {
  PutLeftover();
  Talk talk(Merge());
  talk.Expect(kQuestion);
  const struct rlimit limit = {100000, 100000};
  ASSERT_EQ(0, ::prlimit(talk.process(), RLIMIT_FSIZE, &limit, nullptr));
  talk.Say("n\n");
  const Finished run = talk.End();
  EXPECT_EQ(1, run.exitCode);
  EXPECT_THAT(run.out, HasSubstr("is larger than a file there may be: File too large "
                                 "(too-large-for-folder)"));
  EXPECT_EQ(kLeftoverOnly, Names());
}

TEST_F(MergeSafety, IsCompleteThoughNobodyReadsTheSummary) {
  std::string line = "(sleep 0.3; exec";
  for (const std::string& word : Merge()) line += " '" + word + "'";
  const Finished run = support::Run({"bash", "-c", line + ") | true; exit ${PIPESTATUS[0]}"});
  EXPECT_EQ(128 + SIGPIPE, run.exitCode);
  EXPECT_THAT(run.err, Not(HasSubstr("clipchain: ")));
  ExpectComplete();
}

TEST_F(MergeSafety, ShowsNoProgressWhereALineCannotBeDrawnAnew) {
  std::vector<std::string> command = Merge();
  command.insert(command.begin(), {"env", "TERM=dumb"});
  const Finished run = support::RunOnTerminal(command);
  EXPECT_EQ(0, run.exitCode);
  EXPECT_EQ(std::string::npos, run.out.find('\x1B')) << run.out;
}

TEST_F(MergeSafety, SaysThatNothingWasWritten) {
  ASSERT_EQ(0, support::Run(Merge()).exitCode);
  const Finished refused = support::Run(Merge());
  EXPECT_EQ(1, refused.exitCode);
  EXPECT_THAT(refused.err, HasSubstr("\nnothing was written\n"));
  const std::string clip = support::SourcePath("examples/clips/clip1.mp4");
  const Finished held = Tool({"merge", "-o", output_ + "2", clip, clip});
  EXPECT_EQ(1, held.exitCode);
  EXPECT_THAT(held.err, HasSubstr("\nnothing was written; --force goes on anyway\n"));
}

TEST_F(MergeSafety, NeverPrintsIntoItsOwnOutput) {
  for (const std::string closed : {"<&- >&-", "<&- 2>&-", ">&-", "<&- >&- 2>&-"}) {
    std::string line = "exec";
    for (const std::string& word : Merge({"--overwrite"})) line += " '" + word + "'";
    // The file is complete, and its summary lost.
    const int expected = closed.find(" >&-") != std::string::npos || closed == ">&-" ? 1 : 0;
    EXPECT_EQ(expected, support::Run({"sh", "-c", line + " " + closed}).exitCode) << closed;
    ExpectComplete();
  }
}

TEST_F(MergeSafety, TellsProgramsHowItEnded) {
  PutLeftover();
  const Finished run = support::Run(Merge({"--json", "--verify=full"}));
  EXPECT_EQ(0, run.exitCode);
  EXPECT_EQ("", run.err);
  const auto report = nlohmann::json::parse(run.out);
  EXPECT_EQ(output_, report["path"]);
  EXPECT_EQ(true, report["done"]);
  EXPECT_EQ(2, report["clips"]);
  EXPECT_EQ(reference_.size(), report["size"]);
  EXPECT_LT(0.0, report["seconds"]);
  EXPECT_EQ("full", report["verified"]);
  EXPECT_EQ("S_OK", report["result"]);
  EXPECT_EQ("leftover", report["findings"].back()["name"]);

  const Finished failed = support::Run(Merge({"--json"}));
  EXPECT_EQ(1, failed.exitCode);
  EXPECT_EQ("", failed.err);
  const auto why = nlohmann::json::parse(failed.out);
  EXPECT_EQ(false, why["done"]);
  EXPECT_EQ(0, why["size"]);
  const nlohmann::json exists = why["findings"][why["findings"].size() - 2];
  EXPECT_EQ("output-exists", exists["name"]);
  EXPECT_EQ("MP4G_E_OUTPUT_OPEN", exists["result"]);
}

TEST_F(MergeSafety, NamesTheClipThatExceedsTheMemoryLimit) {
  const Finished run = support::Run(Merge({"--memory-limit", "4k"}));
  EXPECT_EQ(1, run.exitCode);
  EXPECT_THAT(run.err, HasSubstr("error: " + kClip1));
  EXPECT_THAT(run.err, HasSubstr("(memory-limit)"));
  EXPECT_EQ(0, support::Run(Merge({"--memory-limit", "4M"})).exitCode);
}

TEST_F(MergeSafety, RefusesValuesThatMakeNoSense) {
  for (const char* option : {"--verify=half", "--verify", "--memory-limit=0", "--memory-limit=-5",
                             "--memory-limit=much"})
    EXPECT_EQ(2, support::Run(Merge({option})).exitCode) << option;
  EXPECT_TRUE(Names().empty());
}

#ifdef CLIPCHAIN_LOSING_DISK
namespace {

std::vector<std::string> OnLosingDisk(std::vector<std::string> command, bool all) {
  std::vector<std::string> before = {"env", "LD_PRELOAD=" CLIPCHAIN_LOSING_DISK};
  if (all) before.push_back("LOSE_ALL=1");
  command.insert(command.begin(), before.begin(), before.end());
  return command;
}

}  // namespace

TEST_F(MergeSafety, NoticesADiskThatStoresNothing) {
  for (const char* verify : {"--verify=seams", "--verify=full"}) {
    for (const std::vector<std::string>& more :
         {std::vector<std::string>{verify}, std::vector<std::string>{verify, "--faststart"}}) {
      const Finished run = support::Run(OnLosingDisk(Merge(more), true));
      EXPECT_EQ(1, run.exitCode);
      EXPECT_THAT(run.err, HasSubstr("(result-damaged)\n"));
      EXPECT_TRUE(Names().empty());
    }
  }
}

TEST_F(MergeSafety, NoticesWhatADiskLosesOfAResultWithTheMovieInFront) {
  const Finished run = support::Run(OnLosingDisk(Merge({"--faststart", "--verify=full"}), false));
  EXPECT_EQ(1, run.exitCode);
  EXPECT_THAT(run.err, HasSubstr("(result-damaged)\n"));
  EXPECT_TRUE(Names().empty());
}

TEST_F(MergeSafety, NoticesWhatADiskLosesBetweenTheSeamsWhenEveryByteIsRead) {
  const Finished run = support::Run(OnLosingDisk(Merge({"--verify=full"}), false));
  EXPECT_EQ(1, run.exitCode);
  EXPECT_THAT(run.err, HasSubstr("(result-damaged)\n"));
  EXPECT_TRUE(Names().empty());
  // What makes the difference: the seams are all right.
  EXPECT_EQ(0, support::Run(OnLosingDisk(Merge(), false)).exitCode);
  EXPECT_EQ(reference_.size(), fs::file_size(output_));
  EXPECT_NE(reference_, ReadFile(output_));
}
#endif
