#include "foundation/platform/cfw.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <string>

#include "foundation/platform/read_failures.h"
#include "support/bytes.h"
#include "support/temp_dir.h"

using support::Bytes;
using support::Hex;
using support::Text;
namespace fs = std::filesystem;

namespace {

constexpr unsigned int kRead = 1;
constexpr unsigned int kWrite = 2;
constexpr unsigned int kBoth = 3;

// A folder with a file "a" that holds "0123456789".
class Cfw : public testing::Test {
 protected:
  Cfw() { support::WriteFile(a(), Text("0123456789")); }

  fs::path a() const { return folder_ / "a"; }
  fs::path At(const char* name) const { return folder_ / name; }

  support::TempDir folder_;
};

struct Handle {
  Handle(const fs::path& path, unsigned int access) : handle(CFWCreateFile(path.c_str(), access)) {}
  ~Handle() {
    if (handle == nullptr) return;
    EXPECT_EQ(0, CFWCloseHandle(handle));
  }
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  operator void*() const { return handle; }

  void* handle;
};

bool Opens(const fs::path& path, unsigned int access) { return Handle(path, access) != nullptr; }

Bytes Read(void* handle, std::size_t count, int expected = 0) {
  Bytes bytes(count, 0xEE);
  long long read = -7;
  EXPECT_EQ(expected, CFWReadFile(handle, bytes.data(), count, &read));
  bytes.resize(static_cast<std::size_t>(read));
  return bytes;
}

int Write(void* handle, const Bytes& bytes, long long expectedWritten) {
  long long written = -7;
  const int result = CFWWriteFile(handle, bytes.data(), bytes.size(), &written);
  EXPECT_EQ(expectedWritten, written);
  return result;
}

long long Position(void* handle) {
  long long position = -7;
  EXPECT_EQ(0, CFWGetFilePointer(handle, &position));
  return position;
}

long long Size(void* handle) {
  long long size = -7;
  EXPECT_EQ(0, CFWGetFileSize(handle, &size));
  return size;
}

// No file of this process may grow beyond `bytes`, and trying so is an error instead of a signal.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit limit = {bytes, before_.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FileSizeLimit() {
    setrlimit(RLIMIT_FSIZE, &before_);
    std::signal(SIGXFSZ, handler_);
  }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;

 private:
  void (*handler_)(int);
  rlimit before_;
};

Bytes Pattern(std::size_t count) {
  Bytes bytes(count);
  for (std::size_t i = 0; i < count; ++i) bytes[i] = static_cast<unsigned char>(i * 7 + i / 251);
  return bytes;
}

}  // namespace

TEST_F(Cfw, OpensForReadingOnlyWhatExists) {
  EXPECT_TRUE(Opens(a(), kRead));
  EXPECT_FALSE(Opens(At("missing"), kRead));
  EXPECT_FALSE(fs::exists(At("missing")));
  EXPECT_FALSE(Opens(At("no/folder"), kRead));
}

TEST_F(Cfw, OpeningForWritingCreatesAnEmptyFile) {
  for (const unsigned int access : {kWrite, kBoth}) {
    EXPECT_TRUE(Opens(At("new"), access));
    EXPECT_EQ(Bytes(), support::ReadFile(At("new")));
    fs::remove(At("new"));
    EXPECT_FALSE(Opens(At("no/folder"), access));
  }
}

TEST_F(Cfw, OpeningForWritingKeepsTheContentsAndStartsAtZero) {
  for (const unsigned int access : {kWrite, kBoth}) {
    support::WriteFile(a(), Text("0123456789"));
    {
      const Handle file(a(), access);
      EXPECT_EQ(0, Position(file));
      EXPECT_EQ(0, Write(file, Text("ab"), 2));
    }
    EXPECT_EQ(Text("ab23456789"), support::ReadFile(a()));
  }
}

TEST_F(Cfw, RefusesUnknownAccessAndNoLocation) {
  for (const unsigned int access : {0u, 4u, 0xFFFFFFFFu}) {
    EXPECT_FALSE(Opens(a(), access));
    EXPECT_FALSE(Opens(At("new"), access));
    EXPECT_FALSE(fs::exists(At("new")));
  }
  EXPECT_EQ(nullptr, CFWCreateFile(nullptr, kRead));
  EXPECT_EQ(nullptr, CFWCreateFile("", kRead));
  EXPECT_EQ(nullptr, CFWCreateFile("", kWrite));
}

