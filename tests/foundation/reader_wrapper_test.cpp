#include "foundation/reader_wrapper.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <limits>
#include <vector>

#include "foundation/strings.h"
#include "support/bytes.h"
#include "support/result_matchers.h"
#include "support/temp_dir.h"

using namespace QUIRVA;
using support::Bytes;
namespace fs = std::filesystem;

namespace {

constexpr auto kMinusOne = static_cast<HRESULT>(0xFFFFFFFF);
constexpr long long kFarthest = std::numeric_limits<long long>::max();

unsigned char ByteAt(long long position) { return static_cast<unsigned char>(position * 7 + 3); }

Bytes SourceBytes(long long position, std::size_t count) {
  Bytes bytes(count);
  for (std::size_t i = 0; i < count; ++i) {
    bytes[i] = ByteAt(position + static_cast<long long>(i));
  }
  return bytes;
}

struct Request {
  long long position;
  unsigned int size;
  bool operator==(const Request&) const = default;
};

// A source that invents its bytes and notes what it was asked for.
class InventedSource : public ReaderWrapperBase {
 public:
  InventedSource(long long size, unsigned int bufferSize, int& result)
      : ReaderWrapperBase(bufferSize, result) {
    fileSize_ = size;
  }
  ~InventedSource() override {
    if (deleted != nullptr) *deleted = true;
  }
  void CloseReader() override {}
  HRESULT StoreDataToBuffer(long long position, unsigned int size) const override {
    requests.push_back({position, size});
    RETURN_IF_NOT_OK(failure);
    for (unsigned int i = 0; i < size; ++i) buffer_.GetData()[i] = ByteAt(position + i);
    return S_OK;
  }
  void DropReferences() { refCount_ = 0; }

  HRESULT failure = S_OK;
  mutable std::vector<Request> requests;
  bool* deleted = nullptr;
};

struct Answer {
  HRESULT result = S_OK;
  const unsigned char* data = nullptr;
  unsigned int got = 77;
  Bytes bytes() const { return {data, data + got}; }
};

Answer Get(const IQvFileReader& reader, long long position, unsigned int size) {
  Answer answer;
  answer.result = reader.GetData(position, size, answer.data, answer.got);
  return answer;
}

class ReaderTest : public testing::Test {
 protected:
  ReaderTest() : source_(1000, 100, result_) {}

  int result_ = -1;
  InventedSource source_;
};

// A folder with a file "a" of 1000 bytes.
class FileReader : public testing::Test {
 protected:
  FileReader() { support::WriteFile(folder_ / "a", SourceBytes(0, 1000)); }

  std::wstring At(const char* name) const { return WidePathFromBytes((folder_ / name).string()); }

  support::TempDir folder_;
  int result_ = 77;
};

}  // namespace

TEST_F(ReaderTest, StartsWithOneReferenceAndItsBuffer) {
  EXPECT_OK(result_);
  EXPECT_EQ(1000, source_.GetFileSize());
  EXPECT_EQ(100u, source_.GetBufferSize());
  EXPECT_EQ(2u, source_.AddRef());
  EXPECT_EQ(1u, source_.Release());
  EXPECT_TRUE(source_.requests.empty());
}

TEST_F(ReaderTest, FillsTheBufferFromTheRequestOn) {
  const Answer answer = Get(source_, 50, 10);
  EXPECT_OK(answer.result);
  EXPECT_EQ(SourceBytes(50, 10), answer.bytes());
  EXPECT_EQ((std::vector<Request>{{50, 100}}), source_.requests);
}

TEST_F(ReaderTest, ServesTheCachedRangeWithoutReading) {
  ASSERT_OK(Get(source_, 50, 10).result);
  for (const Request& request :
       {Request{50, 100}, Request{50, 0}, Request{60, 90}, Request{149, 1}, Request{150, 0}}) {
    const Answer answer = Get(source_, request.position, request.size);
    EXPECT_OK(answer.result);
    EXPECT_EQ(SourceBytes(request.position, request.size), answer.bytes());
  }
  EXPECT_EQ(1u, source_.requests.size());
}

