// A hidden file when the system refuses a call that the file's life hangs on.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <system_error>

#include "support/failing_calls.h"
#include "support/temp_dir.h"
#include "workflow/merging/leftover_findings.h"
#include "workflow/system/part_file.h"
#include "workflow/system/text_file.h"

namespace fs = std::filesystem;
using clipchain::Finding;
using clipchain::Findings;
using clipchain::FindLeftovers;
using clipchain::Leftover;
using clipchain::Message;
using clipchain::PartFile;
using clipchain::WriteTextFile;
using support::Call;
using support::Disturbance;
using support::Text;

namespace {

class PartFileFaults : public testing::Test {
 protected:
  std::size_t Entries() const {
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator(folder.path()), fs::directory_iterator()));
  }
  std::string PutLeftover() const {
    support::WriteFile(folder / ".out.mp4.clipchain-4711-0123456789abcdef.part", Text("abc"));
    return folder / ".out.mp4.clipchain-4711-0123456789abcdef.part";
  }
  // A file that is ready to get its name.
  void Create(PartFile& part) const { ASSERT_EQ(std::error_code(), part.Create(output)); }

  support::TempDir folder;
  std::string output = folder / "out.mp4";
};

}  // namespace

TEST_F(PartFileFaults, DoesWithoutLocksWhereThereAreNone) {
  for (const int error : {ENOLCK, EOPNOTSUPP, ENOSYS, EPERM, EACCES, EINVAL}) {
    const Disturbance disturbance(Call::kFlock, error);
    PartFile part;
    EXPECT_EQ(std::error_code(), part.Create(output)) << error;
    EXPECT_EQ(1u, disturbance.Count());
  }
  EXPECT_EQ(0u, Entries());
}

TEST_F(PartFileFaults, IsNotMadeWhereALockFails) {
  const Disturbance disturbance(Call::kFlock, EIO);
  EXPECT_EQ(std::errc::io_error, PartFile().Create(output));
  EXPECT_EQ(0u, Entries());
}

TEST_F(PartFileFaults, WaitsOutASignal) {
  const Disturbance disturbance(Call::kFlock, EINTR, 0, 2);
  PartFile part;
  EXPECT_EQ(std::error_code(), part.Create(output));
  EXPECT_EQ(3u, disturbance.Count());
}

// Between its creation and its lock a file looks like one that was left behind.
TEST_F(PartFileFaults, TriesAgainWhereSomebodyTakesItForALeftover) {
  {
    const Disturbance disturbance(Call::kFlock, EWOULDBLOCK, 0, 2);
    PartFile part;
    EXPECT_EQ(std::error_code(), part.Create(output));
    EXPECT_EQ(1u, Entries());
  }
  const Disturbance disturbance(
      Call::kFlock, [this] { fs::remove(fs::directory_iterator(folder.path())->path()); });
  PartFile part;
  EXPECT_EQ(std::error_code(), part.Create(output));
  EXPECT_TRUE(fs::exists(part.path()));
  EXPECT_EQ(2u, disturbance.Count());
}

TEST_F(PartFileFaults, GivesUpWhereSomebodyAlwaysDoes) {
  const Disturbance disturbance(Call::kFlock, EWOULDBLOCK);
  EXPECT_EQ(std::errc::file_exists, PartFile().Create(output));
  EXPECT_EQ(16u, disturbance.Count());
  EXPECT_EQ(0u, Entries());
}

TEST_F(PartFileFaults, SaysThatWhatItCannotUseCannotBeRemoved) {
  const Disturbance lock(Call::kFlock, EWOULDBLOCK, 0, 1);
  const Disturbance removal(Call::kUnlink, EROFS, 0, 1);
  EXPECT_EQ(std::errc::read_only_file_system, PartFile().Create(output));
}

TEST_F(PartFileFaults, IsNotMadeWhereItCannotBeLookedAtOrCreated) {
  {
    const Disturbance disturbance(Call::kFstat, EIO);
    EXPECT_EQ(std::errc::io_error, PartFile().Create(output));
  }
  const Disturbance disturbance(Call::kOpen, EMFILE, 1);
  EXPECT_EQ(std::errc::too_many_files_open, PartFile().Create(output));
  EXPECT_EQ(0u, Entries());
}

TEST_F(PartFileFaults, IsLinkedWhereTheSystemCannotRenameWithoutReplacing) {
  for (const int error : {ENOSYS, EINVAL, EOPNOTSUPP}) {
    const Disturbance disturbance(Call::kRenameat2, error);
    PartFile part;
    Create(part);
    EXPECT_EQ(std::error_code(), part.Publish(false)) << error;
    EXPECT_EQ(2u, Entries());
    EXPECT_EQ(std::error_code(), part.FlushFolder());
    EXPECT_EQ(1u, Entries());
    EXPECT_TRUE(fs::remove(output));
  }
  const Disturbance disturbance(Call::kRenameat2, ENOSYS);
  support::WriteFile(output, Text("old"));
  PartFile part;
  Create(part);
  EXPECT_EQ(std::errc::file_exists, part.Publish(false));
  EXPECT_EQ(Text("old"), support::ReadFile(output));
}

