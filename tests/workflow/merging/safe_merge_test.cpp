#include "workflow/safe_merge.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <tuple>

#include "support/movie_builder.h"
#include "support/movie_oracle.h"
#include "support/result_matchers.h"
#include "support/small_disk.h"
#include "workflow/merging/safe_merge_fixture.h"

using namespace clipchain;
using SafeMergeTest = support::SafeMergeFixture;
using support::Bytes;
using support::ReadFile;
using support::Text;
using testing::HasSubstr;

namespace fs = std::filesystem;

namespace {

using Phase = Step::Phase;

const std::vector<std::string> kOutputOnly = {"out.mp4"};
const std::vector<std::string> kNothing = {};

}  // namespace

TEST_F(SafeMergeTest, LeavesTheCompleteOutputAndNothingElse) {
  const Bytes a = ReadFile(inputs[0]);
  const Bytes b = ReadFile(inputs[1]);
  const SafeMergeReport report = SafeMerge(inputs, options);
  EXPECT_TRUE(report.done);
  EXPECT_OK(report.result);
  EXPECT_EQ(static_cast<long long>(fs::file_size(options.check.output)), report.size);
  EXPECT_EQ(kOutputOnly, Left());
  EXPECT_EQ(a, ReadFile(inputs[0]));
  EXPECT_EQ(b, ReadFile(inputs[1]));
}

TEST_F(SafeMergeTest, WritesTheSameBytesWhateverIsVerified) {
  ASSERT_TRUE(SafeMerge(inputs, options).done);
  const Bytes expected = ReadFile(options.check.output);
  options.check.overwrite = true;
  options.verification = Verification::kFull;
  ASSERT_TRUE(SafeMerge(inputs, options).done);
  EXPECT_EQ(expected, ReadFile(options.check.output));
}

TEST_F(SafeMergeTest, PutsTheMovieInFrontOfTheSameSamples) {
  ASSERT_TRUE(SafeMerge(inputs, options).done);
  const support::OracleMovie plain = support::ReadMovie(ReadFile(options.check.output));
  options.check.overwrite = true;
  options.faststart = true;
  for (const Verification level : {Verification::kSeams, Verification::kFull}) {
    options.verification = level;
    const SafeMergeReport report = SafeMerge(inputs, options);
    ASSERT_TRUE(report.done);
    EXPECT_EQ(kOutputOnly, Left());
    const support::OracleMovie front = support::ReadMovie(ReadFile(options.check.output));
    EXPECT_EQ((std::vector<std::string>{"ftyp", "moov", "free", "mdat"}), front.topLevel);
    ASSERT_EQ(plain.tracks.size(), front.tracks.size());
    for (std::size_t i = 0; i < plain.tracks.size(); ++i)
      EXPECT_TRUE(plain.tracks[i].samples == front.tracks[i].samples);
  }
}

TEST_F(SafeMergeTest, TellsTheSameStepsWhereTheMovieIsInFront) {
  const auto stepsOf = [this] {
    std::vector<std::tuple<Phase, std::size_t, long long, long long>> steps;
    options.check.progress = [&steps](const Step& step) {
      steps.emplace_back(step.phase, step.clip, step.current, step.total);
      return true;
    };
    EXPECT_TRUE(SafeMerge(inputs, options).done);
    return steps;
  };
  options.check.overwrite = true;
  const auto plain = stepsOf();
  options.faststart = true;
  EXPECT_EQ(plain, stepsOf());
}

TEST_F(SafeMergeTest, StopsInAnyPhaseWhereTheMovieIsInFront) {
  options.faststart = true;
  for (const Phase phase :
       {Phase::kChecking, Phase::kCopying, Phase::kVerifying, Phase::kFlushing}) {
    options.check.progress = [phase](const Step& step) { return step.phase != phase; };
    ExpectFailure(Message::kMergeStopped, options.check.output);
    EXPECT_EQ(kNothing, Left());
  }
}

TEST_F(SafeMergeTest, FindsAClipThatEndsWhileItIsCopiedToAnyLayout) {
  options.faststart = true;
  At(Phase::kCopying, [this] { fs::resize_file(inputs[1], 700); });
  const SafeMergeReport report = SafeMerge(inputs, options);
  EXPECT_FALSE(report.done);
  EXPECT_EQ(kNothing, Left());
}

