#include "foundation/c_file.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <limits>

#include "support/bytes.h"
#include "support/result_matchers.h"
#include "support/temp_dir.h"

using namespace QUIRVA;
using support::Bytes;
using support::Text;
namespace fs = std::filesystem;

namespace {

class CFileTest : public testing::Test {
 protected:
  CFileTest() { support::WriteFile(folder_ / "a", Text("0123456789")); }

  std::string At(const char* name) const { return (folder_ / name).string(); }
  HRESULT Open(const char* name, unsigned int mode) { return file_.Open(At(name).c_str(), mode); }
  Bytes Read(unsigned int size) {
    Bytes bytes(size, 0xEE);
    unsigned int done = 77;
    EXPECT_OK(file_.Read(bytes.data(), size, &done));
    bytes.resize(done);
    return bytes;
  }
  HRESULT Write(const Bytes& bytes) {
    return file_.Write(bytes.data(), static_cast<unsigned int>(bytes.size()), nullptr);
  }

  support::TempDir folder_;
  CFile_c file_;
};

}  // namespace

TEST_F(CFileTest, ReadsAndCounts) {
  ASSERT_OK(Open("a", 1));
  EXPECT_EQ(10, file_.GetSize());
  EXPECT_EQ(0u, file_.GetTransferred());
  EXPECT_EQ(Text("0123"), Read(4));
  EXPECT_EQ(4u, file_.GetTransferred());
  EXPECT_EQ(Text("456789"), Read(100));
  EXPECT_EQ(10u, file_.GetTransferred());
  EXPECT_EQ(Bytes(), Read(1));
}

TEST_F(CFileTest, Mode2EmptiesTheFile) {
  ASSERT_OK(Open("a", 2));
  EXPECT_EQ(0, file_.GetSize());
  unsigned int done = 77;
  EXPECT_OK(file_.Write(Text("ab").data(), 2, &done));
  EXPECT_EQ(2u, done);
  EXPECT_EQ(2u, file_.GetTransferred());
  file_.Close();
  EXPECT_EQ(Text("ab"), support::ReadFile(At("a")));
}

TEST_F(CFileTest, Mode3ReadsAndWritesWhatExists) {
  EXPECT_RESULT(E_HANDLE, Open("missing", 3));
  ASSERT_OK(Open("a", 3));
  EXPECT_EQ(10, file_.GetSize());
  EXPECT_OK(Write(Text("ab")));
  EXPECT_OK(file_.Seek(1));
  EXPECT_EQ(Text("b2"), Read(2));
  EXPECT_EQ(4u, file_.GetTransferred());
  file_.Reset();
  EXPECT_EQ(Text("ab23456789"), support::ReadFile(At("a")));
}

TEST_F(CFileTest, RefusesOtherModesAndMissingFiles) {
  for (const unsigned int mode : {0u, 4u, 0xFFFFFFFFu}) {
    EXPECT_RESULT(E_INVALIDARG, Open("a", mode));
  }
  EXPECT_RESULT(E_HANDLE, Open("missing", 1));
  EXPECT_FALSE(fs::exists(At("missing")));
  EXPECT_RESULT(E_HANDLE, Open("no/folder", 2));
}

TEST_F(CFileTest, OpeningClosesWhatWasOpenEvenIfItFails) {
  ASSERT_OK(Open("a", 1));
  Read(4);
  EXPECT_RESULT(E_INVALIDARG, Open("a", 9));
  EXPECT_EQ(0u, file_.GetTransferred());
  EXPECT_EQ(0, file_.GetSize());
  unsigned char byte = 0;
  EXPECT_RESULT(E_HANDLE, file_.Read(&byte, 1, nullptr));
}

TEST_F(CFileTest, CloseAndResetForgetEverything) {
  for (void (CFile_c::*close)() : {&CFile_c::Close, &CFile_c::Reset}) {
    ASSERT_OK(Open("a", 1));
    Read(4);
    (file_.*close)();
    EXPECT_EQ(0u, file_.GetTransferred());
    EXPECT_EQ(0, file_.GetSize());
    EXPECT_RESULT(E_HANDLE, file_.Seek(0));
  }
}

TEST_F(CFileTest, WithoutAFileThereIsNoHandle) {
  unsigned char byte = 0;
  long long position = 0;
  EXPECT_RESULT(E_HANDLE, file_.Read(&byte, 1, nullptr));
  EXPECT_RESULT(E_HANDLE, file_.Read(nullptr, 0, nullptr));
  EXPECT_RESULT(E_HANDLE, file_.Write(&byte, 1, nullptr));
  EXPECT_RESULT(E_HANDLE, file_.GetCurrentPos(&position));
  EXPECT_RESULT(E_HANDLE, file_.GetCurrentPos(nullptr));
  EXPECT_RESULT(E_HANDLE, file_.Seek(0));
}

TEST_F(CFileTest, TransfersNeedABufferAndASize) {
  ASSERT_OK(Open("a", 3));
  unsigned char byte = 0;
  EXPECT_RESULT(E_INVALIDARG, file_.Read(nullptr, 1, nullptr));
  EXPECT_RESULT(E_INVALIDARG, file_.Read(&byte, 0, nullptr));
  EXPECT_RESULT(E_INVALIDARG, file_.Write(nullptr, 1, nullptr));
  EXPECT_RESULT(E_INVALIDARG, file_.Write(&byte, 0, nullptr));
  EXPECT_OK(file_.Read(&byte, 1, nullptr));
  EXPECT_EQ('0', byte);
}

TEST_F(CFileTest, AShortTransferIsNoFailure) {
  ASSERT_OK(Open("a", 1));
  unsigned int done = 77;
  EXPECT_OK(file_.Write(Text("x").data(), 1, &done));
  EXPECT_EQ(0u, done);
  EXPECT_EQ(0u, file_.GetTransferred());
}

TEST_F(CFileTest, SeeksAndTells) {
  ASSERT_OK(Open("a", 1));
  EXPECT_OK(file_.Seek(7));
  long long position = 0;
  EXPECT_OK(file_.GetCurrentPos(&position));
  EXPECT_EQ(7, position);
  EXPECT_EQ(Text("789"), Read(5));
  EXPECT_OK(file_.Seek(0x123456789));
  EXPECT_OK(file_.GetCurrentPos(&position));
  EXPECT_EQ(0x123456789, position);
  EXPECT_RESULT(E_FAIL, file_.Seek(-1));
  EXPECT_RESULT(E_POINTER, file_.GetCurrentPos(nullptr));
}

TEST_F(CFileTest, AStreamWithoutPositionsCannotTellOne) {
  ASSERT_OK(file_.Open("/dev/ptmx", 3));
  long long position = 77;
  EXPECT_RESULT(E_FAIL, file_.GetCurrentPos(&position));
  EXPECT_EQ(77, position);
  EXPECT_RESULT(E_FAIL, file_.Seek(0));
}

TEST_F(CFileTest, DeleteAnswersWhatTheSystemAnswers) {
  EXPECT_EQ(0, CFile_c::Delete(At("a").c_str()));
  EXPECT_FALSE(fs::exists(At("a")));
  EXPECT_EQ(-1, CFile_c::Delete(At("a").c_str()));
}
