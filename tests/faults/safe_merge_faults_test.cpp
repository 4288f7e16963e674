// A merge when the system refuses a call at the very place where the output comes into being.
#include <sys/resource.h>
#include <sys/stat.h>

#include <cerrno>
#include <csignal>

#include "support/failing_calls.h"
#include "workflow/join.h"
#include "workflow/keep_originals.h"
#include "workflow/merging/safe_merge_fixture.h"

namespace fs = std::filesystem;
using clipchain::Findings;
using clipchain::Job;
using clipchain::Message;
using clipchain::SafeMerge;
using clipchain::SafeMergeReport;
using clipchain::Verification;
using support::Call;
using support::Disturbance;
using support::ReadFile;
using support::Text;

namespace {

class SafeMergeFaults : public support::SafeMergeFixture {
 protected:
  // How often a whole merge makes that call.
  std::size_t CountOf(Call call) {
    const Disturbance disturbance(call, 0, Disturbance::kAll);
    EXPECT_TRUE(SafeMerge(inputs, options).done);
    fs::remove(options.check.output);
    return disturbance.Count();
  }
};

const std::vector<std::string> kNothing;

}  // namespace

TEST_F(SafeMergeFaults, EveryRefusedCallLeavesNoOutputOrAWholeOne) {
  ASSERT_TRUE(SafeMerge(inputs, options).done);
  const support::Bytes whole = ReadFile(options.check.output);
  fs::remove(options.check.output);
  for (const Verification verification : {Verification::kSeams, Verification::kFull}) {
    options.verification = verification;
    for (const Call call :
         {Call::kFlock, Call::kFstat, Call::kFsync, Call::kOpen, Call::kRenameat2, Call::kWrite}) {
      const std::size_t calls = CountOf(call);
      EXPECT_LT(0u, calls);
      for (std::size_t index = 0; index < calls; ++index) {
        for (const std::size_t count : {std::size_t{1}, Disturbance::kAll}) {
          SCOPED_TRACE(testing::Message() << static_cast<int>(call) << ' ' << index);
          SafeMergeReport report;
          {
            const Disturbance disturbance(call, EIO, index, count);
            report = SafeMerge(inputs, options);
          }
          EXPECT_TRUE(report.done || HoldsUp(report.findings, true));
          EXPECT_EQ("", PartName());
          if (report.done) {
            EXPECT_EQ(static_cast<long long>(whole.size()), report.size);
          }
          if (report.done || fs::exists(options.check.output)) {
            EXPECT_EQ(whole, ReadFile(options.check.output));
          }
          fs::remove(options.check.output);
        }
      }
    }
  }
}

TEST_F(SafeMergeFaults, SaysThatTheHiddenFileStays) {
  options.check.progress = [](const clipchain::Step& step) {
    return step.phase != clipchain::Step::Phase::kVerifying;
  };
  const Disturbance disturbance(Call::kUnlink, EROFS, 0, 1);
  const SafeMergeReport report = SafeMerge(inputs, options);
  ASSERT_LE(2u, report.findings.size());
  EXPECT_EQ(Message::kLeftover, report.findings.back().message);
  EXPECT_EQ("can't be removed: Read-only file system", report.findings.back().text);
}

TEST_F(SafeMergeFaults, NeverReplacesWhatAppearsAtTheLastMoment) {
  const Disturbance disturbance(
      Call::kRenameat2, [this] { Put("out.mp4", Text("new")); }, 1);
  ExpectFailure(Message::kOutputExists, options.check.output);
  EXPECT_EQ(Text("new"), ReadFile(options.check.output));
  EXPECT_EQ(std::vector<std::string>{"out.mp4"}, Left());
}

TEST_F(SafeMergeFaults, SaysWhenTheNameIsRefused) {
  const Disturbance disturbance(Call::kRenameat2, EPERM, 1);
  ExpectFailure(Message::kOutputUnnamed, options.check.output);
  EXPECT_EQ(kNothing, Left());
}

TEST_F(SafeMergeFaults, KeepsACompleteOutputWhoseFolderCannotBeFlushed) {
  const std::size_t flushes = CountOf(Call::kFsync);
  const Disturbance disturbance(Call::kFsync, EIO, flushes - 1);
  const SafeMergeReport report = ExpectFailure(Message::kOutputNotDurable, options.check.output);
  EXPECT_EQ(static_cast<long long>(fs::file_size(options.check.output)), report.size);
}

TEST_F(SafeMergeFaults, NamesAWriteThatFailedOnce) {
  const Disturbance disturbance(Call::kWrite, EIO, 0, 1);
  const SafeMergeReport report = ExpectFailure(Message::kOutputUnwritable, options.check.output);
  EXPECT_EQ("can't be written: Input/output error", report.findings.back().text);
  EXPECT_EQ(kNothing, Left());
}