// No test of sharing where the folder's file system can: the one that cannot is told apart by what
// it answers, and both are right.
TEST_F(SafeMergeTest, SharesBlocksOrSaysThatItCannot) {
  options.reflink = Reflink::kAuto;
  const SafeMergeReport report = SafeMerge(inputs, options);
  ASSERT_TRUE(report.done);
  if (report.shared > 0) {
    options.check.overwrite = true;
    options.reflink = Reflink::kAlways;
    EXPECT_EQ(report.shared, SafeMerge(inputs, options).shared);
    return;
  }
  const Bytes made = ReadFile(options.check.output);
  options.check.overwrite = true;
  options.reflink = Reflink::kNever;
  ASSERT_TRUE(SafeMerge(inputs, options).done);
  EXPECT_EQ(ReadFile(options.check.output), made);
  Put("a.mp4", support::Clip(3000, 1).Build());
  options.reflink = Reflink::kAlways;
  const SafeMergeReport refused = ExpectFailure(Message::kOutputUnwritable, options.check.output);
  EXPECT_THAT(refused.findings.back().text, HasSubstr("share blocks"));
  EXPECT_EQ(made, ReadFile(options.check.output));
  EXPECT_EQ(kOutputOnly, Left());
}

TEST_F(SafeMergeTest, GivesTheOutputTheModeOfAnyNewFile) {
  const mode_t mask = ::umask(026);
  EXPECT_TRUE(SafeMerge(inputs, options).done);
  ::umask(mask);
  struct stat status;
  ASSERT_EQ(0, ::stat(options.check.output.c_str(), &status));
  EXPECT_EQ(0640u, status.st_mode & 07777);
}

TEST_F(SafeMergeTest, TellsEachPhaseInOrderWithAllInputsTogether) {
  std::vector<Step> steps;
  options.check.progress = [&](const Step& step) {
    steps.push_back(step);
    return true;
  };
  ASSERT_TRUE(SafeMerge(inputs, options).done);
  const auto total = static_cast<long long>(fs::file_size(inputs[0]) + fs::file_size(inputs[1]));
  long long copied = 0;
  for (std::size_t i = 0; i < steps.size(); ++i) {
    if (steps[i].phase != Phase::kVerifying) {
      EXPECT_EQ(total, steps[i].total);
    }
    EXPECT_LE(steps[i].current, steps[i].total);
    if (i > 0) {
      EXPECT_LE(steps[i - 1].phase, steps[i].phase);
      EXPECT_LE(steps[i - 1].clip, steps[i].clip);
    }
    if (steps[i].phase != Phase::kCopying) continue;
    EXPECT_LE(copied, steps[i].current);
    copied = steps[i].current;
  }
  EXPECT_EQ(Phase::kChecking, steps.front().phase);
  EXPECT_EQ(Phase::kFlushing, steps.back().phase);
  EXPECT_EQ(1u, steps.back().clip);
  EXPECT_LT(total / 2, copied);
}

TEST_F(SafeMergeTest, LeavesNothingWhereverItIsStopped) {
  for (const Verification verification : {Verification::kSeams, Verification::kFull}) {
    options.verification = verification;
    int calls = 0;
    bool done = false;
    for (int last = 0; !done; ++last) {
      calls = 0;
      options.check.progress = [&](const Step&) { return calls++ < last; };
      const SafeMergeReport report = SafeMerge(inputs, options);
      done = report.done;
      if (done) break;
      ASSERT_EQ(Message::kMergeStopped, report.findings.back().message) << last;
      ASSERT_EQ(kNothing, Left()) << last;
    }
    EXPECT_LT(6, calls);
    EXPECT_EQ(kOutputOnly, Left());
    fs::remove(options.check.output);
  }
}

TEST_F(SafeMergeTest, WritesToAHiddenFileUntilTheEnd) {
  std::string part;
  At(Phase::kVerifying, [&] {
    part = PartName();
    EXPECT_EQ(std::vector<std::string>{part}, Left());
  });
  ASSERT_TRUE(SafeMerge(inputs, options).done);
  EXPECT_THAT(part, testing::StartsWith(".out.mp4.clipchain-"));
  EXPECT_EQ(kOutputOnly, Left());
}