// As on exFAT below FUSE, and on shares.
TEST_F(PartFileFaults, LooksAndRenamesWhereTheSystemCanDoNeither) {
  for (const int error : {EPERM, EOPNOTSUPP, ENOSYS, EMLINK}) {
    const Disturbance renaming(Call::kRenameat2, EINVAL);
    const Disturbance linking(Call::kLink, error);
    PartFile part;
    Create(part);
    EXPECT_EQ(std::error_code(), part.Publish(false)) << error;
    EXPECT_EQ(1u, Entries());
    EXPECT_EQ(std::error_code(), part.FlushFolder());
    EXPECT_TRUE(fs::remove(output));
  }
  const Disturbance renaming(Call::kRenameat2, EINVAL);
  const Disturbance linking(Call::kLink, EPERM);
  PartFile part;
  Create(part);
  support::WriteFile(output, Text("old"));
  EXPECT_EQ(std::errc::file_exists, part.Publish(false));
  EXPECT_EQ(Text("old"), support::ReadFile(output));
  fs::remove(output);
  fs::create_symlink("nowhere", output);
  EXPECT_EQ(std::errc::file_exists, part.Publish(false));
}

TEST_F(PartFileFaults, LooksOnlyWhereNoOtherRunDoesSo) {
  const Disturbance renaming(Call::kRenameat2, EINVAL);
  const Disturbance linking(Call::kLink, EPERM);
  PartFile part;
  Create(part);
  // Somebody else takes the name, and lets go of the folder then.
  const int folderOfOther = ::open(folder.path().c_str(), O_RDONLY);
  ASSERT_EQ(0, ::flock(folderOfOther, LOCK_EX));
  {
    int looks = 0;
    const Disturbance lock(
        Call::kFlock,
        [&] {
          ++looks;
          support::WriteFile(output, Text("of the other"));
          ::flock(folderOfOther, LOCK_UN);
        },
        2);
    EXPECT_EQ(std::errc::file_exists, part.Publish(false));
    EXPECT_EQ(1, looks);
    EXPECT_LE(3u, lock.Count());
  }
  ::close(folderOfOther);
  EXPECT_EQ(Text("of the other"), support::ReadFile(output));
  fs::remove(output);
  const Disturbance noLocks(Call::kFlock, ENOLCK);
  EXPECT_EQ(std::error_code(), part.Publish(false));
}

TEST_F(PartFileFaults, IsNotMadeWhereItCouldNotBeRenamed) {
  const Disturbance disturbance(Call::kRenameat2, EIO);
  EXPECT_EQ(std::errc::io_error, PartFile().Create(output));
  EXPECT_EQ(0u, Entries());
}

TEST_F(PartFileFaults, KeepsItsHiddenNameWhereItGetsNoOther) {
  {
    const Disturbance disturbance(Call::kRenameat2, EIO, 1);
    PartFile part;
    Create(part);
    EXPECT_EQ(std::errc::io_error, part.Publish(false));
    EXPECT_TRUE(fs::exists(part.path()));
  }
  {
    const Disturbance disturbance(Call::kRename, EIO);
    PartFile part;
    Create(part);
    EXPECT_EQ(std::errc::io_error, part.Publish(true));
    EXPECT_TRUE(fs::exists(part.path()));
  }
  EXPECT_EQ(0u, Entries()) << "it goes in the end";
}

TEST_F(PartFileFaults, TakesAFolderThatKnowsNoFlushingAsFlushed) {
  for (const int error : {EINVAL, ENOTSUP, EIO}) {
    const Disturbance disturbance(Call::kFsync, error);
    PartFile part;
    Create(part);
    EXPECT_EQ(std::error_code(), part.Publish(true));
    EXPECT_EQ(error == EIO ? EIO : 0, part.FlushFolder().value());
    EXPECT_EQ(1u, disturbance.Count());
  }
}

TEST_F(PartFileFaults, PassesOverALeftoverThatCannotBeLookedAt) {
  PutLeftover();
  const Disturbance disturbance(Call::kFstat, EIO);
  EXPECT_TRUE(FindLeftovers(output).empty());
}

TEST_F(PartFileFaults, SaysWhyALeftoverStays) {
  const std::string path = PutLeftover();
  const Disturbance disturbance(Call::kUnlink, EROFS);
  const Findings found = clipchain::LookForLeftovers(output, [](const Leftover&) { return true; });
  ASSERT_EQ(1u, found.size());
  EXPECT_EQ(Message::kLeftover, found[0].message);
  EXPECT_EQ(path, found[0].path);
  EXPECT_EQ(
      "was left behind by a run that was killed, with 3 bytes in it, and can't be removed: "
      "Read-only file system",
      found[0].text);
  EXPECT_EQ("remove it by hand", found[0].remedy);
  EXPECT_TRUE(fs::exists(path));
}

TEST_F(PartFileFaults, ATextIsThereWithAllOfItOrNotAtAll) {
  const auto text = [this](Call call, int error) {
    const Disturbance disturbance(call, error);
    return WriteTextFile(output, "text", false);
  };
  EXPECT_EQ("can't be written: No space left on device", text(Call::kWrite, ENOSPC));
  EXPECT_EQ("can't be written: Input/output error", text(Call::kFsync, EIO));
  EXPECT_EQ("can't be written: Input/output error", text(Call::kRenameat2, EIO));
  EXPECT_EQ(std::nullopt, text(Call::kFlock, EPERM));
  EXPECT_TRUE(fs::remove(output));
  EXPECT_EQ("can't be written: Too many open files", text(Call::kOpen, EMFILE));
  EXPECT_EQ(0u, Entries());
  {
    const Disturbance disturbance(
        Call::kRenameat2, [this] { support::WriteFile(output, Text("old")); }, 1);
    EXPECT_EQ("exists already; --overwrite replaces it", WriteTextFile(output, "text", false));
    EXPECT_EQ(Text("old"), support::ReadFile(output));
  }
  // The folder's flush comes last.
  const Disturbance disturbance(Call::kFsync, EIO, 1);
  EXPECT_EQ("can't be written: Input/output error", WriteTextFile(output, "text", true));
  EXPECT_EQ(Text("text"), support::ReadFile(output));
  EXPECT_EQ(1u, Entries());
}
