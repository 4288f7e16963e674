#include "clipchain/manual/exit_status.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <map>
#include <set>

#include "apps/tool.h"
#include "support/bytes.h"
#include "support/temp_dir.h"
#include "workflow/rescue/sound_decoder.h"

namespace fs = std::filesystem;
using clipchain::ExitStatus;
using clipchain::ExitStatuses;
using support::Bytes;
using support::TempDir;

namespace {

using Words = std::vector<std::string>;

// A command line for every code of every command, run where there are clips, a clip that is broken,
// and a merged file with its archive, whole and damaged.
class ExitStatusTest : public testing::Test {
 protected:
  void SetUp() override {
    for (const char* name : {"card", "two", "kept", "empty"}) fs::create_directory(dir_ / name);
    for (const int number : {1, 2, 3}) {
      const std::string name = "clip" + std::to_string(number) + ".mp4";
      const std::string clip = support::SourcePath("examples/clips/" + name);
      fs::copy(clip, dir_ / "card" / name);
      if (number < 3) fs::copy(clip, dir_ / "two" / name);
    }
    const Bytes last = support::ReadFile(dir_ / "card/clip3.mp4");
    support::WriteFile(dir_ / "two/broken.mp4",
                       support::Slice(last, 0, support::FindBox(last, "moov")));
    ASSERT_EQ(0, Tool({"merge", "--originals", "-o", At("kept/all.mp4"), At("card/clip1.mp4"),
                       At("card/clip2.mp4"), At("card/clip3.mp4")})
                     .exitCode);
    fs::copy(dir_ / "kept", dir_ / "damaged");
    Bytes merged = support::ReadFile(dir_ / "damaged/all.mp4");
    merged[support::FindBox(merged, "moov") - 1] ^= 1;
    support::WriteFile(dir_ / "damaged/all.mp4", merged);
  }
  std::string At(const std::string& name) const { return dir_ / name; }

  Words LineFor(const std::string& command, int code) const {
    const std::string one = At("card/clip1.mp4");
    const std::string absent = At("absent.mp4");
    const std::string broken = At("two/broken.mp4");
    const std::map<std::pair<std::string, int>, Words> lines = {
        {{"", 0}, {"--help"}},
        {{"", 1}, {"explain", "no-such"}},
        {{"", 2}, {}},
        {{"", 3}, {"info", one, absent}},
        {{"merge", 0}, {"merge", "-o", At("o.mp4"), one, At("card/clip2.mp4")}},
        {{"merge", 1}, {"merge", "-o", At("p.mp4"), one, absent}},
        {{"merge", 2}, {"merge", one}},
        {{"check", 0}, {"check", one, At("card/clip2.mp4")}},
        {{"check", 1}, {"check", one, absent}},
        {{"check", 2}, {"check"}},
        {{"join", 0}, {"join", At("card"), "-o", At("joined")}},
        {{"join", 1}, {"join", absent, "-o", At("joined")}},
        {{"join", 2}, {"join", At("card")}},
        {{"join", 3}, {"join", At("two"), "-o", At("joined")}},
        {{"rescue", 0}, {"rescue", broken, "-o", At("rescued.mp4")}},
        {{"rescue", 1}, {"rescue", one, "-o", At("not rescued.mp4")}},
        {{"rescue", 2}, {"rescue"}},
        {{"sequences", 0}, {"sequences", At("card")}},
        {{"sequences", 1}, {"sequences", absent}},
        {{"sequences", 2}, {"sequences"}},
        {{"sequences", 3}, {"sequences", At("two")}},
        {{"info", 0}, {"info", one}},
        {{"info", 1}, {"info", absent}},
        {{"info", 2}, {"info"}},
        {{"info", 3}, {"info", one, broken}},
        {{"verify", 0}, {"verify", At("card"), "--against", At("kept")}},
        {{"verify", 1}, {"verify", At("empty"), "--against", At("kept")}},
        {{"verify", 2}, {"verify"}},
        {{"verify", 3}, {"verify", At("two"), "--against", At("kept")}},
        {{"split", 0}, {"split", At("kept/all.mp4"), "-o", At("back")}},
        {{"split", 1}, {"split", one, "-o", At("nothing")}},
        {{"split", 2}, {"split"}},
        {{"split", 3}, {"split", At("damaged/all.mp4"), "-o", At("most")}},
        {{"explain", 0}, {"explain", "no-clips"}},
        {{"explain", 1}, {"explain", "no-such"}},
        {{"explain", 2}, {"explain"}},
    };
    const auto line = lines.find({command, code});
    return line != lines.end() ? line->second : Words{"there is no line for it"};
  }

  TempDir dir_;
};

TEST_F(ExitStatusTest, IsWhatEachCommandEndsWith) {
  for (const ExitStatus& status : ExitStatuses()) {
    const std::string command(status.command);
    if (command == "rescue" && status.code == 0 && !clipchain::rescue::HasDecoder()) continue;
    const support::Finished run = Tool(LineFor(command, status.code));
    EXPECT_EQ(status.code, run.exitCode) << command << "\n" << run.out << run.err;
  }
}

}  // namespace

// No command ends with a code that its page does not have.
TEST(ExitStatuses, AreInOrderAndOnceEach) {
  std::set<std::pair<std::string_view, int>> seen;
  for (const ExitStatus& status : ExitStatuses()) {
    EXPECT_TRUE(seen.insert({status.command, status.code}).second) << status.command;
    EXPECT_EQ('.', status.text.back());
  }
  for (const char* command : {"", "merge", "check", "join", "rescue", "sequences", "info", "verify",
                              "split", "explain"}) {
    for (const int code : {0, 1, 2}) EXPECT_EQ(1u, seen.count({command, code})) << command;
  }
}
