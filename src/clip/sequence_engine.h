// The object through which an application registers clips and asks for sequences.
#pragma once

#include <cstdint>
#include <memory>

#include "clip/sequence.h"
#include "foundation/com.h"
#include "foundation/export.h"

namespace MP4G {

class CSequenceCreator;

inline constexpr _GUID IID_IMp4SequenceCreator = {
    0xD65864F2, 0xF917, 0x4590, {0xBF, 0xE0, 0x0A, 0xF8, 0x84, 0x32, 0x6D, 0x40}};

inline constexpr _GUID IID_IMp4SequenceCreatorSecret = {
    0x5E5D08F1, 0x6818, 0x4DD3, {0x91, 0xF1, 0xBD, 0x02, 0x84, 0x5E, 0xDC, 0xFA}};

// Takes clips in any order and keeps the sequences that they form. All calls come from one thread
// at a time.
class CLIPCHAIN_API IMp4SequenceCreator : public IUnknown {
 public:
  // Analyses a file and joins its clip to the sequences it fits. Any result but S_OK is the
  // analysis's and leaves the sequences as they were.
  [[nodiscard]] virtual HRESULT RegisterMp4(const wchar_t* path) = 0;
  // The same with the identifiers by which the clip's head and tail are to be known, in place of
  // its own; two zero identifiers replace nothing.
  [[nodiscard]] virtual HRESULT RegisterMp4WithID(const wchar_t* path, _GUID headID,
                                                  _GUID tailID) = 0;
  // Forgets everything, the number of volumes included. Sequences held by a caller stay as they
  // are.
  virtual void ClearSequences() = 0;
  virtual std::uint32_t GetSequenceCount() = 0;
  // With a reference for the caller. E_POINTER for a null `out` and before the first registration,
  // E_INVALIDARG past the end.
  [[nodiscard]] virtual HRESULT GetSequenceAtIndex(unsigned int index, IMp4Sequence** out) = 0;
  // What is registered from now on lies on another volume. Nothing before the first registration.
  virtual void NotifyNewVolume() = 0;
  virtual std::uint32_t GetRelaySequenceCount() = 0;
  // Cuts sequences that lie on several volumes at the change of volume, sparing the first one.
  // E_POINTER before the first registration.
  [[nodiscard]] virtual HRESULT DivideRelaySequenceExceptFirstOne() = 0;
  virtual std::uint32_t GetUnclosedSequenceCount() = 0;
  // Joins two remaining sequences if the timecode of one runs on from the other's. S_OK also if
  // there is nothing to join.
  [[nodiscard]] virtual HRESULT SalvationProcess() = 0;

 protected:
  ~IMp4SequenceCreator() = default;
};

class CLIPCHAIN_API IMp4SequenceCreatorSecret : public IUnknown {
 public:
  // The clips of all sequences.
  virtual std::uint32_t GetTotalFileCount() = 0;

 protected:
  ~IMp4SequenceCreatorSecret() = default;
};

// The engine object. Its builder exists from the first registration, failed ones included, to the
// next ClearSequences.
class CMp4SequenceCreator : public QUIRVA::CComBase,
                            public IMp4SequenceCreator,
                            public IMp4SequenceCreatorSecret {
 public:
  // A new object with one reference. E_POINTER for null.
  [[nodiscard]] static HRESULT CreateInstance(CMp4SequenceCreator** out);

  CMp4SequenceCreator();
  ~CMp4SequenceCreator() override;

  // Serves the two interfaces and no other identifier, that of IUnknown included.
  [[nodiscard]] HRESULT QueryInterface(_GUID iid, void** object) override;
  std::uint32_t AddRef() override;
  std::uint32_t Release() override;
  [[nodiscard]] HRESULT RegisterMp4(const wchar_t* path) override;
  [[nodiscard]] HRESULT RegisterMp4WithID(const wchar_t* path, _GUID headID, _GUID tailID) override;
  void ClearSequences() override;
  std::uint32_t GetSequenceCount() override;
  [[nodiscard]] HRESULT GetSequenceAtIndex(unsigned int index, IMp4Sequence** out) override;
  void NotifyNewVolume() override;
  std::uint32_t GetRelaySequenceCount() override;
  [[nodiscard]] HRESULT DivideRelaySequenceExceptFirstOne() override;
  std::uint32_t GetUnclosedSequenceCount() override;
  [[nodiscard]] HRESULT SalvationProcess() override;
  std::uint32_t GetTotalFileCount() override;

  std::unique_ptr<CSequenceCreator> sequenceCreator;
};

// The one entry point.
class CLIPCHAIN_API CVireoMp4AnalyzerFactory {
 public:
  CVireoMp4AnalyzerFactory() = delete;

  // A new engine object by its IMp4SequenceCreator, with one reference. E_POINTER for null,
  // E_NOINTERFACE for any other identifier.
  [[nodiscard]] static HRESULT CreateInstance(_GUID iid, void** out);
};

}  // namespace MP4G
