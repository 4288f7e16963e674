// The programs of examples/, which use the shared library from C, C++ and Python.
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

TEST_F(Examples, MergeThroughTheFlatFunctionsOfTheEngine) {
  ExpectMerges({CLIPCHAIN_LIVE_EXAMPLE, output_});
}

TEST_F(Examples, MergeBytesInMemoryFromC) {
  ExpectMerges({CLIPCHAIN_LIVE_EXAMPLE, "--memory", output_});
}

TEST_F(Examples, ReplaceNothing) {
  const support::Bytes clip = support::ReadFile(support::SourcePath("examples/clips/clip1.mp4"));
  support::WriteFile(output_, clip);
  for (const std::string program : {CLIPCHAIN_C_EXAMPLE, CLIPCHAIN_LIVE_EXAMPLE,
                                    CLIPCHAIN_CPP_EXAMPLE, CLIPCHAIN_FRONT_EXAMPLE}) {
    EXPECT_EQ(1, support::Run({program, output_, output_, output_}).exitCode) << program;
    EXPECT_TRUE(clip == support::ReadFile(output_)) << program;
  }
}

TEST_F(Examples, MergeFilesFromCpp) { ExpectMerges({CLIPCHAIN_CPP_EXAMPLE, output_}); }

TEST_F(Examples, MergeFilesThroughTheFrontObject) {
  ExpectMerges({CLIPCHAIN_FRONT_EXAMPLE, output_});
}

#ifdef CLIPCHAIN_PYTHON
TEST_F(Examples, MergeFilesFromPython) {
  const std::string script = support::SourcePath("examples/merge_clips.py");
  ExpectMerges({"env", "CLIPCHAIN_LIBRARY=" CLIPCHAIN_LIBRARY, CLIPCHAIN_PYTHON, script, output_});
}

TEST_F(Examples, ReplaceNothingFromPython) {
  const support::Bytes clip = support::ReadFile(support::SourcePath("examples/clips/clip1.mp4"));
  support::WriteFile(output_, clip);
  const Finished run =
      support::Run({"env", "CLIPCHAIN_LIBRARY=" CLIPCHAIN_LIBRARY, CLIPCHAIN_PYTHON,
                    support::SourcePath("examples/merge_clips.py"), output_,
                    support::SourcePath("examples/clips/clip2.mp4"), output_});
  EXPECT_EQ(1, run.exitCode);
  EXPECT_THAT(run.err, testing::HasSubstr("is the same file as the input"));
  EXPECT_TRUE(clip == support::ReadFile(output_));
}
#endif

TEST_F(Examples, ShowProgressUpToTheEnd) {
  const Finished run = support::Run(WithClips({CLIPCHAIN_FRONT_EXAMPLE, output_}));
  EXPECT_EQ(0, run.exitCode) << run.err;
  EXPECT_EQ("\r  0 %\r100 %\n\r  0 %\r100 %\n\r  0 %\r100 %\n", run.out);
}

TEST_F(Examples, ChainClipsByWhatTheCameraWrote) {
  std::string clips[3];
  for (int i = 0; i < 3; ++i)
    clips[i] = support::SourcePath("examples/clips/clip" + std::to_string(i + 1) + ".mp4");

  const Finished all = support::Run({CLIPCHAIN_CHAIN_EXAMPLE, clips[2], clips[0], clips[1]});
  EXPECT_EQ(0, all.exitCode) << all.err;
  EXPECT_EQ("2024-06-01 10:00:00\n  " + clips[0] + "\n  " + clips[1] + "\n  " + clips[2] + "\n",
            all.out);
  const Finished one = support::Run({CLIPCHAIN_CHAIN_EXAMPLE, clips[1]});
  EXPECT_EQ("2024-06-01 10:00:02, incomplete\n  " + clips[1] + "\n", one.out);
  const Finished none = support::Run({CLIPCHAIN_CHAIN_EXAMPLE, folder_ / "missing.mp4"});
  EXPECT_EQ(1, none.exitCode);
  EXPECT_EQ(std::string(folder_ / "missing.mp4") + ": E_HANDLE\n", none.err);
}

TEST_F(Examples, SayWhichResultStoppedThem) {
  const std::string missing = folder_ / "missing.mp4";
  const Finished c = support::Run({CLIPCHAIN_C_EXAMPLE, output_, missing});
  EXPECT_EQ(1, c.exitCode);
  EXPECT_THAT(c.out, testing::HasSubstr("\"name\": \"input-unreadable\""));
  const Finished live = support::Run({CLIPCHAIN_LIVE_EXAMPLE, output_, missing});
  EXPECT_EQ(1, live.exitCode);
  EXPECT_EQ(missing + ": 0xA0000001\n", live.err);
  const Finished cpp = support::Run({CLIPCHAIN_CPP_EXAMPLE, output_, missing});
  EXPECT_EQ(1, cpp.exitCode);
  EXPECT_EQ("MP4G_E_INPUT_OPEN\n", cpp.err);
  const Finished front = support::Run({CLIPCHAIN_FRONT_EXAMPLE, output_, missing});
  EXPECT_EQ(1, front.exitCode);
  EXPECT_EQ("MP4G_E_INPUT_OPEN\n", front.err);
  EXPECT_FALSE(std::filesystem::exists(output_));
}