TEST_F(SafeMergeTest, RefusesAnOutputThatExists) {
  Put("out.mp4", Text("old"));
  ExpectFailure(Message::kOutputExists, options.check.output);
  EXPECT_EQ(Text("old"), ReadFile(options.check.output));
  options.force = true;
  ExpectFailure(Message::kOutputExists, options.check.output);
  EXPECT_EQ(kOutputOnly, Left());
}

TEST_F(SafeMergeTest, RefusesAnOutputThatAppearsMeanwhile) {
  At(Phase::kFlushing, [&] { Put("out.mp4", Text("new")); });
  ExpectFailure(Message::kOutputExists, options.check.output);
  EXPECT_EQ(Text("new"), ReadFile(options.check.output));
  EXPECT_EQ(kOutputOnly, Left());
}

TEST_F(SafeMergeTest, KeepsTheOldOutputUntilTheNewOneIsComplete) {
  options.check.overwrite = true;
  Put("out.mp4", Text("old"));
  At(Phase::kFlushing, [&] { EXPECT_EQ(Text("old"), ReadFile(options.check.output)); });
  EXPECT_TRUE(SafeMerge(inputs, options).done);
  EXPECT_NE(Text("old"), ReadFile(options.check.output));
  EXPECT_EQ(kOutputOnly, Left());
}

TEST_F(SafeMergeTest, KeepsTheOldOutputWhenItFails) {
  options.check.overwrite = true;
  Put("out.mp4", Text("old"));
  options.check.progress = [](const Step& step) { return step.phase != Phase::kFlushing; };
  ExpectFailure(Message::kMergeStopped, options.check.output);
  EXPECT_EQ(Text("old"), ReadFile(options.check.output));
  EXPECT_EQ(kOutputOnly, Left());
}

TEST_F(SafeMergeTest, NeverReplacesAnInputThatComesToHaveTheOutputsName) {
  options.check.overwrite = true;
  const Bytes a = ReadFile(inputs[0]);
  for (const bool symbolic : {false, true}) {
    At(Phase::kFlushing, [&] {
      if (symbolic) {
        fs::create_symlink(inputs[0], options.check.output);
      } else {
        fs::create_hard_link(inputs[0], options.check.output);
      }
    });
    ExpectFailure(Message::kOutputIsInput, options.check.output);
    EXPECT_EQ(a, ReadFile(inputs[0]));
    EXPECT_EQ(a, ReadFile(options.check.output));
    EXPECT_EQ(symbolic, fs::is_symlink(options.check.output));
    fs::remove(options.check.output);
  }
}

TEST_F(SafeMergeTest, NeverReplacesALink) {
  options.check.overwrite = true;
  fs::create_symlink("nowhere", options.check.output);
  ExpectFailure(Message::kOutputUnwritable, options.check.output);
  fs::remove(options.check.output);
  At(Phase::kFlushing, [&] { fs::create_symlink("nowhere", options.check.output); });
  ExpectFailure(Message::kOutputUnwritable, options.check.output);
  EXPECT_TRUE(fs::is_symlink(options.check.output));
  EXPECT_EQ(kOutputOnly, Left());
}

// What was written is right, and what it is compared with is another clip.
TEST_F(SafeMergeTest, CallsAClipThatWasReplacedMeanwhileThatAndNotTheResultDamaged) {
  const auto time = fs::last_write_time(inputs[1]);
  const Bytes other = support::Clip(25, 8).Build();
  const Bytes clip = ReadFile(inputs[1]);
  ASSERT_EQ(clip.size(), other.size());
  for (const bool renamed : {false, true}) {
    Put("b.mp4", clip);
    At(Phase::kVerifying, [&] {
      if (renamed) {
        Put("new", other);
        fs::rename(folder / "new", inputs[1]);
      } else {
        Put("b.mp4", other);
      }
      fs::last_write_time(inputs[1], time);
    });
    const SafeMergeReport report = ExpectFailure(Message::kInputChanged, inputs[1]);
    for (const clipchain::Finding& finding : report.findings)
      EXPECT_NE(Message::kResultDamaged, finding.message);
  }
}

