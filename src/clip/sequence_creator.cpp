#include "clip/sequence_creator.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <memory>

#include "clip/sequence.h"
#include "clip/vireo_mp4.h"
#include "foundation/com_ptr.h"

namespace MP4G {

namespace {

using SequenceList = std::list<CMp4Sequence*>;
using SequencePtr = QUIRVA::ComPtr<CMp4Sequence>;

void ReleaseAll(SequenceList& list) {
  while (!list.empty()) {
    CMp4Sequence* sequence = list.front();
    list.pop_front();
    if (sequence != nullptr) sequence->Release();
  }
}

// Counts the entries for which the question is answered with yes.
unsigned int CountIf(const SequenceList& list, signed char (CMp4Sequence::*question)()) {
  unsigned int count = 0;
  for (CMp4Sequence* sequence : list) {
    if (sequence == nullptr) return static_cast<unsigned int>(E_POINTER);
    if ((sequence->*question)() != 0) ++count;
  }
  return count;
}

}  // namespace

CSequenceCreator::CSequenceCreator(CMp4SequenceCreator* engine) : owner(engine) {}

CSequenceCreator::~CSequenceCreator() { ResetSequences(); }

void CSequenceCreator::Reset() {
  ResetSequences();
  volume = 0;
}

void CSequenceCreator::ResetSequences() {
  ReleaseAll(sequenceQue);
  ReleaseAll(sequences);
}

HRESULT CSequenceCreator::RegisterMp4(const wchar_t* path, _GUID headID, _GUID tailID) {
  SequencePtr sequence;
  RETURN_IF_NOT_OK(PrepareEmptySequence(sequence.Receive()));
  RETURN_IF(!sequence, E_POINTER);
  auto clip = std::make_unique<CVireoMp4>(volume);
  RETURN_IF_NOT_OK(clip->ParseFile(path));
  RETURN_IF_NOT_OK(sequence->TransferMp4(clip.get()));
  clip.release();
  if (!IsZeroIdentifier(headID) || !IsZeroIdentifier(tailID)) {
    sequence->headUniqueID = headID;
    sequence->tailUniqueID = tailID;
  }
  CMp4Sequence* registered = sequence.Detach();
  InsertSequenceToListWithTimesort(registered);
  return ContinueConnecting(registered);
}

HRESULT CSequenceCreator::SalvationProcess() { return SalvationProcessImpl(); }

HRESULT CSequenceCreator::DivideRelaySequenceExceptFirstOne() {
  bool first = true;
  for (auto entry = sequences.begin(); entry != sequences.end(); ++entry) {
    RETURN_IF(*entry == nullptr, E_POINTER);
    const unsigned int index = (*entry)->RelayClipIndex();
    if (index == 0) continue;
    if (first) {
      first = false;
      continue;
    }
    RETURN_IF_NOT_OK(SplitOff(**entry, index));
    // From the front again, which stepping on then passes over: the new part may have gone in
    // anywhere, and whatever stands at the front is spared.
    entry = sequences.begin();
  }
  return S_OK;
}

HRESULT CSequenceCreator::SplitOff(CMp4Sequence& sequence, unsigned int index) {
  SequencePtr part;
  RETURN_IF_NOT_OK(PrepareEmptySequence(part.Receive()));
  RETURN_IF(!part, E_POINTER);
  RETURN_IF_NOT_OK(sequence.DivideSequence(index, part.get()));
  InsertSequenceToListWithTimesort(part.Detach());
  return S_OK;
}

CMp4Sequence* CSequenceCreator::GetSequenceAtIndex(unsigned int index) const {
  return index < sequences.size() ? *std::next(sequences.begin(), index) : nullptr;
}

unsigned int CSequenceCreator::GetUnclosedSequenceCount() const {
  return CountIf(sequences, &CMp4Sequence::IsUnclosedSequence);
}

unsigned int CSequenceCreator::GetRelaySequenceCount() const {
  return CountIf(sequences, &CMp4Sequence::IsRelaySequence);
}

HRESULT CSequenceCreator::PrepareEmptySequence(CMp4Sequence** out) {
  RETURN_IF(out == nullptr, E_POINTER);
  if (sequenceQue.empty()) return CMp4Sequence::CreateInstance(out);
  *out = sequenceQue.front();
  sequenceQue.pop_front();
  return S_OK;
}

void CSequenceCreator::InsertSequenceToListWithTimesort(CMp4Sequence* sequence) {
  if (sequence == nullptr) return;
  SequencePtr owned;  // until the list holds it: the list may find no memory
  owned.Attach(sequence);
  const std::uint64_t time = sequence->TimeFromEra();
  const auto earlier =
      std::find_if(sequences.rbegin(), sequences.rend(), [time](const CMp4Sequence* entry) {
        return entry != nullptr && entry->TimeFromEra() <= time;
      });
  sequences.insert(earlier.base(), sequence);
  static_cast<void>(owned.Detach());
}

HRESULT CSequenceCreator::ContinueConnecting(CMp4Sequence* sequence) {
  RETURN_IF(sequence == nullptr, E_POINTER);
  CMp4Sequence* connected = nullptr;
  RETURN_IF_NOT_OK(ConnectSequence(sequence, &connected));
  // Each round empties one live sequence, so there are fewer rounds than sequences, whatever
  // identifiers a file claims.
  while (connected != nullptr) {
    MoveSequenceToQue(sequence);
    sequence = connected;
    connected = nullptr;
    RETURN_IF_NOT_OK(ConnectSequence(sequence, &connected));
  }
  return S_OK;
}

HRESULT CSequenceCreator::ConnectSequence(CMp4Sequence* sequence, CMp4Sequence** connected) {
  RETURN_IF(sequence == nullptr || connected == nullptr, E_POINTER);
  for (CMp4Sequence* entry : sequences) {
    RETURN_IF(entry == nullptr, E_POINTER);
    if (entry == sequence || entry->AskCanConnect(sequence) == 0) continue;
    RETURN_IF_NOT_OK(entry->Connect(sequence, 0));
    *connected = entry;
    return S_OK;
  }
  return S_OK;
}

void CSequenceCreator::MoveSequenceToQue(CMp4Sequence* sequence) {
  const auto entry = std::find(sequences.begin(), sequences.end(), sequence);
  if (entry != sequences.end()) sequenceQue.splice(sequenceQue.end(), sequences, entry);
}

HRESULT CSequenceCreator::SalvationProcessImpl() {
  if (sequences.size() != 2) return S_OK;
  CMp4Sequence* first = sequences.front();
  CMp4Sequence* second = sequences.back();
  const HRESULT result = ConnectSequenceAtSalvationMode(first, second);
  if (result <= S_OK) return result;
  RETURN_IF_NEGATIVE(ConnectSequenceAtSalvationMode(second, first));
  return S_OK;
}

HRESULT CSequenceCreator::ConnectSequenceAtSalvationMode(CMp4Sequence* first,
                                                         CMp4Sequence* second) {
  RETURN_IF(first == nullptr || second == nullptr, E_POINTER);
  RETURN_IF(first->NextIDExist() == 0, S_FALSE);
  RETURN_IF_NOT_OK(first->CheckTimecodeContinuity(second));
  const HRESULT result = first->Connect(second, 1);
  MoveSequenceToQue(second);
  return result;
}

}  // namespace MP4G
