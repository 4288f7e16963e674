#include "workflow/stream_merge.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <filesystem>
#include <thread>

#include "foundation/result.h"
#include "support/movie_builder.h"
#include "support/movie_oracle.h"
#include "support/temp_dir.h"

using namespace clipchain;
using support::Bytes;
using testing::HasSubstr;

namespace fs = std::filesystem;

namespace {

using Phase = Step::Phase;

class StreamMergeTest : public testing::Test {
 protected:
  StreamMergeTest() {
    options.check.output = "the pipe";
    inputs = {Put("a.mp4", support::Clip(300, 1).Build()),
              Put("b.mp4", support::Clip(250, 7).Build())};
  }

  std::string Put(const std::string& name, const Bytes& bytes) {
    support::WriteFile(folder / name, bytes);
    return folder / name;
  }

  // Reads all that comes through a pipe, or so many bytes of it.
  SafeMergeReport Stream(std::size_t most = static_cast<std::size_t>(-1)) {
    int ends[2];
    EXPECT_EQ(0, ::pipe2(ends, O_CLOEXEC));
    options.descriptor = ends[1];
    std::thread reader([&, from = ends[0]] {
      unsigned char buffer[1000];
      ssize_t came = 1;
      while (came > 0 && read.size() < most) {
        came = ::read(from, buffer, sizeof buffer);
        if (came > 0) read.insert(read.end(), buffer, buffer + came);
      }
      ::close(from);
    });
    SafeMergeReport report = StreamMerge(inputs, options);
    ::close(ends[1]);
    reader.join();
    return report;
  }

  void ExpectFailure(const SafeMergeReport& report, Message message) {
    EXPECT_FALSE(report.done);
    ASSERT_FALSE(report.findings.empty());
    EXPECT_EQ(MessageName(message), MessageName(report.findings.back().message));
    EXPECT_NE("", report.findings.back().path);
  }

  support::TempDir folder;
  std::vector<std::string> inputs;
  StreamOptions options;
  Bytes read;
};

}  // namespace

TEST_F(StreamMergeTest, WritesWhatAMergeWithTheMovieInFrontGives) {
  SafeMergeOptions merge;
  merge.check.output = folder / "out.mp4";
  merge.faststart = true;
  ASSERT_TRUE(SafeMerge(inputs, merge).done);
  const SafeMergeReport report = Stream();
  EXPECT_TRUE(report.done);
  EXPECT_EQ(static_cast<long long>(read.size()), report.size);
  EXPECT_EQ(support::ReadFile(merge.check.output), read);
  EXPECT_EQ("ftyp", support::ReadMovie(read).topLevel.front());
}

TEST_F(StreamMergeTest, WritesIntoAFileThatIsOpen) {
  const std::string path = folder / "redirected";
  options.descriptor = ::open(path.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600);
  EXPECT_TRUE(StreamMerge(inputs, options).done);
  ::close(options.descriptor);
  Stream();
  EXPECT_EQ(support::ReadFile(path), read);
}

TEST_F(StreamMergeTest, SaysThatAReaderWentAwayAndRaisesNoSignal) {
  Put("a.mp4", support::Clip(30000, 1).Build());
  const SafeMergeReport report = Stream(1);
  ExpectFailure(report, Message::kOutputUnwritable);
  EXPECT_THAT(report.findings.back().text, HasSubstr("nobody reads"));
  sigset_t pending;
  ::sigpending(&pending);
  EXPECT_EQ(0, ::sigismember(&pending, SIGPIPE));
}

TEST_F(StreamMergeTest, BlamesNoClipForAnOutputThatTakesNothing) {
  options.descriptor = ::open("/dev/full", O_WRONLY | O_CLOEXEC);
  ASSERT_LE(0, options.descriptor);
  const SafeMergeReport report = StreamMerge(inputs, options);
  ::close(options.descriptor);
  ExpectFailure(report, Message::kOutputUnwritable);
  EXPECT_EQ(MP4G_E_OUTPUT_WRITE, report.result);
  for (const Finding& finding : report.findings) EXPECT_EQ("the pipe", finding.path);
}

TEST_F(StreamMergeTest, StopsWhileAReaderDoesNotRead) {
  Put("a.mp4", support::Clip(30000, 1).Build());
  int ends[2];
  ASSERT_EQ(0, ::pipe2(ends, O_CLOEXEC));
  options.descriptor = ends[1];
  int asked = 0;
  options.check.progress = [&](const Step& step) {
    return step.phase != Phase::kCopying || ++asked < 4;
  };
  ExpectFailure(StreamMerge(inputs, options), Message::kMergeStopped);
  ::close(ends[0]);
  ::close(ends[1]);
}

TEST_F(StreamMergeTest, WritesNothingWhereTheClipsDoNotFit) {
  support::MovieBuilder other = support::Clip(25, 7);
  other.tracks.pop_back();
  Put("b.mp4", other.Build());
  EXPECT_FALSE(Stream().done);
  EXPECT_TRUE(read.empty());
  inputs.clear();
  ExpectFailure(Stream(), Message::kNothingToMerge);
  EXPECT_TRUE(read.empty());
}

TEST_F(StreamMergeTest, NeverWritesIntoAClip) {
  const Bytes before = support::ReadFile(inputs[1]);
  options.descriptor = ::open(inputs[1].c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
  ExpectFailure(StreamMerge(inputs, options), Message::kOutputIsInput);
  ::close(options.descriptor);
  EXPECT_EQ(before, support::ReadFile(inputs[1]));
}

TEST_F(StreamMergeTest, SaysThatAClipChangedMeanwhile) {
  options.check.progress = [&, once = true](const Step& step) mutable {
    if (step.phase == Phase::kCopying && step.clip == 1 && once) {
      once = false;
      Bytes other = support::ReadFile(inputs[0]);
      other.back() ^= 1;
      support::WriteFile(inputs[0], other);
    }
    return true;
  };
  ExpectFailure(Stream(), Message::kInputChanged);
}