// It is no clip any more when it is its turn.
TEST_F(SafeMergeTest, CallsAClipThatWasReplacedBeforeItsCopyThat) {
  At(Phase::kCopying, [&] { Put("b.mp4", Text("no clip")); });
  ExpectFailure(Message::kInputChanged, inputs[1]);
}

// A file there may have the number that an input has here.
TEST_F(SafeMergeTest, ReplacesAnOutputOnAnotherDisk) {
  const support::SmallDisk other(folder / "disk", "size=1m");
  if (!other.mounted()) GTEST_SKIP() << support::kNoSmallDisk;
  options.check.overwrite = true;
  options.check.output = other / "out.mp4";
  support::WriteFile(options.check.output, Text("old"));
  EXPECT_TRUE(SafeMerge(inputs, options).done);
  EXPECT_NE(Text("old"), ReadFile(options.check.output));
}

TEST_F(SafeMergeTest, NeverReplacesWhatIsNoFile) {
  options.check.overwrite = true;
  At(Phase::kFlushing, [&] { EXPECT_EQ(0, ::mkfifo(options.check.output.c_str(), 0600)); });
  ExpectFailure(Message::kOutputUnwritable, options.check.output);
  EXPECT_TRUE(fs::is_fifo(options.check.output));
  fs::remove(options.check.output);
  At(Phase::kFlushing, [&] { fs::create_directory(options.check.output); });
  ExpectFailure(Message::kOutputUnwritable, options.check.output);
  EXPECT_TRUE(fs::is_directory(options.check.output));
  fs::remove(options.check.output);
  options.check.progress = nullptr;
  options.check.output = "/dev/null";
  EXPECT_FALSE(SafeMerge(inputs, options).done);
  EXPECT_TRUE(fs::is_character_file("/dev/null"));
}

TEST_F(SafeMergeTest, FindsThatAnInputChanged) {
  At(Phase::kVerifying, [&] { fs::last_write_time(inputs[1], fs::file_time_type::min()); });
  ExpectFailure(Message::kInputChanged, inputs[1]);
  EXPECT_EQ(kNothing, Left());
}

TEST_F(SafeMergeTest, FindsThatAnInputGrewWasReplacedOrWent) {
  const Bytes clip = ReadFile(inputs[1]);
  const auto time = fs::last_write_time(inputs[1]);
  const std::function<void()> changes[] = {[&] {
                                             Bytes longer = clip;
                                             longer.push_back(0);
                                             Put("b.mp4", longer);
                                             fs::last_write_time(inputs[1], time);
                                           },
                                           [&] {
                                             Put("new", clip);
                                             fs::last_write_time(folder / "new", time);
                                             fs::rename(folder / "new", inputs[1]);
                                           },
                                           [&] { fs::remove(inputs[1]); }};
  for (const auto& change : changes) {
    At(Phase::kFlushing, change);
    ExpectFailure(Message::kInputChanged, inputs[1]);
    EXPECT_EQ(kNothing, Left());
    Put("b.mp4", clip);
    fs::last_write_time(inputs[1], time);
  }
}

TEST_F(SafeMergeTest, NamesAnInputThatGoesBeforeItIsCopied) {
  int checks = 0;
  options.check.progress = [&](const Step& step) {
    if (step.phase == Phase::kChecking && ++checks == 2) fs::remove(inputs[1]);
    return true;
  };
  ExpectFailure(Message::kInputUnreadable, inputs[1]);
  Put("b.mp4", support::Clip(25, 7).Build());
  At(Phase::kCopying, [&] { fs::remove(inputs[1]); });
  const SafeMergeReport report = ExpectFailure(Message::kInputUnreadable, inputs[1]);
  EXPECT_EQ("can't be opened any more: there is no such file", report.findings.back().text);
  EXPECT_EQ(kNothing, Left());
}