TEST_F(ReaderTest, ReadsAgainForAnythingOutsideTheCachedRange) {
  for (const Request& request : {Request{49, 1}, Request{49, 100}, Request{149, 2}, Request{150, 1},
                                 Request{151, 0}, Request{0, 1}}) {
    ASSERT_OK(Get(source_, 50, 100).result);
    const std::size_t before = source_.requests.size();
    const Answer answer = Get(source_, request.position, request.size);
    EXPECT_OK(answer.result);
    EXPECT_EQ(SourceBytes(request.position, request.size), answer.bytes());
    ASSERT_EQ(before + 1, source_.requests.size()) << request.position;
    EXPECT_EQ((Request{request.position, 100}), source_.requests.back());
  }
}

TEST_F(ReaderTest, TheEndOfTheSourceIsAShortAnswerReadAnewEachTime) {
  for (std::size_t reads = 1; reads <= 2; ++reads) {
    const Answer answer = Get(source_, 990, 16);
    EXPECT_RESULT(S_FALSE, answer.result);
    EXPECT_EQ(SourceBytes(990, 10), answer.bytes());
    EXPECT_EQ(reads, source_.requests.size());
    EXPECT_EQ((Request{990, 10}), source_.requests.back());
  }
  EXPECT_OK(Get(source_, 990, 10).result);
  EXPECT_EQ(2u, source_.requests.size());
}

TEST_F(ReaderTest, ARequestLargerThanTheBufferIsAShortAnswer) {
  const Answer answer = Get(source_, 0, 101);
  EXPECT_RESULT(S_FALSE, answer.result);
  EXPECT_EQ(SourceBytes(0, 100), answer.bytes());
  EXPECT_OK(Get(source_, 0, 100).result);
}

TEST_F(ReaderTest, AtOrBehindTheEndThereIsNothing) {
  for (const long long position : {1000LL, 1001LL, 0x100000000LL, kFarthest}) {
    for (const unsigned int size : {0u, 1u, 0xFFFFFFFFu}) {
      // Whoever asks for nothing at the end has got it.
      if (size == 0 && position == 1000) continue;
      const Answer answer = Get(source_, position, size);
      EXPECT_RESULT(S_FALSE, answer.result) << position;
      EXPECT_EQ(nullptr, answer.data);
      EXPECT_EQ(0u, answer.got);
      EXPECT_EQ((Request{1000, 0}), source_.requests.back());
    }
  }
  const Answer answer = Get(source_, 0, 5);
  EXPECT_OK(answer.result);
  EXPECT_EQ(SourceBytes(0, 5), answer.bytes());
}

TEST_F(ReaderTest, RefusesANegativePosition) {
  for (const long long position : {-1LL, -100LL, std::numeric_limits<long long>::min()}) {
    const Answer answer = Get(source_, position, 1);
    EXPECT_RESULT(E_INVALIDARG, answer.result);
    EXPECT_EQ(nullptr, answer.data);
    EXPECT_EQ(0u, answer.got);
  }
  EXPECT_TRUE(source_.requests.empty());
}

TEST_F(ReaderTest, AFailureOfTheSourceIsPassedOnAndTheCachedRangeStays) {
  ASSERT_OK(Get(source_, 50, 10).result);
  for (const HRESULT failure : {E_FAIL, kMinusOne, S_FALSE}) {
    source_.failure = failure;
    EXPECT_RESULT(failure, Get(source_, 500, 10).result);
  }
  const std::size_t before = source_.requests.size();
  const Answer answer = Get(source_, 50, 100);
  EXPECT_OK(answer.result);
  EXPECT_EQ(SourceBytes(50, 100), answer.bytes());
  EXPECT_EQ(before, source_.requests.size());
}

TEST_F(ReaderTest, PositionsBeyond32BitsAreServed) {
  int result = -1;
  const InventedSource large(0x500000000, 100, result);
  EXPECT_EQ(SourceBytes(0x480000000, 100), Get(large, 0x480000000, 100).bytes());
  EXPECT_EQ((Request{0x480000000, 100}), large.requests.back());
  EXPECT_RESULT(S_FALSE, Get(large, 0x500000000 - 3, 4).result);
  EXPECT_EQ((Request{0x500000000 - 3, 3}), large.requests.back());
}

