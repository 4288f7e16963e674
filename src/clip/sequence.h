// A chain of clips in recording order.
#pragma once

#include <cstdint>
#include <list>

#include "clip/vireo_mp4.h"
#include "foundation/com.h"
#include "foundation/export.h"

namespace MP4G {

inline constexpr _GUID IID_IMp4Sequence = {
    0xB94994BD, 0x73BB, 0x4D32, {0xB2, 0x96, 0x30, 0x2A, 0x7E, 0xD1, 0x4D, 0x48}};

// A sequence as an application sees it.
//
// The first clip's previous identifier and the last clip's next identifier tell whether the chain
// is complete: zero means that the recording began or ended there. Flags are 1 or 0. A sequence
// that a later registration joined to another one is empty from then on, and an empty sequence is
// closed at both ends.
class CLIPCHAIN_API IMp4Sequence : public IUnknown {
 public:
  // The recording date of the first clip. E_POINTER for null; E_FAIL, with `out` untouched, if no
  // date is known.
  [[nodiscard]] virtual HRESULT GetTimedate(_tagSequenceTimedate* out) = 0;
  virtual std::uint32_t GetFileCount() = 0;
  // The path as it was registered, valid as long as the clip lives; empty beyond the end. Never
  // null.
  virtual const wchar_t* GetFilePathAtIndex(unsigned int index) = 0;
  virtual signed char IsClosedAtHead() = 0;
  virtual signed char IsClosedAtTail() = 0;
  // Whether the first clip carries the stream marker.
  virtual signed char ConsistsOfVireoStream() = 0;
  // Whether the clips lie on more than one volume.
  virtual signed char IsRelaySequence() = 0;
  // Whether the chain is open at an end: a clip is not registered yet, or lost.
  virtual signed char IsUnclosedSequence() = 0;
  // The identifiers by which the ends of the chain are known.
  virtual _GUID GetHeadUniqueID() = 0;
  virtual _GUID GetTailUniqueID() = 0;

 protected:
  ~IMp4Sequence() = default;
};

// The sequence behind the interface. It owns its clips. A null entry in the list is passed over, or
// counts as no clip where it stands at the end that is asked for.
//
// The identifiers of the ends are stored, not derived: joining replaces them, an application may
// have set them, and dividing or emptying a sequence leaves them as they were.
class CMp4Sequence : public QUIRVA::CComBase, public IMp4Sequence {
 public:
  // An empty sequence with one reference. E_POINTER for null.
  [[nodiscard]] static HRESULT CreateInstance(CMp4Sequence** out);

  CMp4Sequence() = default;
  ~CMp4Sequence() override;

  // Serves IID_IMp4Sequence alone.
  [[nodiscard]] HRESULT QueryInterface(_GUID iid, void** object) override;
  std::uint32_t AddRef() override;
  std::uint32_t Release() override;
  [[nodiscard]] HRESULT GetTimedate(_tagSequenceTimedate* out) override;
  std::uint32_t GetFileCount() override;
  const wchar_t* GetFilePathAtIndex(unsigned int index) override;
  signed char IsClosedAtHead() override;
  signed char IsClosedAtTail() override;
  signed char ConsistsOfVireoStream() override;
  signed char IsRelaySequence() override;
  signed char IsUnclosedSequence() override;
  _GUID GetHeadUniqueID() override;
  _GUID GetTailUniqueID() override;

  // Deletes the clips and zeroes both identifiers.
  void Reset();

  // The first clip's date; all zero if there is none.
  _tagSequenceTimedate TimeDate() const;
  // That date in seconds since the start of year 0.
  std::uint64_t TimeFromEra() const;
  // The first clip's previous and the last clip's next identifier; zero if there is no clip.
  _GUID PreID() const;
  _GUID NextID() const;
  signed char NextIDExist() const;
  // Null if there is no clip.
  CVireoMp4* FirstMp4() const;
  CVireoMp4* LastMp4() const;
  // The position of the first clip on another volume than the first one's, or 0. A clip on volume
  // 0xFFFFFFFF at the head does not settle which volume is the first.
  unsigned int RelayClipIndex() const;

  // Appends `clip`, which this sequence then owns. The first clip gives both end identifiers.
  // E_POINTER for null.
  [[nodiscard]] HRESULT TransferMp4(CVireoMp4* clip);
  // Whether `other` stands directly before or behind this sequence, both ends pointing at each
  // other. A sequence with a zero end identifier never agrees.
  signed char AskCanConnect(CMp4Sequence* other);
  // Takes the clips of `other` over: behind its own if the tail fits or `force` is 1, else in front
  // if the head fits, else E_UNEXPECTED with nothing changed. `other` keeps its end identifiers.
  // Null: S_OK, nothing done. Where this sequence fits itself, it keeps its clips.
  [[nodiscard]] HRESULT Connect(CMp4Sequence* other, signed char force);
  // S_OK if the timecode of the first clip of `other` runs on from this sequence's last clip,
  // S_FALSE if not. E_POINTER if a sequence or its clip is missing.
  [[nodiscard]] HRESULT CheckTimecodeContinuity(CMp4Sequence* other);
  // Moves the clips from `index` on to `target`. E_POINTER for null, E_INVALIDARG if there is no
  // clip at `index`.
  [[nodiscard]] HRESULT DivideSequence(unsigned int index, CMp4Sequence* target);

  std::list<CVireoMp4*> clips;  // from head to tail; owned
  _GUID headUniqueID{};
  _GUID tailUniqueID{};
};

// Whether all bytes are zero; also true for null and for no bytes.
bool IsZeroMemory(const void* memory, unsigned int size);
// Whether an identifier says that there is none.
bool IsZeroIdentifier(const _GUID& identifier);

}  // namespace MP4G