// The check would have said that its media is cut off.
TEST_F(SafeMergeTest, EndsACopyWhoseClipIsReplacedByAShorterOne) {
  support::MovieBuilder movie = support::Clip(25, 7);
  movie.movieFirst = true;
  options.check.fitting.exact = true;
  const Bytes clip = movie.Build();
  At(Phase::kCopying, [&] { Put("b.mp4", support::Slice(clip, 0, clip.size() - 9)); });
  ExpectFailure(Message::kInputChanged, inputs[1]);
  EXPECT_EQ(kNothing, Left());
}

TEST_F(SafeMergeTest, EndsACopyWhoseClipIsCutMeanwhile) {
  options.check.fitting.exact = true;
  options.check.progress = [&, cut = false](const Step& step) mutable {
    if (step.phase == Phase::kCopying && step.clip == 1 && !std::exchange(cut, true))
      fs::resize_file(inputs[1], fs::file_size(inputs[1]) / 2);
    return true;
  };
  ExpectFailure(Message::kInputChanged, inputs[1]);
  EXPECT_EQ(kNothing, Left());
}

// The last offset alone decides on the form of 32 bits. The check would have said so, too.
TEST_F(SafeMergeTest, SaysThatAMovieBoxCannotBeCompleted) {
  support::MovieBuilder movie = support::Clip(30, 1);
  movie.tracks[0].co64 = true;
  const Bytes clip = movie.Build();
  inputs.pop_back();
  int checks = 0;
  options.check.progress = [&](const Step& step) {
    if (step.phase == Phase::kChecking && ++checks == 2)
      Put("a.mp4", support::WithU32(clip, support::FindBox(clip, "co64") + 16, 1));
    return true;
  };
  ExpectFailure(Message::kOutputUnfinished, options.check.output);
  EXPECT_EQ(kNothing, Left());
}

TEST_F(SafeMergeTest, FindsAnInputThatChangedAndHasItsOldTime) {
  const Bytes clip = ReadFile(inputs[1]);
  const std::size_t media = support::FindBox(clip, "mdat");
  const auto time = fs::last_write_time(inputs[1]);
  At(Phase::kFlushing, [&] {
    Bytes changed = clip;
    changed[media + 8 + (support::ReadU32(clip, media) - 8) / 2] ^= 1;
    Put("b.mp4", changed);
    fs::last_write_time(inputs[1], time);
  });
  ExpectFailure(Message::kInputChanged, inputs[1]);
  EXPECT_EQ(kNothing, Left());
}

TEST_F(SafeMergeTest, DoesNotMindALinkOrAModeThatAnInputGets) {
  for (const Phase phase : {Phase::kCopying, Phase::kVerifying, Phase::kFlushing}) {
    At(phase, [&] {
      fs::permissions(inputs[0], fs::perms::owner_read);
      fs::create_hard_link(inputs[1], folder / "link");
    });
    EXPECT_TRUE(SafeMerge(inputs, options).done);
    fs::permissions(inputs[0], fs::perms::owner_all);
    fs::remove(folder / "link");
    fs::remove(options.check.output);
  }
  // One comparison more, which can be stopped, too.
  bool flushed = false;
  options.check.progress = [&](const Step& step) {
    if (step.phase == Phase::kFlushing && !flushed)
      fs::create_hard_link(inputs[1], folder / "link");
    flushed = flushed || step.phase == Phase::kFlushing;
    return !flushed || step.phase == Phase::kFlushing;
  };
  ExpectFailure(Message::kMergeStopped, options.check.output);
}

TEST_F(SafeMergeTest, AsksForAShorterNameWhereOneIsTooLong) {
  options.check.output = folder / std::string(256, 'a');
  const SafeMergeReport report = ExpectFailure(Message::kOutputUnwritable, options.check.output);
  EXPECT_EQ("can't be written: File name too long", report.findings.back().text);
  EXPECT_EQ("choose a shorter name", report.findings.back().remedy);
  EXPECT_EQ(kNothing, Left());
}

TEST_F(SafeMergeTest, FindsAnInputThatEndsWhileItIsCopied) {
  At(Phase::kCopying, [&] { fs::resize_file(inputs[1], 60); });
  const SafeMergeReport report = SafeMerge(inputs, options);
  EXPECT_FALSE(report.done);
  EXPECT_EQ(inputs[1], report.findings.back().path);
  EXPECT_EQ(kNothing, Left());
}

