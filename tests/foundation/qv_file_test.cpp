#include "foundation/qv_file.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "foundation/custom_file.h"
#include "foundation/platform/cfw.h"
#include "foundation/strings.h"
#include "support/bytes.h"
#include "support/result_matchers.h"
#include "support/temp_dir.h"

using namespace QUIRVA;
using support::Bytes;
using support::Text;
namespace fs = std::filesystem;

namespace {

constexpr auto kMinusOne = static_cast<HRESULT>(0xFFFFFFFF);

HRESULT WriteFailure(unsigned int number) { return static_cast<HRESULT>(0xA00C0000 | number); }

// A folder with a file "a" that holds "0123456789".
class FileTest : public testing::Test {
 protected:
  FileTest() { support::WriteFile(folder_ / "a", Text("0123456789")); }

  std::wstring Wide(const char* name) const { return WidePathFromBytes((folder_ / name).string()); }
  std::string Narrow(const char* name) const { return (folder_ / name).string(); }

  support::TempDir folder_;
};

using CustomFile = FileTest;
using QvFileTest = FileTest;

Bytes Read(QvFile& file, unsigned int size) {
  Bytes bytes(size, 0xEE);
  unsigned int read = 77;
  EXPECT_OK(file.Read(bytes.data(), size, &read));
  bytes.resize(read);
  return bytes;
}

}  // namespace

TEST_F(CustomFile, CreatesHandlesAndIgnoresTheLastTwoArguments) {
  void* handle = nullptr;
  ASSERT_OK(CustomCreateFileHandle(Wide("a").c_str(), 1, &handle, 0, 1));
  ASSERT_NE(nullptr, handle);
  EXPECT_OK(CustomCloseFileHandle(handle));
  ASSERT_OK(CustomCreateFileHandle(Wide("new").c_str(), 2, &handle, 0x3F3F3F3F, 0x3F3F3F3F));
  EXPECT_OK(CustomCloseFileHandle(handle));
  EXPECT_TRUE(fs::exists(folder_ / "new"));
}

TEST_F(CustomFile, AFileThatCannotBeOpenedGivesENoHandle) {
  int something = 0;
  void* handle = &something;
  EXPECT_RESULT(E_HANDLE, CustomCreateFileHandle(Wide("missing").c_str(), 1, &handle, 0, 0));
  EXPECT_EQ(nullptr, handle);
  handle = &something;
  const wchar_t impossible[] = {L'/', static_cast<wchar_t>(0xD800), 0};
  EXPECT_RESULT(E_HANDLE, CustomCreateFileHandle(impossible, 2, &handle, 0, 0));
  EXPECT_EQ(nullptr, handle);
}

TEST_F(CustomFile, NarrowPathsAreNotServed) {
  int something = 0;
  void* handle = &something;
  EXPECT_RESULT(E_NOTIMPL, CustomCreateFileHandle(Narrow("a").c_str(), 1, &handle, 0, 0));
  EXPECT_EQ(&something, handle);
  EXPECT_RESULT(E_NOTIMPL, CustomDeleteFile(Narrow("a").c_str()));
  EXPECT_TRUE(fs::exists(folder_ / "a"));
}

TEST_F(CustomFile, DeleteAnswersOneForARemovedFile) {
  EXPECT_EQ(1, CustomDeleteFile(Wide("a").c_str()));
  EXPECT_FALSE(fs::exists(folder_ / "a"));
  EXPECT_EQ(0, CustomDeleteFile(Wide("a").c_str()));
  const wchar_t impossible[] = {L'/', static_cast<wchar_t>(0xD800), 0};
  EXPECT_RESULT(kMinusOne, CustomDeleteFile(impossible));
}

TEST_F(CustomFile, PassesPositionsSizesAndBytesOn) {
  void* handle = nullptr;
  ASSERT_OK(CustomCreateFileHandle(Wide("a").c_str(), 3, &handle, 0, 0));
  long long number = 0;
  EXPECT_OK(CustomGetFileSize(handle, &number));
  EXPECT_EQ(10, number);
  EXPECT_OK(CustomSetFilePointer(handle, -4, 2));
  EXPECT_OK(CustomGetFilePointer(handle, &number));
  EXPECT_EQ(6, number);
  unsigned char bytes[10] = {};
  unsigned int count = 77;
  EXPECT_OK(CustomReadFile(handle, bytes, 10, &count));
  EXPECT_EQ(4u, count);
  EXPECT_EQ(Text("6789"), Bytes(bytes, bytes + 4));
  EXPECT_OK(CustomSetFilePointer(handle, 1, 1));
  EXPECT_OK(CustomWriteFile(handle, "ab", 2, &count, nullptr));
  EXPECT_EQ(2u, count);
  EXPECT_OK(CustomSetEOF(handle));
  EXPECT_OK(CustomCloseFileHandle(handle));
  EXPECT_EQ(Text("0ab"), support::ReadFile(folder_ / "a"));
}

