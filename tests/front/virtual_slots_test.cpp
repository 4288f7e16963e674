// The order of virtual operations is what programs depend on that were compiled before. A
// destructor takes two slots.
#include "support/virtual_slots.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "foundation/file_reader.h"
#include "front/creator.h"
#include "front/engine_ctrl.h"
#include "front/merger.h"
#include "merge/live_merge.h"
#include "merge/m4lm.h"
#include "support/mock_engines.h"
#include "support/result_matchers.h"

namespace {

using support::CallSlot;
using testing::Return;
using testing::StrictMock;

constexpr _GUID kId = {1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};

TEST(VirtualSlots, OfTheLiveMerge) {
  StrictMock<support::MockLiveMerge> merge;
  void* object = static_cast<MP4G::IMp4LiveMerge*>(&merge);
  void* place = nullptr;
  unsigned char byte = 0;
  EXPECT_CALL(merge, QueryInterface(kId, &place)).WillOnce(Return(10));
  EXPECT_EQ(10, (CallSlot<HRESULT, _GUID, void**>(object, 0, kId, &place)));
  EXPECT_CALL(merge, AddRef()).WillOnce(Return(11));
  EXPECT_EQ(11u, CallSlot<std::uint32_t>(object, 1));
  EXPECT_CALL(merge, Release()).WillOnce(Return(12));
  EXPECT_EQ(12u, CallSlot<std::uint32_t>(object, 2));
  EXPECT_CALL(merge, SetDelegate(kId, &place)).WillOnce(Return(13));
  EXPECT_EQ(13, (CallSlot<HRESULT, _GUID, void*>(object, 3, kId, &place)));
  EXPECT_CALL(merge, SetOutputPath(testing::StrEq(L"out"))).WillOnce(Return(14));
  EXPECT_EQ(14, (CallSlot<HRESULT, const wchar_t*>(object, 4, L"out")));
  EXPECT_CALL(merge, InputMp4File(testing::StrEq(L"in"))).WillOnce(Return(15));
  EXPECT_EQ(15, (CallSlot<HRESULT, const wchar_t*>(object, 5, L"in")));
  EXPECT_CALL(merge, InputMp4Data(&byte, 1)).WillOnce(Return(16));
  EXPECT_EQ(16, (CallSlot<HRESULT, const unsigned char*, unsigned int>(object, 6, &byte, 1)));
  EXPECT_CALL(merge, Finalize()).WillOnce(Return(17));
  EXPECT_EQ(17, CallSlot<HRESULT>(object, 7));
}

// A handle of the flat functions is the object itself, whose table begins with its destructor.
TEST(VirtualSlots, OfTheObjectBehindAHandle) {
  void* handle = nullptr;
  ASSERT_OK(m4lm_createHandle(&handle));
  void* other = handle;
  EXPECT_RESULT(E_NOINTERFACE, (CallSlot<HRESULT, _GUID, void**>(handle, 2, kId, &other)));
  EXPECT_EQ(2u, CallSlot<std::uint32_t>(handle, 3));
  EXPECT_EQ(1u, CallSlot<std::uint32_t>(handle, 4));
  EXPECT_RESULT(E_NOINTERFACE, (CallSlot<HRESULT, _GUID, void*>(handle, 5, kId, nullptr)));
  EXPECT_OK((CallSlot<HRESULT, const wchar_t*>(handle, 6, L"/no/such/folder/out")));
  EXPECT_RESULT(MP4G_E_INPUT_OPEN, (CallSlot<HRESULT, const wchar_t*>(handle, 7, L"/no/such")));
  EXPECT_RESULT(E_INVALIDARG,
                (CallSlot<HRESULT, const unsigned char*, unsigned int>(handle, 8, nullptr, 1)));
  EXPECT_RESULT(E_POINTER, CallSlot<HRESULT>(handle, 9));
  EXPECT_OK(m4lm_deleteHandle(handle));
}

class Listener final : public MergerImpl {
 public:
  HRESULT notifyProgress(long long current, long long total) override {
    return static_cast<HRESULT>(current * 10 + total);
  }
};

TEST(VirtualSlots, OfWhatListensToProgress) {
  Listener listener;
  CEngineCtrl control(&listener);
  void* delegate = static_cast<MP4G::IMp4LiveMergeDelegate*>(&control);
  EXPECT_EQ(&control, delegate);
  EXPECT_EQ(42, (CallSlot<HRESULT, long long, long long>(delegate, 0, 4, 2)));
  void* merger = static_cast<MergerImpl*>(&listener);
  EXPECT_EQ(57, (CallSlot<HRESULT, long long, long long>(merger, 0, 5, 7)));
}

class Delegate final : public QVMp4MergerDelegate {
 public:
  HRESULT notifyMergeProgress(long long current, long long total) override {
    return static_cast<HRESULT>(current - total);
  }
};

TEST(VirtualSlots, OfTheApplicationsDelegate) {
  Delegate delegate;
  void* object = static_cast<QVMp4MergerDelegate*>(&delegate);
  EXPECT_EQ(35, (CallSlot<HRESULT, long long, long long>(object, 0, 40, 5)));
}

class MockReader : public QUIRVA::IQvFileReader {
 public:
  virtual ~MockReader() = default;
  MOCK_METHOD(HRESULT, QueryInterface, (_GUID, void**), (override));
  MOCK_METHOD(std::uint32_t, AddRef, (), (override));
  MOCK_METHOD(std::uint32_t, Release, (), (override));
  MOCK_METHOD(void, CloseReader, (), (override));
  MOCK_METHOD(long long, GetFileSize, (), (const, override));
  MOCK_METHOD(HRESULT, SetBufferSize, (unsigned int), (override));
  MOCK_METHOD(unsigned int, GetBufferSize, (), (const, override));
  MOCK_METHOD(HRESULT, GetData, (long long, unsigned int, const unsigned char*&, unsigned int&),
              (const, override));
};

TEST(VirtualSlots, OfAReader) {
  StrictMock<MockReader> reader;
  void* object = static_cast<QUIRVA::IQvFileReader*>(&reader);
  void* place = nullptr;
  EXPECT_CALL(reader, QueryInterface(kId, &place)).WillOnce(Return(10));
  EXPECT_EQ(10, (CallSlot<HRESULT, _GUID, void**>(object, 0, kId, &place)));
  EXPECT_CALL(reader, AddRef()).WillOnce(Return(11));
  EXPECT_EQ(11u, CallSlot<std::uint32_t>(object, 1));
  EXPECT_CALL(reader, Release()).WillOnce(Return(12));
  EXPECT_EQ(12u, CallSlot<std::uint32_t>(object, 2));
  EXPECT_CALL(reader, CloseReader());
  CallSlot<void>(object, 3);
  EXPECT_CALL(reader, GetFileSize()).WillOnce(Return(1LL << 40));
  EXPECT_EQ(1LL << 40, CallSlot<long long>(object, 4));
  EXPECT_CALL(reader, SetBufferSize(7)).WillOnce(Return(13));
  EXPECT_EQ(13, (CallSlot<HRESULT, unsigned int>(object, 5, 7)));
  EXPECT_CALL(reader, GetBufferSize()).WillOnce(Return(14));
  EXPECT_EQ(14u, CallSlot<unsigned int>(object, 6));
  EXPECT_CALL(reader, GetData(8, 9, testing::_, testing::_)).WillOnce(Return(15));
  const unsigned char* data = nullptr;
  unsigned int got = 0;
  EXPECT_EQ(15, (CallSlot<HRESULT, long long, unsigned int, const unsigned char*&, unsigned int&>(
                    object, 7, 8, 9, data, got)));
}

class MockLock : public QUIRVA::QvBaseLock {
 public:
  MOCK_METHOD(signed char, Lock, (unsigned int), (override));
  MOCK_METHOD(void, Unlock, (), (override));
};

TEST(VirtualSlots, OfALock) {
  StrictMock<MockLock> lock;
  void* object = static_cast<QUIRVA::QvBaseLock*>(&lock);
  EXPECT_CALL(lock, Lock(QUIRVA::kWaitForever)).WillOnce(Return(5));
  EXPECT_EQ(5, (CallSlot<signed char, unsigned int>(object, 2, QUIRVA::kWaitForever)));
  EXPECT_CALL(lock, Unlock());
  CallSlot<void>(object, 3);
}

}  // namespace