TEST_F(SafeMergeTest, FindsBytesThatTheDiskChanged) {
  // Else samples are compared while they are written.
  options.verification = Verification::kFull;
  At(Phase::kVerifying, [&] {
    const int file = ::open((folder / PartName()).c_str(), O_RDWR);
    EXPECT_EQ(1, ::pwrite(file, "\xEE", 1, 48));
    ::close(file);
  });
  ExpectFailure(Message::kResultDamaged, options.check.output);
  EXPECT_EQ(kNothing, Left());
  options.force = true;
  options.verification = Verification::kSeams;
  At(Phase::kVerifying, [&] { EXPECT_EQ(0, ::truncate((folder / PartName()).c_str(), 100)); });
  ExpectFailure(Message::kResultDamaged, options.check.output);
  EXPECT_EQ(kNothing, Left());
}

TEST_F(SafeMergeTest, FindsBytesThatTheDiskChangedAroundTheMedia) {
  ASSERT_TRUE(SafeMerge(inputs, options).done);
  const Bytes merged = ReadFile(options.check.output);
  fs::remove(options.check.output);
  options.force = true;
  for (const Verification verification : {Verification::kSeams, Verification::kFull}) {
    options.verification = verification;
    for (const char* box : {"ftyp", "avcC", "hdlr", "tkhd"}) {
      At(Phase::kVerifying, [&] {
        const int file = ::open((folder / PartName()).c_str(), O_RDWR);
        EXPECT_EQ(1,
                  ::pwrite(file, "\xEE", 1, static_cast<off_t>(support::FindBox(merged, box) + 9)));
        ::close(file);
      });
      ExpectFailure(Message::kResultDamaged, options.check.output);
      EXPECT_EQ(kNothing, Left());
    }
  }
}

TEST_F(SafeMergeTest, NamesWhatWasLeftBehindAndRemovesItWhenAsked) {
  const std::string leftover = Put(".out.mp4.clipchain-4711-0123456789abcdef.part", Text("abc"));
  SafeMergeReport report = SafeMerge(inputs, options);
  ASSERT_TRUE(report.done);
  ASSERT_FALSE(report.findings.empty());
  EXPECT_EQ(Message::kLeftover, report.findings.back().message);
  EXPECT_EQ(leftover, report.findings.back().path);
  EXPECT_THAT(report.findings.back().text, HasSubstr("3 bytes"));
  EXPECT_TRUE(fs::exists(leftover));

  options.check.overwrite = true;
  bool asked = false;
  options.removeLeftover = [&](const Leftover& found) {
    EXPECT_EQ(leftover, found.path);
    return std::exchange(asked, true);
  };
  ASSERT_TRUE(SafeMerge(inputs, options).done);
  EXPECT_TRUE(fs::exists(leftover));
  report = SafeMerge(inputs, options);
  EXPECT_TRUE(report.done);
  EXPECT_EQ(Message::kLeftoverRemoved, report.findings.back().message);
  EXPECT_EQ(kOutputOnly, Left());
}

TEST_F(SafeMergeTest, SaysWhyAnOutputCannotBeWritten) {
  options.check.output = folder / "missing/out.mp4";
  EXPECT_FALSE(SafeMerge(inputs, options).done);
  options.check.output = "";
  EXPECT_FALSE(SafeMerge(inputs, options).done);
  EXPECT_EQ(kNothing, Left());
}

TEST_F(SafeMergeTest, RefusesToMergeNothing) {
  inputs.clear();
  ExpectFailure(Message::kNothingToMerge, options.check.output);
  EXPECT_EQ(kNothing, Left());
}

TEST_F(SafeMergeTest, TakesFileNamesOfAnyBytes) {
  options.check.output = folder / "\xFF\xC3\n.mp4";
  fs::rename(inputs[0], folder / "\xFE.mp4");
  inputs[0] = folder / "\xFE.mp4";
  EXPECT_TRUE(SafeMerge(inputs, options).done);
  EXPECT_TRUE(fs::exists(options.check.output));
}
