#include "clip/sequence.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

#include "clip/mp4_util.h"
#include "foundation/pointer_list.h"

namespace MP4G {

namespace {

constexpr unsigned int kNoVolume = 0xFFFFFFFF;
constexpr _GUID kNoIdentifier{};

// The links of a chain by reference: whoever asks every sequence whether it fits should not copy
// identifiers on the way.
const _GUID& PreviousLink(const CMp4Sequence& sequence) {
  const CVireoMp4* first = sequence.FirstMp4();
  return first != nullptr ? first->preID : kNoIdentifier;
}

const _GUID& NextLink(const CMp4Sequence& sequence) {
  const CVireoMp4* last = sequence.LastMp4();
  return last != nullptr ? last->nextID : kNoIdentifier;
}

}  // namespace

bool IsZeroMemory(const void* memory, unsigned int size) {
  if (memory == nullptr) return true;
  const auto* bytes = static_cast<const unsigned char*>(memory);
  return std::all_of(bytes, bytes + size, [](unsigned char byte) { return byte == 0; });
}

bool IsZeroIdentifier(const _GUID& identifier) {
  // Up to the last field: what the compiler puts behind it to fill up the record is no value.
  return IsZeroMemory(&identifier, offsetof(_GUID, Data4) + sizeof identifier.Data4);
}

HRESULT CMp4Sequence::CreateInstance(CMp4Sequence** out) {
  RETURN_IF(out == nullptr, E_POINTER);
  auto* sequence = new CMp4Sequence;
  sequence->AddRef();
  *out = sequence;
  return S_OK;
}

CMp4Sequence::~CMp4Sequence() { Reset(); }

HRESULT CMp4Sequence::QueryInterface(_GUID iid, void** object) {
  RETURN_IF(object == nullptr, E_POINTER);
  RETURN_IF(!(iid == IID_IMp4Sequence), E_NOINTERFACE);
  AddRef();
  *object = static_cast<IMp4Sequence*>(this);
  return S_OK;
}

std::uint32_t CMp4Sequence::AddRef() { return IncreaseRefCount(); }

std::uint32_t CMp4Sequence::Release() {
  const std::uint32_t count = DecreaseRefCount();
  if (count == 0) delete this;
  return count;
}

HRESULT CMp4Sequence::GetTimedate(_tagSequenceTimedate* out) {
  RETURN_IF(out == nullptr, E_POINTER);
  const _tagSequenceTimedate date = TimeDate();
  RETURN_IF(date.year == 0 && date.month == 0 && date.day == 0 && date.hour == 0 &&
                date.minute == 0 && date.second == 0,
            E_FAIL);
  *out = date;
  return S_OK;
}

std::uint32_t CMp4Sequence::GetFileCount() { return static_cast<std::uint32_t>(clips.size()); }

const wchar_t* CMp4Sequence::GetFilePathAtIndex(unsigned int index) {
  if (index >= clips.size()) return L"";
  const CVireoMp4* clip = *std::next(clips.begin(), index);
  return clip != nullptr ? clip->path.c_str() : L"";
}

signed char CMp4Sequence::IsClosedAtHead() { return IsZeroIdentifier(PreviousLink(*this)); }

signed char CMp4Sequence::IsClosedAtTail() { return IsZeroIdentifier(NextLink(*this)); }

signed char CMp4Sequence::ConsistsOfVireoStream() {
  const CVireoMp4* first = FirstMp4();
  return first != nullptr ? static_cast<signed char>(first->isVireoStream) : 0;
}

signed char CMp4Sequence::IsRelaySequence() { return RelayClipIndex() != 0; }

signed char CMp4Sequence::IsUnclosedSequence() {
  return IsClosedAtHead() == 0 || IsClosedAtTail() == 0;
}

_GUID CMp4Sequence::GetHeadUniqueID() { return headUniqueID; }

_GUID CMp4Sequence::GetTailUniqueID() { return tailUniqueID; }

void CMp4Sequence::Reset() {
  QUIRVA::DeletePointerList(clips, 0);
  headUniqueID = {};
  tailUniqueID = {};
}

_tagSequenceTimedate CMp4Sequence::TimeDate() const {
  const CVireoMp4* first = FirstMp4();
  return first != nullptr ? first->timedate : _tagSequenceTimedate{};
}

std::uint64_t CMp4Sequence::TimeFromEra() const {
  const _tagSequenceTimedate date = TimeDate();
  return CMp4Util::CalcurateTimeFromEra(date.year, date.month, date.day, date.hour, date.minute,
                                        date.second);
}

_GUID CMp4Sequence::PreID() const { return PreviousLink(*this); }

_GUID CMp4Sequence::NextID() const { return NextLink(*this); }

signed char CMp4Sequence::NextIDExist() const { return !IsZeroIdentifier(NextLink(*this)); }

CVireoMp4* CMp4Sequence::FirstMp4() const { return clips.empty() ? nullptr : clips.front(); }

CVireoMp4* CMp4Sequence::LastMp4() const { return clips.empty() ? nullptr : clips.back(); }

unsigned int CMp4Sequence::RelayClipIndex() const {
  unsigned int reference = kNoVolume;
  unsigned int index = 0;
  for (const CVireoMp4* clip : clips) {
    if (clip != nullptr) {
      if (reference == kNoVolume) {
        reference = clip->volume;
      } else if (clip->volume != reference) {
        return index;
      }
    }
    ++index;
  }
  return 0;
}

HRESULT CMp4Sequence::TransferMp4(CVireoMp4* clip) {
  RETURN_IF(clip == nullptr, E_POINTER);
  clips.push_back(clip);
  if (clips.size() == 1) {
    headUniqueID = clip->uniqueID;
    tailUniqueID = clip->uniqueID;
  }
  return S_OK;
}

signed char CMp4Sequence::AskCanConnect(CMp4Sequence* other) {
  if (other == nullptr) return 0;
  if (IsZeroIdentifier(headUniqueID) || IsZeroIdentifier(tailUniqueID)) return 0;
  if (headUniqueID == NextLink(*other) && PreviousLink(*this) == other->tailUniqueID) return 1;
  return tailUniqueID == PreviousLink(*other) && NextLink(*this) == other->headUniqueID;
}

HRESULT CMp4Sequence::Connect(CMp4Sequence* other, signed char force) {
  if (other == nullptr) return S_OK;
  // A sequence that fits itself keeps its clips, where it is.
  const bool isOther = other != this;
  // The tail goes first here, unlike in AskCanConnect: where both ends fit, `other` comes behind.
  if (tailUniqueID == PreviousLink(*other) || force == 1) {
    tailUniqueID = other->tailUniqueID;
    if (isOther) clips.splice(clips.end(), other->clips);
    return S_OK;
  }
  RETURN_IF(!(headUniqueID == NextLink(*other)), E_UNEXPECTED);
  headUniqueID = other->headUniqueID;
  if (isOther) clips.splice(clips.begin(), other->clips);
  return S_OK;
}

HRESULT CMp4Sequence::CheckTimecodeContinuity(CMp4Sequence* other) {
  RETURN_IF(other == nullptr || LastMp4() == nullptr, E_POINTER);
  return LastMp4()->CheckTimecodeContinuity(other->FirstMp4());
}

HRESULT CMp4Sequence::DivideSequence(unsigned int index, CMp4Sequence* target) {
  RETURN_IF(target == nullptr, E_POINTER);
  RETURN_IF(index >= clips.size(), E_INVALIDARG);
  auto clip = std::next(clips.begin(), index);
  // Counted beforehand: a sequence that is its own target grows at the end while it is walked.
  for (std::size_t left = clips.size() - index; left != 0; --left) {
    RETURN_IF_NOT_OK(target->TransferMp4(*clip));
    clip = clips.erase(clip);
  }
  return S_OK;
}

}  // namespace MP4G