TEST_F(CustomFile, FailuresBelowArePassedOn) {
  long long number = 0;
  unsigned char byte = 0;
  unsigned int count = 77;
  EXPECT_RESULT(kMinusOne, CustomCloseFileHandle(nullptr));
  EXPECT_RESULT(kMinusOne, CustomGetFilePointer(nullptr, &number));
  EXPECT_RESULT(kMinusOne, CustomSetFilePointer(nullptr, 0, 1));
  EXPECT_RESULT(kMinusOne, CustomGetFileSize(nullptr, &number));
  EXPECT_RESULT(kMinusOne, CustomSetEOF(nullptr));
  EXPECT_RESULT(kMinusOne, CustomReadFile(nullptr, &byte, 1, &count));
  EXPECT_EQ(0u, count);
}

TEST_F(CustomFile, AFailedWriteCarriesTheErrorNumber) {
  unsigned int count = 77;
  EXPECT_RESULT(WriteFailure(6), CustomWriteFile(nullptr, "a", 1, &count, nullptr));
  EXPECT_EQ(0u, count);
  void* handle = nullptr;
  ASSERT_OK(CustomCreateFileHandle(L"/dev/full", 2, &handle, 0, 0));
  count = 77;
  EXPECT_RESULT(WriteFailure(28), CustomWriteFile(handle, "a", 1, &count, nullptr));
  EXPECT_EQ(0u, count);
  EXPECT_OK(CustomCloseFileHandle(handle));
}

TEST_F(QvFileTest, OpensReadsAndCloses) {
  QvFile file;
  EXPECT_FALSE(file.IsOpened());
  ASSERT_OK(file.Open(Wide("a").c_str(), QvFile::kRead));
  EXPECT_TRUE(file.IsOpened());
  EXPECT_EQ(Text("0123"), Read(file, 4));
  EXPECT_EQ(Text("456789"), Read(file, 100));
  file.Close();
  EXPECT_FALSE(file.IsOpened());
  file.Close();
}

TEST_F(QvFileTest, TellsWhetherTheDiskTookEverything) {
  QvFile file;
  EXPECT_RESULT(kMinusOne, file.CloseFlushed());
  ASSERT_OK(file.Open(Wide("new").c_str(), QvFile::kWrite));
  EXPECT_OK(file.Write("abc", 3, nullptr));
  EXPECT_OK(file.CloseFlushed());
  EXPECT_FALSE(file.IsOpened());
  EXPECT_EQ(3, QvFile::GetFileSize(Wide("new").c_str()));
}

TEST_F(QvFileTest, OpensNarrowPaths) {
  QvFile file;
  ASSERT_OK(file.Open(Narrow("a").c_str(), QvFile::kRead));
  EXPECT_EQ(Text("0123"), Read(file, 4));
  EXPECT_RESULT(E_HANDLE, file.Open(Narrow("missing").c_str(), QvFile::kRead));
}

TEST_F(QvFileTest, OpeningClosesWhatWasOpen) {
  QvFile file;
  ASSERT_OK(file.Open(Wide("a").c_str(), QvFile::kRead));
  EXPECT_RESULT(E_HANDLE, file.Open(Wide("missing").c_str(), QvFile::kRead));
  EXPECT_FALSE(file.IsOpened());
  ASSERT_OK(file.Open(Wide("b").c_str(), QvFile::kWrite));
  ASSERT_OK(file.Open(Wide("a").c_str(), QvFile::kRead));
  EXPECT_EQ(Text("0123456789"), Read(file, 10));
}

TEST_F(QvFileTest, AccessValuesAreThoseOfTheFileLayer) {
  EXPECT_EQ(1u, QvFile::kRead);
  EXPECT_EQ(2u, QvFile::kWrite);
  EXPECT_EQ(3u, QvFile::kReadAndWrite);
  EXPECT_EQ(1u, QvFile::kFromStart);
  EXPECT_EQ(2u, QvFile::kFromEnd);
  EXPECT_EQ(3u, QvFile::kFromCurrent);
}