TEST_F(Cfw, RefusesWhatHasNoPositionsWithoutWaiting) {
  ASSERT_EQ(0, ::mkfifo(At("pipe").c_str(), 0600));
  for (const unsigned int access : {kRead, kWrite, kBoth}) {
    EXPECT_FALSE(Opens(folder_.path(), access));
    EXPECT_FALSE(Opens(At("pipe"), access));
  }
}

TEST_F(Cfw, FollowsSymbolicLinks) {
  fs::create_symlink("a", At("link"));
  fs::create_symlink("target", At("dangling"));
  EXPECT_EQ(Text("0123456789"), Read(Handle(At("link"), kRead), 10));
  EXPECT_FALSE(Opens(At("dangling"), kRead));
  EXPECT_TRUE(Opens(At("dangling"), kWrite));
  EXPECT_TRUE(fs::exists(At("target")));
}

TEST_F(Cfw, HandsNoDescriptorToChildProcesses) {
  const Handle file(a(), kRead);
  bool found = false;
  for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
    std::error_code closedMeanwhile;
    if (fs::read_symlink(entry, closedMeanwhile) != a()) continue;
    found = true;
    EXPECT_NE(0, ::fcntl(std::stoi(entry.path().filename()), F_GETFD) & FD_CLOEXEC);
  }
  EXPECT_TRUE(found);
}

TEST_F(Cfw, ReadsOnFromWhereItIs) {
  const Handle file(a(), kRead);
  EXPECT_EQ(Text("0123"), Read(file, 4));
  EXPECT_EQ(4, Position(file));
  EXPECT_EQ(Bytes(), Read(file, 0));
  EXPECT_EQ(Text("456789"), Read(file, 100));
  EXPECT_EQ(Bytes(), Read(file, 100));
}

TEST_F(Cfw, TransfersLargeBlocksWhole) {
  const Bytes bytes = Pattern(3 * 1024 * 1024 + 12345);
  {
    const Handle file(At("large"), kBoth);
    EXPECT_EQ(0, Write(file, bytes, static_cast<long long>(bytes.size())));
    ASSERT_EQ(0, CFWSetFilePointer(file, 0, 1));
    EXPECT_EQ(bytes, Read(file, bytes.size()));
    ASSERT_EQ(0, CFWSetFilePointer(file, 1, 1));
    EXPECT_EQ(bytes.size() - 1, Read(file, bytes.size()).size());
  }
  EXPECT_EQ(bytes, support::ReadFile(At("large")));
}

TEST_F(Cfw, LargeWritesLeaveAFileOfExactlyTheirBytes) {
  const Bytes block = Pattern(5 * 1024 * 1024);
  {
    const Handle file(At("large"), kWrite);
    EXPECT_EQ(0, Write(file, block, static_cast<long long>(block.size())));
    EXPECT_EQ(static_cast<long long>(block.size()), Size(file));
    EXPECT_EQ(0, Write(file, Text("tail"), 4));
  }
  EXPECT_EQ(support::Join({block, Text("tail")}), support::ReadFile(At("large")));
  struct stat status;
  ASSERT_EQ(0, ::stat(At("large").c_str(), &status));
  EXPECT_LT(status.st_blocks * 512, 6 * 1024 * 1024) << "space reserved ahead was not given back";
}

TEST_F(Cfw, LargeWritesLeaveTheHolesOfALargerFile) {
  support::WriteFile(At("sparse"), {});
  fs::resize_file(At("sparse"), 256 * 1024 * 1024);
  const Bytes block = support::Fill(2 * 1024 * 1024, 0xAA);
  {
    const Handle file(At("sparse"), kWrite);
    EXPECT_EQ(0, Write(file, block, static_cast<long long>(block.size())));
  }
  struct stat status;
  ASSERT_EQ(0, ::stat(At("sparse").c_str(), &status));
  EXPECT_LT(status.st_blocks * 512, 16 * 1024 * 1024);
}

TEST_F(Cfw, LargeWritesIntoALargerFileKeepWhatIsBehindThem) {
  const Bytes before = Pattern(3 * 1024 * 1024);
  support::WriteFile(At("large"), before);
  const Bytes block = support::Fill(2 * 1024 * 1024, 0xAA);
  {
    const Handle file(At("large"), kWrite);
    EXPECT_EQ(0, Write(file, block, static_cast<long long>(block.size())));
  }
  Bytes expected = before;
  std::copy(block.begin(), block.end(), expected.begin());
  EXPECT_EQ(expected, support::ReadFile(At("large")));
}

