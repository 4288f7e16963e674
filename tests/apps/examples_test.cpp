// The programs of examples/, which use the shared library from C and from C++.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "apps/tool.h"
#include "support/temp_dir.h"

namespace {

using support::Finished;

std::vector<std::string> WithClips(std::vector<std::string> command) {
  for (const char* name : {"clip1.mp4", "clip2.mp4", "clip3.mp4"})
    command.push_back(support::SourcePath("examples/clips") / name);
  return command;
}

class Examples : public testing::Test {
 protected:
  // The program writes what the tool writes.
  void ExpectMerges(const std::vector<std::string>& command) {
    ASSERT_EQ(0, Tool(WithClips({"merge", "-o", tool_})).exitCode);
    const Finished run = support::Run(WithClips(command));
    EXPECT_EQ(0, run.exitCode) << run.err;
    EXPECT_TRUE(support::ReadFile(tool_) == support::ReadFile(output_));
  }

  support::TempDir folder_;
  std::string tool_ = folder_ / "tool.mp4";
  std::string output_ = folder_ / "example.mp4";
};

}  // namespace

TEST_F(Examples, MergeFilesFromC) { ExpectMerges({CLIPCHAIN_C_EXAMPLE, output_}); }

TEST_F(Examples, MergeBytesInMemoryFromC) {
  ExpectMerges({CLIPCHAIN_C_EXAMPLE, "--memory", output_});
}

TEST_F(Examples, MergeFilesFromCpp) { ExpectMerges({CLIPCHAIN_CPP_EXAMPLE, output_}); }

TEST_F(Examples, SayWhichResultStoppedThem) {
  const std::string missing = folder_ / "missing.mp4";
  const Finished c = support::Run({CLIPCHAIN_C_EXAMPLE, output_, missing});
  EXPECT_EQ(1, c.exitCode);
  EXPECT_EQ(missing + ": 0xA0000001\n", c.err);
  const Finished cpp = support::Run({CLIPCHAIN_CPP_EXAMPLE, output_, missing});
  EXPECT_EQ(1, cpp.exitCode);
  EXPECT_EQ("MP4G_E_INPUT_OPEN\n", cpp.err);
  EXPECT_FALSE(std::filesystem::exists(output_));
}