TEST_F(ReaderTest, SetBufferSizeReplacesTheBufferAndDropsTheCachedRange) {
  ASSERT_OK(Get(source_, 50, 10).result);
  EXPECT_OK(source_.SetBufferSize(20));
  EXPECT_EQ(20u, source_.GetBufferSize());
  EXPECT_EQ(20u, Get(source_, 50, 30).got);
  EXPECT_EQ((Request{50, 20}), source_.requests.back());
  EXPECT_OK(source_.SetBufferSize(200));
  EXPECT_EQ(200u, source_.GetBufferSize());
  EXPECT_OK(Get(source_, 50, 200).result);
  EXPECT_EQ((Request{50, 200}), source_.requests.back());
}

TEST_F(ReaderTest, WithoutABufferThereIsNothing) {
  EXPECT_OK(source_.SetBufferSize(0));
  EXPECT_EQ(0u, source_.GetBufferSize());
  const Answer answer = Get(source_, 0, 1);
  EXPECT_RESULT(S_FALSE, answer.result);
  EXPECT_EQ(0u, answer.got);
  EXPECT_EQ(nullptr, answer.data);
}

TEST_F(ReaderTest, FormatClassForgetsTheSourceAndTheCachedRange) {
  ASSERT_OK(Get(source_, 0, 10).result);
  source_.FormatClass();
  EXPECT_EQ(0, source_.GetFileSize());
  EXPECT_EQ(100u, source_.GetBufferSize());
  EXPECT_RESULT(S_FALSE, Get(source_, 0, 10).result);
  EXPECT_EQ(2u, source_.requests.size());
}

TEST_F(ReaderTest, ServesTheTwoInterfacesItHas) {
  EXPECT_RESULT(E_POINTER, source_.QueryInterface(IID_IQvFileReader, nullptr));
  for (const _GUID& iid : {IID_IUnknown, IID_IQvFileReader}) {
    void* object = nullptr;
    EXPECT_OK(source_.QueryInterface(iid, &object));
    EXPECT_EQ(static_cast<IQvFileReader*>(&source_), object);
    EXPECT_EQ(1u, source_.Release());
  }
  int something = 0;
  void* object = &something;
  EXPECT_RESULT(E_NOINTERFACE, source_.QueryInterface(_GUID{}, &object));
  EXPECT_EQ(nullptr, object);
}

TEST_F(ReaderTest, GoesAwayWithItsLastReferenceOrWithoutOne) {
  for (const bool referenced : {true, false}) {
    bool deleted = false;
    auto* source = new InventedSource(10, 10, result_);
    source->deleted = &deleted;
    if (!referenced) source->DropReferences();
    EXPECT_EQ(0u, source->Release());
    EXPECT_TRUE(deleted);
  }
}

TEST_F(FileReader, ReadsTheFileThroughItsBuffer) {
  const FileReaderWrapper reader(At("a").c_str(), 100, result_);
  ASSERT_OK(result_);
  EXPECT_EQ(1000, reader.GetFileSize());
  EXPECT_EQ(100u, reader.GetBufferSize());
  EXPECT_EQ(SourceBytes(0, 16), Get(reader, 0, 16).bytes());
  EXPECT_EQ(SourceBytes(700, 100), Get(reader, 700, 100).bytes());
  EXPECT_EQ(SourceBytes(300, 100), Get(reader, 300, 100).bytes());
  const Answer last = Get(reader, 990, 16);
  EXPECT_RESULT(S_FALSE, last.result);
  EXPECT_EQ(SourceBytes(990, 10), last.bytes());
}

TEST_F(FileReader, BehindTheEndThereIsNothing) {
  const FileReaderWrapper reader(At("a").c_str(), 100, result_);
  ASSERT_OK(result_);
  for (const long long position : {1000LL, 1001LL, kFarthest}) {
    const Answer answer = Get(reader, position, 16);
    EXPECT_RESULT(S_FALSE, answer.result);
    EXPECT_EQ(nullptr, answer.data);
    EXPECT_EQ(0u, answer.got);
  }
  EXPECT_RESULT(E_INVALIDARG, Get(reader, -1, 16).result);
}

