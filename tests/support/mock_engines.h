// Engine objects that a test scripts: what is asked of them, and what they answer.
#pragma once

#include <gmock/gmock.h>

#include "clip/sequence_engine.h"
#include "merge/live_merge.h"

namespace support {

class MockLiveMerge : public MP4G::IMp4LiveMerge {
 public:
  virtual ~MockLiveMerge() = default;
  MOCK_METHOD(HRESULT, QueryInterface, (_GUID, void**), (override));
  MOCK_METHOD(std::uint32_t, AddRef, (), (override));
  MOCK_METHOD(std::uint32_t, Release, (), (override));
  MOCK_METHOD(HRESULT, SetDelegate, (_GUID, void*), (override));
  MOCK_METHOD(HRESULT, SetOutputPath, (const wchar_t*), (override));
  MOCK_METHOD(HRESULT, InputMp4File, (const wchar_t*), (override));
  MOCK_METHOD(HRESULT, InputMp4Data, (const unsigned char*, unsigned int), (override));
  MOCK_METHOD(HRESULT, Finalize, (), (override));
};

class MockSequence : public MP4G::IMp4Sequence {
 public:
  virtual ~MockSequence() = default;
  MOCK_METHOD(HRESULT, QueryInterface, (_GUID, void**), (override));
  MOCK_METHOD(std::uint32_t, AddRef, (), (override));
  MOCK_METHOD(std::uint32_t, Release, (), (override));
  MOCK_METHOD(HRESULT, GetTimedate, (MP4G::_tagSequenceTimedate*), (override));
  MOCK_METHOD(std::uint32_t, GetFileCount, (), (override));
  MOCK_METHOD(const wchar_t*, GetFilePathAtIndex, (unsigned int), (override));
  MOCK_METHOD(signed char, IsClosedAtHead, (), (override));
  MOCK_METHOD(signed char, IsClosedAtTail, (), (override));
  MOCK_METHOD(signed char, ConsistsOfVireoStream, (), (override));
  MOCK_METHOD(signed char, IsRelaySequence, (), (override));
  MOCK_METHOD(signed char, IsUnclosedSequence, (), (override));
  MOCK_METHOD(_GUID, GetHeadUniqueID, (), (override));
  MOCK_METHOD(_GUID, GetTailUniqueID, (), (override));
};

class MockSequenceCreator : public MP4G::IMp4SequenceCreator {
 public:
  virtual ~MockSequenceCreator() = default;
  MOCK_METHOD(HRESULT, QueryInterface, (_GUID, void**), (override));
  MOCK_METHOD(std::uint32_t, AddRef, (), (override));
  MOCK_METHOD(std::uint32_t, Release, (), (override));
  MOCK_METHOD(HRESULT, RegisterMp4, (const wchar_t*), (override));
  MOCK_METHOD(HRESULT, RegisterMp4WithID, (const wchar_t*, _GUID, _GUID), (override));
  MOCK_METHOD(void, ClearSequences, (), (override));
  MOCK_METHOD(std::uint32_t, GetSequenceCount, (), (override));
  MOCK_METHOD(HRESULT, GetSequenceAtIndex, (unsigned int, MP4G::IMp4Sequence**), (override));
  MOCK_METHOD(void, NotifyNewVolume, (), (override));
  MOCK_METHOD(std::uint32_t, GetRelaySequenceCount, (), (override));
  MOCK_METHOD(HRESULT, DivideRelaySequenceExceptFirstOne, (), (override));
  MOCK_METHOD(std::uint32_t, GetUnclosedSequenceCount, (), (override));
  MOCK_METHOD(HRESULT, SalvationProcess, (), (override));
};

}  // namespace support
