// What becomes of what the tool prints where nobody takes it.
#include <gmock/gmock.h>

#include <filesystem>

#include "apps/tool.h"
#include "support/temp_dir.h"

using support::Finished;
using support::TempDir;
using testing::HasSubstr;
using testing::Not;
using Words = std::vector<std::string>;

namespace {

const std::string kClips = support::SourcePath("examples/clips");
const std::string kClip1 = kClips + "/clip1.mp4";
const std::string kClip2 = kClips + "/clip2.mp4";

// Every command in every format.
std::vector<Words> EveryOutput(const TempDir& folder) {
  std::vector<Words> all = {
      {"--help"}, {"--version"}, {"merge", "--help"}, {"explain", "order-wrong"}};
  int number = 0;
  for (const bool json : {false, true}) {
    std::vector<Words> commands = {
        {"info", kClip1},
        {"info", "--tree", kClip1},
        {"check", kClip1, kClip2},
        {"verify", kClips, "--against", kClips},
        {"sequences", kClips},
        {"join", "--dry-run", "-o", folder / "plan", kClips},
        {"join", "-o", folder / ("joined" + std::to_string(++number)), kClips},
        {"merge", "-o", folder / ("merged" + std::to_string(number)), kClip1, kClip2}};
    for (Words& command : commands) {
      if (json) command.push_back("--json");
      all.push_back(command);
    }
  }
  return all;
}

// As the shell has it, with something behind.
Finished InShell(const Words& command, const std::string& before, const std::string& behind) {
  std::string line = before;
  for (const std::string& word : ToolCommand(command)) line += " '" + word + "'";
  return support::Run({"bash", "-c", line + behind});
}

}  // namespace

TEST(StandardOutput, ThatTakesNothingIsAFailureWithASentence) {
  const TempDir folder;
  for (const Words& command : EveryOutput(folder)) {
    const Finished run = InShell(command, "", " > /dev/full");
    EXPECT_EQ(1, run.exitCode) << testing::PrintToString(command);
    EXPECT_THAT(run.err, HasSubstr("clipchain: not all of the output could be written: "
                                   "No space left on device\n"))
        << testing::PrintToString(command);
  }
}

TEST(StandardOutput, ThatIsClosedIsAFailureWithASentence) {
  const TempDir folder;
  for (const Words& command : EveryOutput(folder)) {
    const Finished run = InShell(command, "", " >&-");
    EXPECT_EQ(1, run.exitCode) << testing::PrintToString(command);
    EXPECT_THAT(run.err, HasSubstr("could be written: Bad file descriptor\n"))
        << testing::PrintToString(command);
  }
  EXPECT_EQ(0, InShell({"merge", "-q", "-o", folder / "quiet.mp4", kClip1}, "", " >&-").exitCode);
}

// A limit that strikes behind the first kilobytes, which were taken.
TEST(StandardOutput, ThatTakesOnlyABeginningIsAFailure) {
  const TempDir folder;
  const std::string out = folder / "out";
  const Words command = {"info", "--tree", "--json", kClip1};
  const Finished run = InShell(command, "ulimit -f 4; exec", " > '" + out + "'");
  EXPECT_EQ(1, run.exitCode);
  EXPECT_THAT(run.err, HasSubstr("could be written: File too large\n"));
  EXPECT_EQ(4096u, std::filesystem::file_size(out));
}

TEST(StandardOutput, WhoseReaderHasGoneEndsQuietlyAsOtherToolsDo) {
  const TempDir folder;
  for (const Words& command : EveryOutput(folder)) {
    const Finished run = InShell(command, "(sleep 0.05; exec", ") | true; exit ${PIPESTATUS[0]}");
    EXPECT_EQ(128 + SIGPIPE, run.exitCode) << testing::PrintToString(command);
    EXPECT_THAT(run.err, Not(HasSubstr("clipchain: "))) << testing::PrintToString(command);
  }
}

TEST(StandardOutput, WhoseReaderHasGoneIsAFailureWhereTheSignalIsIgnored) {
  const Finished run = InShell({"info", kClip1}, "trap '' PIPE; (sleep 0.05; exec",
                               ") | true; exit ${PIPESTATUS[0]}");
  EXPECT_EQ(1, run.exitCode);
  EXPECT_THAT(run.err, HasSubstr("could be written: Broken pipe\n"));
}