TEST_F(FileReader, ARequestLargerThanTheBufferIsAShortAnswerHoweverLargeTheFile) {
  support::WriteFile(folder_ / "large", SourceBytes(0, 5000));
  const FileReaderWrapper reader(At("large").c_str(), 1000, result_);
  ASSERT_OK(result_);
  const Answer answer = Get(reader, 0, 2000);
  EXPECT_RESULT(S_FALSE, answer.result);
  EXPECT_EQ(SourceBytes(0, 1000), answer.bytes());
}

TEST_F(FileReader, AFileThatCannotBeOpenedGivesNoHandle) {
  ASSERT_EQ(0, ::mkfifo((folder_ / "pipe").c_str(), 0600));
  for (const char* name : {"missing", "", "pipe"}) {
    const FileReaderWrapper reader(At(name).c_str(), 100, result_);
    EXPECT_RESULT(E_HANDLE, result_) << name;
    EXPECT_EQ(0, reader.GetFileSize());
    EXPECT_RESULT(E_POINTER, Get(reader, 0, 1).result);
  }
}

TEST_F(FileReader, ASourceWithoutASizeIsAFailure) {
  const FileReaderWrapper reader(L"/dev/ptmx", 100, result_);
  EXPECT_RESULT(kMinusOne, result_);
  EXPECT_RESULT(E_POINTER, Get(reader, 0, 1).result);
}

TEST_F(FileReader, NarrowPathsAreNotServed) {
  const FileReaderWrapper reader((folder_ / "a").c_str(), 100, result_);
  EXPECT_RESULT(E_NOTIMPL, result_);
  EXPECT_RESULT(E_POINTER, Get(reader, 0, 1).result);
}

TEST_F(FileReader, AfterCloseReaderOnlyTheCachedRangeIsThere) {
  FileReaderWrapper reader(At("a").c_str(), 100, result_);
  ASSERT_OK(result_);
  ASSERT_OK(Get(reader, 0, 10).result);
  reader.CloseReader();
  reader.CloseReader();
  EXPECT_EQ(SourceBytes(50, 50), Get(reader, 50, 50).bytes());
  EXPECT_RESULT(E_POINTER, Get(reader, 100, 1).result);
}

TEST_F(FileReader, AFileThatShrankIsAFailure) {
  const FileReaderWrapper reader(At("a").c_str(), 100, result_);
  ASSERT_OK(result_);
  fs::resize_file(folder_ / "a", 550);
  EXPECT_OK(Get(reader, 450, 100).result);
  EXPECT_RESULT(E_FAIL, Get(reader, 545, 10).result);
  // The failed read went over what was cached, which is read again.
  const Answer again = Get(reader, 450, 100);
  EXPECT_OK(again.result);
  EXPECT_EQ(SourceBytes(450, 100), again.bytes());
}

TEST_F(FileReader, AnEmptyFileHasNothing) {
  support::WriteFile(folder_ / "empty", {});
  const FileReaderWrapper reader(At("empty").c_str(), 100, result_);
  ASSERT_OK(result_);
  EXPECT_EQ(0, reader.GetFileSize());
  EXPECT_RESULT(S_FALSE, Get(reader, 0, 1).result);
}

TEST_F(FileReader, ALargeBufferCostsOnlyWhatIsReadIntoIt) {
  rusage before;
  getrusage(RUSAGE_SELF, &before);
  for (int i = 0; i < 50; ++i) {
    FileReaderWrapper reader(At("a").c_str(), 100, result_);
    ASSERT_OK(result_);
    ASSERT_OK(reader.SetBufferSize(64 << 20));
    ASSERT_EQ(SourceBytes(0, 1000), Get(reader, 0, 1000).bytes());
  }
  rusage after;
  getrusage(RUSAGE_SELF, &after);
  EXPECT_LT(after.ru_minflt - before.ru_minflt, 50 * 100);
}