TEST_F(Cfw, CuttingAfterALargeWriteHolds) {
  const Bytes block = Pattern(2 * 1024 * 1024);
  {
    const Handle file(At("large"), kWrite);
    EXPECT_EQ(0, Write(file, block, static_cast<long long>(block.size())));
    ASSERT_EQ(0, CFWSetFilePointer(file, 100, 1));
    EXPECT_EQ(0, CFWSetEOF(file));
  }
  EXPECT_EQ(Bytes(block.begin(), block.begin() + 100), support::ReadFile(At("large")));
}

TEST_F(Cfw, AReadThatFailsGivesNothing) {
  const Handle file(a(), kWrite);
  EXPECT_EQ(Bytes(), Read(file, 4, -1));
}

TEST_F(Cfw, AWriteThatFailsGivesTheNegatedErrorNumber) {
  const Handle file(a(), kRead);
  EXPECT_EQ(-EBADF, Write(file, Text("x"), 0));
  EXPECT_EQ(Text("0123456789"), support::ReadFile(a()));
}

TEST_F(Cfw, AFullDeviceOpensAndFailsToTakeBytes) {
  const Handle full("/dev/full", kWrite);
  ASSERT_NE(nullptr, full);
  EXPECT_EQ(-ENOSPC, Write(full, Text("x"), 0));
  EXPECT_EQ(-ENOSPC, Write(full, Pattern(2 * 1024 * 1024), 0));
}

TEST_F(Cfw, AWriteThatEndsAtALimitFailsAsAWhole) {
  const Handle file(At("limited"), kWrite);
  const FileSizeLimit limit(300 * 1024);
  EXPECT_EQ(0, Write(file, Pattern(100 * 1024), 100 * 1024));
  EXPECT_EQ(-EFBIG, Write(file, Pattern(2 * 1024 * 1024), 0));
}

TEST_F(Cfw, TellsTheSizeWithoutMoving) {
  const Handle file(a(), kRead);
  ASSERT_EQ(0, CFWSetFilePointer(file, 3, 1));
  EXPECT_EQ(10, Size(file));
  EXPECT_EQ(3, Position(file));
}

TEST_F(Cfw, SeeksFromEachOrigin) {
  const Handle file(a(), kRead);
  EXPECT_EQ(0, CFWSetFilePointer(file, 4, 1));
  EXPECT_EQ(4, Position(file));
  EXPECT_EQ(0, CFWSetFilePointer(file, 3, 3));
  EXPECT_EQ(7, Position(file));
  EXPECT_EQ(0, CFWSetFilePointer(file, -2, 3));
  EXPECT_EQ(5, Position(file));
  EXPECT_EQ(0, CFWSetFilePointer(file, -1, 2));
  EXPECT_EQ(9, Position(file));
  EXPECT_EQ(0, CFWSetFilePointer(file, 5, 2));
  EXPECT_EQ(15, Position(file));
  EXPECT_EQ(0, CFWSetFilePointer(file, 0x123456789, 1));
  EXPECT_EQ(0x123456789, Position(file));
}

TEST_F(Cfw, ASeekThatFailsMovesNowhere) {
  const Handle file(a(), kRead);
  ASSERT_EQ(0, CFWSetFilePointer(file, 4, 1));
  EXPECT_EQ(-1, CFWSetFilePointer(file, -1, 1));
  EXPECT_EQ(-1, CFWSetFilePointer(file, -11, 2));
  EXPECT_EQ(-1, CFWSetFilePointer(file, -5, 3));
  for (const unsigned int origin : {0u, 4u, 0xFFFFFFFFu}) {
    EXPECT_EQ(-1, CFWSetFilePointer(file, 1, origin));
  }
  EXPECT_EQ(4, Position(file));
}

TEST_F(Cfw, WritesBeyond32Bits) {
  {
    const Handle file(At("sparse"), kBoth);
    ASSERT_EQ(0, CFWSetFilePointer(file, 0x100000005, 1));
    EXPECT_EQ(0, Write(file, Text("x"), 1));
    EXPECT_EQ(0x100000006, Size(file));
    ASSERT_EQ(0, CFWSetFilePointer(file, -1, 3));
    EXPECT_EQ(Text("x"), Read(file, 5));
  }
  EXPECT_EQ(0x100000006u, fs::file_size(At("sparse")));
}

TEST_F(Cfw, SetEofCutsAndExtendsToThePosition) {
  {
    const Handle file(a(), kWrite);
    ASSERT_EQ(0, CFWSetFilePointer(file, 4, 1));
    EXPECT_EQ(0, CFWSetEOF(file));
    EXPECT_EQ(4, Position(file));
    ASSERT_EQ(0, CFWSetFilePointer(file, 6, 1));
    EXPECT_EQ(0, CFWSetEOF(file));
  }
  EXPECT_EQ(Hex("30313233 0000"), support::ReadFile(a()));
  EXPECT_EQ(-1, CFWSetEOF(Handle(a(), kRead)));
}

