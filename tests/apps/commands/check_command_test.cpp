#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>

#include "apps/tool.h"
#include "support/bytes.h"
#include "support/movie_builder.h"
#include "support/temp_dir.h"

namespace fs = std::filesystem;
using support::Bytes;
using support::Finished;
using support::ReadFile;
using support::TempDir;
using support::WriteFile;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using Json = nlohmann::json;

namespace {

const std::string kClip1 = support::SourcePath("examples/clips/clip1.mp4");
const std::string kClip2 = support::SourcePath("examples/clips/clip2.mp4");
const std::string kClip3 = support::SourcePath("examples/clips/clip3.mp4");

class CheckCommand : public testing::Test {
 protected:
  std::string Write(const std::string& name, const Bytes& bytes) {
    WriteFile(folder_ / name, bytes);
    return folder_ / name;
  }
  static Finished Check(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "check");
    return Tool(arguments);
  }

  TempDir folder_;
};

}  // namespace

TEST_F(CheckCommand, FindsTheExampleClipsInOrder) {
  const Finished run = Check({kClip1, kClip2, kClip3});
  EXPECT_EQ(0, run.exitCode) << run.out;
  EXPECT_EQ("", run.err);
  EXPECT_THAT(run.out, HasSubstr("ms  " + kClip3));
  EXPECT_THAT(run.out, HasSubstr("3 clips: "));
  EXPECT_THAT(run.out, HasSubstr("; the merged file takes "));
}

TEST_F(CheckCommand, EndsWithOneForAnErrorAndSaysWhereItIs) {
  Bytes cut = ReadFile(kClip2);
  cut.resize(cut.size() - 10);
  const std::string bad = Write("cut.mp4", cut);
  const Finished run = Check({kClip1, bad});
  EXPECT_EQ(1, run.exitCode);
  EXPECT_EQ("", run.err);
  EXPECT_THAT(run.out, HasSubstr("error: " + bad + " ends at byte"));
  EXPECT_THAT(run.out, HasSubstr("(file-cut-off)\n"));
  EXPECT_THAT(run.out,
              HasSubstr("  copy the clip again from the card; \"clipchain rescue\" finds "));
  EXPECT_THAT(run.out, Not(HasSubstr("the merged file takes")));
}

TEST_F(CheckCommand, TakesAWrongOrderForAProblem) {
  const Finished run = Check({kClip2, kClip1});
  EXPECT_EQ(1, run.exitCode) << run.out;
  EXPECT_THAT(run.out, HasSubstr("problem: " + kClip2 + " "));
  EXPECT_THAT(run.out, HasSubstr("let --sort put them in order: " + kClip1 + ", " + kClip2));
}

TEST_F(CheckCommand, EndsWithOneForAProblem) {
  EXPECT_EQ(1, Check({kClip1, kClip3}).exitCode);
  EXPECT_THAT(Check({kClip1, kClip3}).out, HasSubstr("(clip-missing)"));
}

TEST_F(CheckCommand, LooksAtTheOutputIfItIsNamed) {
  const std::string there = Write("there.mp4", support::Text("x"));
  EXPECT_EQ(0, Check({"-o", folder_ / "new.mp4", kClip1}).exitCode);
  const Finished run = Check({"-o", there, kClip1});
  EXPECT_EQ(1, run.exitCode);
  EXPECT_THAT(run.out, HasSubstr("error: " + there + " exists already"));
  EXPECT_EQ(0, Check({"-o", there, "--overwrite", kClip1}).exitCode);
  EXPECT_EQ(support::Text("x"), ReadFile(there));
}

TEST_F(CheckCommand, NamesTheClipThatExceedsTheMemory) {
  const Finished run = Check({"--memory-limit", "20k", kClip1, kClip2});
  EXPECT_EQ(1, run.exitCode);
  EXPECT_THAT(run.out, HasSubstr("(memory-limit"));
  EXPECT_EQ(0, Check({"--memory-limit", "50M", kClip1, kClip2}).exitCode);
}

TEST_F(CheckCommand, RefusesACommandLineWithoutClips) {
  EXPECT_EQ(2, Check({}).exitCode);
  EXPECT_EQ(2, Check({"--memory-limit", "-3", kClip1}).exitCode);
  EXPECT_EQ(2, Check({"--unknown", kClip1}).exitCode);
}

TEST_F(CheckCommand, PrintsForPrograms) {
  const std::string missing = folder_ / "missing\xFF.mp4";
  const Finished run = Check({"--json", "-o", folder_ / "out.mp4", kClip1, missing});
  EXPECT_EQ(1, run.exitCode);
  const Json document = Json::parse(run.out);
  EXPECT_EQ("errors", document["verdict"]);
  ASSERT_EQ(2u, document["clips"].size());
  EXPECT_EQ(kClip1, document["clips"][0]["path"]);
  EXPECT_TRUE(document["clips"][0]["drift"].is_null());
  EXPECT_EQ(std::string(folder_ / "out.mp4"), document["output"]["path"]);
  ASSERT_EQ(1u, document["findings"].size());
  const Json& finding = document["findings"][0];
  EXPECT_EQ("input-unreadable", finding["name"]);
  EXPECT_EQ("error", finding["severity"]);
  EXPECT_TRUE(finding.contains("path_bytes"));
  EXPECT_EQ("MP4G_E_INPUT_OPEN", finding["result"]);
}

TEST_F(CheckCommand, PrintsTheDriftForPrograms) {
  const Json document = Json::parse(Check({"--json", kClip1, kClip2}).out);
  EXPECT_EQ("fine", document["verdict"]);
  EXPECT_TRUE(document["adaptations"].is_array());
  EXPECT_TRUE(document["output"].is_null());
  EXPECT_GT(document["output_size"], 1000);
  for (const Json& clip : document["clips"]) EXPECT_TRUE(clip["drift"].is_number());
}

TEST_F(CheckCommand, EndsByASignalThatComesWhileItReads) {
  ASSERT_TRUE(support::HasProgram("strace")) << "scripts/test installs it";
  const Finished run =
      support::Run({"strace", "-o", folder_ / "trace", "-e", "inject=openat:signal=INT", "-P",
                    kClip1, CLIPCHAIN_TOOL_PATH, "check", "--exact", kClip1, kClip2});
  EXPECT_NE(0, run.exitCode);
  EXPECT_THAT(run.out, HasSubstr("the check was stopped before clip 2 of 2 (merge-stopped)"));
}
