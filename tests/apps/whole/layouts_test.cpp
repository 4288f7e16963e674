// --faststart, -o - and --reflink: results of other layouts, on the command line.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>

#include "apps/tool.h"
#include "support/movie_oracle.h"
#include "support/temp_dir.h"

namespace fs = std::filesystem;
using support::Bytes;
using support::Finished;
using support::ReadFile;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

class Layouts : public testing::Test {
 protected:
  Layouts() {
    fs::create_directory(folder / "card");
    for (const char* name : {"clip1.mp4", "clip2.mp4", "clip3.mp4"}) {
      clips.push_back(folder.path() / "card" / name);
      fs::copy_file(support::SourcePath(std::string("examples/clips/") + name), clips.back());
    }
  }

  Finished Merge(std::vector<std::string> more) const {
    more.insert(more.begin(), "merge");
    more.insert(more.end(), clips.begin(), clips.end());
    return Tool(more);
  }
  static Bytes BytesOf(const std::string& text) { return Bytes(text.begin(), text.end()); }
  static std::vector<std::string> TopLevelOf(const Bytes& file) {
    return support::ReadMovie(file).topLevel;
  }

  support::TempDir folder;
  std::vector<std::string> clips;
  const std::string output = folder / "out.mp4";
};

}  // namespace

TEST_F(Layouts, AResultWithTheMovieInFrontIsKeptAndSplitLikeAnyOther) {
  fs::create_directory(folder / "kept");
  const std::string result = folder / "kept/out.mp4";
  const Finished run = Merge({"--faststart", "--originals", "--checksums", "-o", result});
  EXPECT_EQ(0, run.exitCode) << run.err;
  EXPECT_THAT(TopLevelOf(ReadFile(result)), ElementsAre("ftyp", "moov", "free", "mdat"));
  EXPECT_EQ(0, Tool({"verify", folder / "card", "--against", folder / "kept"}).exitCode);
  EXPECT_EQ(0, Tool({"split", result, "-o", folder / "again"}).exitCode);
  for (const std::string& clip : clips)
    EXPECT_EQ(ReadFile(clip), ReadFile(folder.path() / "again" / fs::path(clip).filename()));
  for (const char* beside : {".originals", ".xxh"}) fs::remove(result + beside);
  EXPECT_EQ(0, Tool({"verify", folder / "card", "--against", folder / "kept"}).exitCode);
  Bytes damaged = ReadFile(result);
  damaged[100] ^= 1;
  support::WriteFile(result, damaged);
  EXPECT_EQ(3, Tool({"verify", folder / "card", "--against", folder / "kept"}).exitCode);
}

TEST_F(Layouts, AJoinPutsTheMovieInFrontAndKnowsItAgain) {
  const auto join = [&](std::vector<std::string> more) {
    more.insert(more.begin(), {"join", folder / "card", "-o", folder / "joined"});
    return Tool(more);
  };
  ASSERT_EQ(0, join({"--faststart"}).exitCode);
  fs::path result;
  for (const auto& entry : fs::directory_iterator(folder / "joined")) result = entry.path();
  const Bytes front = ReadFile(result);
  EXPECT_EQ("moov", TopLevelOf(front)[1]);
  EXPECT_THAT(join({"--faststart"}).out, HasSubstr("1 already there"));
  EXPECT_THAT(join({}).out, HasSubstr("1 already there"));
  fs::remove(result);
  ASSERT_EQ(0, join({}).exitCode);
  const Finished other = join({"--faststart"});
  EXPECT_EQ(3, other.exitCode);
  EXPECT_THAT(other.out + other.err, HasSubstr("behind its media"));
  EXPECT_EQ("moov", TopLevelOf(ReadFile(result)).back());
}

TEST_F(Layouts, StandardOutputGetsTheResultAndNothingElse) {
  ASSERT_EQ(0, Merge({"--faststart", "-o", output}).exitCode);
  const Finished run = Merge({"-o", "-"});
  EXPECT_EQ(0, run.exitCode);
  EXPECT_EQ(ReadFile(output), BytesOf(run.out));
  EXPECT_THAT(run.err, HasSubstr("merged 3 clips into standard output: "));
  const Finished json = Merge({"-o", "-", "--json"});
  EXPECT_EQ(run.out, json.out);
  const auto document = nlohmann::json::parse(json.err);
  EXPECT_EQ("-", document["path"]);
  EXPECT_EQ(true, document["done"]);
  EXPECT_EQ(run.out.size(), document["size"]);
  EXPECT_EQ(run.out, Merge({"-q", "-o", "-", "--faststart"}).out);
}

TEST_F(Layouts, StandardOutputIsRefusedWhatNeedsAFile) {
  for (const char* option : {"--overwrite", "--originals", "--checksums", "--verify=full",
                             "--reflink=auto", "--remove-leftovers"}) {
    const Finished run = Merge({"-o", "-", option});
    EXPECT_EQ(2, run.exitCode) << option;
    EXPECT_EQ("", run.out);
    EXPECT_THAT(run.err, HasSubstr("-o -"));
  }
  std::vector<std::string> terminal = {"merge", "-o", "-"};
  terminal.insert(terminal.end(), clips.begin(), clips.end());
  const Finished shown = support::RunOnTerminal(ToolCommand(terminal));
  EXPECT_EQ(2, shown.exitCode);
  EXPECT_THAT(shown.out, HasSubstr("terminal"));
  // A file may have that name, too.
  EXPECT_EQ(0, Merge({"-o", folder / "-"}).exitCode);
  EXPECT_TRUE(fs::exists(folder / "-"));
}

TEST_F(Layouts, AReaderThatGoesAwayIsAFailure) {
  const std::vector<std::string> script = {
      "sh", "-c", "(\"$0\" \"$@\"; echo $? >\"$CODE\") | head -c 100 >/dev/null"};
  std::vector<std::string> command = ToolCommand({"merge", "-o", "-"});
  // More than a pipe takes at once.
  for (int i = 0; i < 40; ++i) command.push_back(clips[0]);
  command.insert(command.end() - 40, "--force");
  command.insert(command.begin(), script.begin(), script.end());
  ::setenv("CODE", (folder / "code").c_str(), 1);
  const Finished run = support::Run(command);
  EXPECT_EQ("1\n", [&] {
    const Bytes code = ReadFile(folder / "code");
    return std::string(code.begin(), code.end());
  }()) << run.err;
  EXPECT_THAT(run.err, HasSubstr("nobody reads it any more"));
  EXPECT_THAT(run.err, HasSubstr("of no use"));
}

TEST_F(Layouts, StandardOutputThatIsClosedIsAnError) {
  std::vector<std::string> command = ToolCommand({"merge", "-o", "-", clips[0]});
  command.insert(command.begin(), {"sh", "-c", "exec \"$0\" \"$@\" >&-"});
  const Finished run = support::Run(command);
  EXPECT_EQ(2, run.exitCode);
  EXPECT_THAT(run.err, HasSubstr("closed"));
}

TEST_F(Layouts, SharingTakesThreeWordsAndGivesAWholeResult) {
  EXPECT_EQ(2, Merge({"--reflink=sometimes", "-o", output}).exitCode);
  EXPECT_EQ(0, Merge({"--reflink=never", "-o", output}).exitCode);
  EXPECT_EQ(0, Merge({"--reflink=auto", "--overwrite", "--verify=full", "-o", output}).exitCode);
  const Finished json = Merge({"--reflink", "auto", "--json", "--overwrite", "-o", output});
  EXPECT_TRUE(nlohmann::json::parse(json.out)["shared"].is_number());
}