TEST_F(SafeMergeFaults, NamesChecksumsThatCannotBeFlushed) {
  const std::size_t alone = CountOf(Call::kFsync);
  const auto checksums = [] { return clipchain::MakeCompanion({false, false, true}); };
  auto companion = checksums();
  options.companion = companion.get();
  EXPECT_EQ(alone + 1, CountOf(Call::kFsync));
  fs::remove(options.check.output + ".xxh");
  companion = checksums();
  options.companion = companion.get();
  // Behind the flush of the result.
  const Disturbance disturbance(Call::kFsync, EIO, 1, 1);
  ExpectFailure(Message::kOutputUnflushed, options.check.output + ".xxh");
  companion.reset();
  EXPECT_EQ(kNothing, Left());
}

// The result is hashed last, and read back for that.
TEST_F(SafeMergeFaults, NamesAResultThatCannotBeHashed) {
  const auto checksums = [] { return clipchain::MakeCompanion({false, false, true}); };
  auto companion = checksums();
  options.companion = companion.get();
  const std::size_t reads = CountOf(Call::kRead);
  fs::remove(options.check.output + ".xxh");
  companion = checksums();
  options.companion = companion.get();
  {
    const Disturbance disturbance(Call::kRead, EIO, reads - 1, 1);
    const SafeMergeReport report = ExpectFailure(Message::kResultDamaged, options.check.output);
    EXPECT_EQ("can't be read to make its checksum", report.findings.back().text);
  }
  companion.reset();
  EXPECT_EQ(kNothing, Left());
}

// Whatever can't be read: an archive that is there has every byte of the clips.
TEST_F(SafeMergeFaults, EveryRefusedReadLeavesNoArchiveOrAWholeOne) {
  const auto originals = [] { return clipchain::MakeCompanion({true, false, true}); };
  const std::string archive = options.check.output + ".originals";
  auto companion = originals();
  options.companion = companion.get();
  ASSERT_TRUE(SafeMerge(inputs, options).done);
  const support::Bytes whole = ReadFile(archive);
  std::size_t reads = 0;
  for (std::size_t index = 0; index <= reads; ++index) {
    for (const std::string& path : Left()) fs::remove(folder / path);
    companion = originals();
    options.companion = companion.get();
    SafeMergeReport report;
    {
      const Disturbance disturbance(Call::kRead, EIO, index, 1);
      report = SafeMerge(inputs, options);
      reads = std::max(reads, disturbance.Count());
    }
    EXPECT_EQ(report.done, fs::exists(archive)) << index;
    EXPECT_TRUE(report.done || HoldsUp(report.findings, true)) << index;
    if (report.done) {
      EXPECT_EQ(whole, ReadFile(archive)) << index;
    }
  }
}

// Where nothing but writing tells how large a file may be.
TEST_F(SafeMergeFaults, NamesALimitOfTheFileSystem) {
  struct rlimit before;
  ASSERT_EQ(0, ::getrlimit(RLIMIT_FSIZE, &before));
  ::signal(SIGXFSZ, SIG_IGN);
  const Disturbance disturbance(Call::kFlock, [&before] {
    struct rlimit tight = before;
    tight.rlim_cur = 1000;
    ASSERT_EQ(0, ::setrlimit(RLIMIT_FSIZE, &tight));
  });
  const SafeMergeReport report = ExpectFailure(Message::kTooLargeForFolder, options.check.output);
  ASSERT_EQ(0, ::setrlimit(RLIMIT_FSIZE, &before));
  ::signal(SIGXFSZ, SIG_DFL);
  EXPECT_EQ("is larger than a file there may be: File too large", report.findings.back().text);
  EXPECT_EQ(kNothing, Left());
}

TEST_F(SafeMergeFaults, AResultThatIsThereCountsOnlyOnceItIsFlushed) {
  ASSERT_TRUE(SafeMerge(inputs, options).done);
  Job job;
  job.inputs = inputs;
  job.output = options.check.output;
  const auto look = [&job](Verification verification = Verification::kSeams) {
    return VerifyOutput(job, nullptr, {}, verification);
  };
  EXPECT_TRUE(look().empty());
  EXPECT_TRUE(look(Verification::kFull).empty());
  for (const std::size_t index : {0u, 1u}) {
    const Disturbance disturbance(Call::kFsync, EIO, index, 1);
    const Findings found = look();
    ASSERT_EQ(1u, found.size());
    EXPECT_EQ(Message::kOutputUnflushed, found[0].message);
    EXPECT_EQ("check the disk before you delete the clips", found[0].remedy);
  }
  const Disturbance disturbance(Call::kFstat, EIO, 0, 1);
  EXPECT_FALSE(look().empty());
}