TEST_F(Cfw, NullHandlesAreFailures) {
  unsigned char byte = 0;
  long long number = 77;
  EXPECT_EQ(-1, CFWCloseHandle(nullptr));
  EXPECT_EQ(-1, CFWReadFile(nullptr, &byte, 1, &number));
  EXPECT_EQ(6, CFWWriteFile(nullptr, &byte, 1, &number));
  EXPECT_EQ(-1, CFWGetFileSize(nullptr, &number));
  EXPECT_EQ(-1, CFWGetFilePointer(nullptr, &number));
  EXPECT_EQ(-1, CFWSetFilePointer(nullptr, 0, 1));
  EXPECT_EQ(-1, CFWSetEOF(nullptr));
  EXPECT_EQ(77, number);
}

TEST_F(Cfw, ADeviceWithoutPositionsFailsToTellThem) {
  // The controlling end of a terminal has no positions, though it is a device.
  const Handle terminal("/dev/ptmx", kBoth);
  ASSERT_NE(nullptr, terminal);
  long long number = 77;
  EXPECT_EQ(-1, CFWGetFileSize(terminal, &number));
  EXPECT_EQ(77, number);
  EXPECT_EQ(-1, CFWGetFilePointer(terminal, &number));
  EXPECT_EQ(0, number);
  EXPECT_EQ(-1, CFWSetFilePointer(terminal, 0, 1));
  EXPECT_EQ(-1, CFWSetEOF(terminal));
}

TEST_F(Cfw, TellsWhetherSomethingExists) {
  fs::create_symlink("missing", At("dangling"));
  EXPECT_EQ(1, CFWFileIsExist(a().c_str()));
  EXPECT_EQ(1, CFWFileIsExist(folder_.path().c_str()));
  EXPECT_EQ(0, CFWFileIsExist(At("missing").c_str()));
  EXPECT_EQ(0, CFWFileIsExist(At("dangling").c_str()));
  EXPECT_EQ(0, CFWFileIsExist(nullptr));
}

TEST_F(Cfw, CopiesNoFolderIntoItself) {
  fs::create_directories(At("folder/inner"));
  support::WriteFile(At("folder/c"), Text("c"));
  EXPECT_EQ(0, CFWCopyFile(At("folder").c_str(), At("folder/copy").c_str()));
  EXPECT_FALSE(fs::exists(At("folder/copy")));
  EXPECT_EQ(0, CFWCopyFile(At("folder").c_str(), At("folder/inner/copy").c_str()));
  EXPECT_FALSE(fs::exists(At("folder/inner/copy")));
  EXPECT_EQ(0, CFWCopyFile(At("folder").c_str(), At("folder2").c_str()));
  EXPECT_EQ(Text("c"), support::ReadFile(At("folder2/c")));
}

TEST_F(Cfw, CopiesAFileAndAFolder) {
  EXPECT_EQ(0, CFWCopyFile(a().c_str(), At("b").c_str()));
  EXPECT_EQ(Text("0123456789"), support::ReadFile(At("b")));
  EXPECT_TRUE(fs::exists(a()));
  fs::create_directories(At("folder/inner"));
  support::WriteFile(At("folder/inner/c"), Text("c"));
  EXPECT_EQ(0, CFWCopyFile(At("folder").c_str(), At("other").c_str()));
  EXPECT_EQ(Text("c"), support::ReadFile(At("other/inner/c")));
}

TEST_F(Cfw, MovesAFileAndAFolder) {
  EXPECT_EQ(0, CFWRenameFile(a().c_str(), At("b").c_str()));
  EXPECT_EQ(Text("0123456789"), support::ReadFile(At("b")));
  EXPECT_FALSE(fs::exists(a()));
  fs::create_directories(At("folder/inner"));
  EXPECT_EQ(0, CFWRenameFile(At("folder").c_str(), At("other").c_str()));
  EXPECT_TRUE(fs::exists(At("other/inner")));
  EXPECT_FALSE(fs::exists(At("folder")));
}

TEST_F(Cfw, CopyAndMoveReplaceNothing) {
  support::WriteFile(At("b"), Text("b"));
  EXPECT_EQ(0, CFWCopyFile(a().c_str(), At("b").c_str()));
  EXPECT_EQ(0, CFWRenameFile(a().c_str(), At("b").c_str()));
  EXPECT_EQ(Text("b"), support::ReadFile(At("b")));
  EXPECT_EQ(Text("0123456789"), support::ReadFile(a()));
}