TEST_F(QvFileTest, WritesOverWhatIsThereAndCutsOnRequest) {
  {
    QvFile file;
    ASSERT_OK(file.Open(Wide("a").c_str(), QvFile::kReadAndWrite));
    unsigned int written = 77;
    EXPECT_OK(file.Write("ab", 2, &written));
    EXPECT_EQ(2u, written);
    EXPECT_EQ(Text("23"), Read(file, 2));
    EXPECT_OK(file.Write("c", 1, nullptr));
    EXPECT_OK(file.SetEof());
  }
  EXPECT_EQ(Text("ab23c"), support::ReadFile(folder_ / "a"));
}

TEST_F(QvFileTest, SeeksAndTells) {
  QvFile file;
  ASSERT_OK(file.Open(Wide("a").c_str(), QvFile::kRead));
  long long number = 0;
  EXPECT_OK(file.GetFileSize(&number));
  EXPECT_EQ(10, number);
  EXPECT_OK(file.Seek(-3, QvFile::kFromEnd));
  EXPECT_OK(file.Seek(1, QvFile::kFromCurrent));
  EXPECT_OK(file.GetCurrentPos(&number));
  EXPECT_EQ(8, number);
  EXPECT_OK(file.Seek(2, QvFile::kFromStart));
  EXPECT_OK(file.Read(&number, 1, nullptr));
  EXPECT_EQ(Text("3"), Read(file, 1));
}

TEST_F(QvFileTest, TheCountIsStoredOnSuccessAlone) {
  QvFile file;
  unsigned char byte = 0;
  unsigned int count = 77;
  ASSERT_OK(file.Open(Wide("a").c_str(), QvFile::kWrite));
  EXPECT_RESULT(kMinusOne, file.Read(&byte, 1, &count));
  EXPECT_EQ(77u, count);
  ASSERT_OK(file.Open(Wide("a").c_str(), QvFile::kRead));
  EXPECT_RESULT(WriteFailure(EBADF), file.Write(&byte, 1, &count));
  EXPECT_EQ(77u, count);
}

TEST_F(QvFileTest, WithoutAnOpenFileEverythingFails) {
  QvFile file;
  unsigned char byte = 0;
  long long number = 0;
  EXPECT_RESULT(kMinusOne, file.Read(&byte, 1, nullptr));
  EXPECT_RESULT(WriteFailure(6), file.Write(&byte, 1, nullptr));
  EXPECT_RESULT(kMinusOne, file.Seek(0, QvFile::kFromStart));
  EXPECT_RESULT(kMinusOne, file.GetCurrentPos(&number));
  EXPECT_RESULT(kMinusOne, file.SetEof());
  EXPECT_RESULT(kMinusOne, file.GetFileSize(&number));
}

TEST_F(QvFileTest, DeletesByNarrowAndWidePath) {
  EXPECT_EQ(1, QvFile::Delete(Wide("a").c_str()));
  EXPECT_EQ(0, QvFile::Delete(Wide("a").c_str()));
  support::WriteFile(folder_ / "a", {});
  EXPECT_EQ(1, QvFile::Delete(Narrow("a").c_str()));
  EXPECT_FALSE(fs::exists(folder_ / "a"));
}

TEST_F(QvFileTest, TellsTheSizeOfAFileByItsPath) {
  EXPECT_EQ(10, QvFile::GetFileSize(Wide("a").c_str()));
  EXPECT_EQ(10, QvFile::GetFileSize(Narrow("a").c_str()));
  EXPECT_EQ(0, QvFile::GetFileSize(Wide("missing").c_str()));
  EXPECT_EQ(0, QvFile::GetFileSize(Narrow("missing").c_str()));
  EXPECT_EQ(0, QvFile::GetFileSize(Wide("").c_str()));
  EXPECT_FALSE(fs::exists(folder_ / "missing"));
}

TEST_F(QvFileTest, ANameThatIsNoTextIsReachedByItsWidePath) {
  const std::string name = (folder_ / "clip\xFF\xC3\xA9").string();
  {
    QvFile file;
    ASSERT_OK(file.Open(WidePathFromBytes(name).c_str(), QvFile::kWrite));
    ASSERT_OK(file.Write("x", 1, nullptr));
  }
  EXPECT_EQ(Text("x"), support::ReadFile(name));
  EXPECT_EQ(1, QvFile::Delete(WidePathFromBytes(name).c_str()));
}