TEST_F(Cfw, CopyAndMoveDoNotReportThatTheyCouldNot) {
  EXPECT_EQ(0, CFWCopyFile(At("missing").c_str(), At("b").c_str()));
  EXPECT_EQ(0, CFWRenameFile(At("missing").c_str(), At("b").c_str()));
  EXPECT_EQ(0, CFWCopyFile(a().c_str(), At("no/folder").c_str()));
  EXPECT_EQ(0, CFWRenameFile(a().c_str(), At("no/folder").c_str()));
  EXPECT_FALSE(fs::exists(At("b")));
  EXPECT_TRUE(fs::exists(a()));
}

// Shared memory is a volume of its own on most systems; where it is not, this is a plain move.
TEST_F(Cfw, MovesToAnotherVolume) {
  const fs::path volume = fs::exists("/dev/shm") ? "/dev/shm" : fs::temp_directory_path();
  const fs::path target = volume / (folder_.path().filename().string() + "-moved");
  EXPECT_EQ(0, CFWRenameFile(a().c_str(), target.c_str()));
  EXPECT_EQ(Text("0123456789"), support::ReadFile(target));
  EXPECT_FALSE(fs::exists(a()));
  fs::remove(target);
}

TEST_F(Cfw, CopyAndMoveNeedBothLocations) {
  EXPECT_EQ(-1, CFWCopyFile(nullptr, a().c_str()));
  EXPECT_EQ(-1, CFWCopyFile(a().c_str(), nullptr));
  EXPECT_EQ(-1, CFWRenameFile(nullptr, a().c_str()));
  EXPECT_EQ(-1, CFWRenameFile(a().c_str(), nullptr));
}

TEST_F(Cfw, RemovesAFile) {
  EXPECT_EQ(1, CFWDeleteFile(a().c_str()));
  EXPECT_FALSE(fs::exists(a()));
  EXPECT_EQ(0, CFWDeleteFile(a().c_str()));
  EXPECT_EQ(0, CFWDeleteFile(""));
  EXPECT_EQ(-1, CFWDeleteFile(nullptr));
}

TEST_F(Cfw, RemovesALinkAndNotItsTarget) {
  fs::create_symlink("a", At("link"));
  fs::create_symlink("missing", At("dangling"));
  fs::create_directory(At("folder"));
  fs::create_symlink("folder", At("folderLink"));
  for (const char* name : {"link", "dangling", "folderLink"}) {
    EXPECT_EQ(1, CFWDeleteFile(At(name).c_str())) << name;
    EXPECT_FALSE(fs::exists(fs::symlink_status(At(name)))) << name;
  }
  EXPECT_TRUE(fs::exists(a()));
  EXPECT_TRUE(fs::exists(At("folder")));
}

TEST_F(Cfw, RemovesNoFolderAndNothingSpecial) {
  fs::create_directory(At("folder"));
  ASSERT_EQ(0, ::mkfifo(At("pipe").c_str(), 0600));
  EXPECT_EQ(0, CFWDeleteFile(At("folder").c_str()));
  EXPECT_EQ(0, CFWDeleteFile(At("pipe").c_str()));
  EXPECT_TRUE(fs::exists(At("folder")));
  EXPECT_TRUE(fs::exists(At("pipe")));
}

TEST_F(Cfw, TellsWhichFilesCouldNotBeRead) {
  struct stat status;
  ASSERT_EQ(0, ::stat(a().c_str(), &status));
  const auto failure = [&](const QUIRVA::ReadFailures& failures, const char* name) {
    return failures.Of(At(name), status.st_dev, std::string(name) == "a" ? status.st_ino : 0);
  };
  const QUIRVA::ReadFailures failures;
  EXPECT_FALSE(Opens(At("nothing"), kRead));
  EXPECT_EQ(ENOENT, failure(failures, "nothing"));
  const Handle handle(a(), kRead);
  Read(handle, 4);
  EXPECT_EQ(-1, CFWSetFilePointer(handle, -1, 1));
  EXPECT_EQ(0, failure(failures, "a"));
  const QUIRVA::ReadFailures later;
  Read(Handle(a(), kWrite), 4, -1);
  EXPECT_EQ(EBADF, failure(failures, "a"));
  EXPECT_EQ(EBADF, failure(later, "a"));
  EXPECT_EQ(0, failure(later, "nothing"));
  EXPECT_EQ(0, failure(QUIRVA::ReadFailures(), "a"));
}
