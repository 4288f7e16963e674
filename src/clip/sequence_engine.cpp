#include "clip/sequence_engine.h"

#include "clip/sequence_creator.h"
#include "foundation/com_ptr.h"

namespace MP4G {

HRESULT CMp4SequenceCreator::CreateInstance(CMp4SequenceCreator** out) {
  RETURN_IF(out == nullptr, E_POINTER);
  auto* creator = new CMp4SequenceCreator;
  creator->AddRef();
  *out = creator;
  return S_OK;
}

CMp4SequenceCreator::CMp4SequenceCreator() = default;

CMp4SequenceCreator::~CMp4SequenceCreator() = default;

HRESULT CMp4SequenceCreator::QueryInterface(_GUID iid, void** object) {
  RETURN_IF(object == nullptr, E_POINTER);
  if (iid == IID_IMp4SequenceCreator) {
    *object = static_cast<IMp4SequenceCreator*>(this);
  } else if (iid == IID_IMp4SequenceCreatorSecret) {
    *object = static_cast<IMp4SequenceCreatorSecret*>(this);
  } else {
    return E_NOINTERFACE;
  }
  AddRef();
  return S_OK;
}

std::uint32_t CMp4SequenceCreator::AddRef() { return IncreaseRefCount(); }

std::uint32_t CMp4SequenceCreator::Release() {
  const std::uint32_t count = DecreaseRefCount();
  if (count == 0) delete this;
  return count;
}

HRESULT CMp4SequenceCreator::RegisterMp4(const wchar_t* path) {
  return RegisterMp4WithID(path, _GUID{}, _GUID{});
}

HRESULT CMp4SequenceCreator::RegisterMp4WithID(const wchar_t* path, _GUID headID, _GUID tailID) {
  if (sequenceCreator == nullptr) sequenceCreator = std::make_unique<CSequenceCreator>(this);
  return sequenceCreator->RegisterMp4(path, headID, tailID);
}

void CMp4SequenceCreator::ClearSequences() { sequenceCreator.reset(); }

std::uint32_t CMp4SequenceCreator::GetSequenceCount() {
  return sequenceCreator != nullptr ? static_cast<std::uint32_t>(sequenceCreator->sequences.size())
                                    : 0;
}

HRESULT CMp4SequenceCreator::GetSequenceAtIndex(unsigned int index, IMp4Sequence** out) {
  RETURN_IF(sequenceCreator == nullptr || out == nullptr, E_POINTER);
  RETURN_IF(index >= GetSequenceCount(), E_INVALIDARG);
  CMp4Sequence* sequence = sequenceCreator->GetSequenceAtIndex(index);
  RETURN_IF(sequence == nullptr, E_POINTER);
  sequence->AddRef();
  *out = sequence;
  return S_OK;
}

void CMp4SequenceCreator::NotifyNewVolume() {
  if (sequenceCreator != nullptr) ++sequenceCreator->volume;
}

std::uint32_t CMp4SequenceCreator::GetRelaySequenceCount() {
  return sequenceCreator != nullptr ? sequenceCreator->GetRelaySequenceCount() : 0;
}

HRESULT CMp4SequenceCreator::DivideRelaySequenceExceptFirstOne() {
  RETURN_IF(sequenceCreator == nullptr, E_POINTER);
  return sequenceCreator->DivideRelaySequenceExceptFirstOne();
}

std::uint32_t CMp4SequenceCreator::GetUnclosedSequenceCount() {
  return sequenceCreator != nullptr ? sequenceCreator->GetUnclosedSequenceCount() : 0;
}

HRESULT CMp4SequenceCreator::SalvationProcess() {
  return sequenceCreator != nullptr ? sequenceCreator->SalvationProcess() : S_OK;
}

std::uint32_t CMp4SequenceCreator::GetTotalFileCount() {
  if (sequenceCreator == nullptr) return 0;
  std::uint32_t count = 0;
  for (CMp4Sequence* sequence : sequenceCreator->sequences) {
    if (sequence != nullptr) count += sequence->GetFileCount();
  }
  return count;
}

HRESULT CVireoMp4AnalyzerFactory::CreateInstance(_GUID iid, void** out) {
  RETURN_IF(out == nullptr, E_POINTER);
  RETURN_IF(!(iid == IID_IMp4SequenceCreator), E_NOINTERFACE);
  QUIRVA::ComPtr<CMp4SequenceCreator> creator;
  RETURN_IF_NOT_OK(CMp4SequenceCreator::CreateInstance(creator.Receive()));
  RETURN_IF(!creator, E_POINTER);
  *out = static_cast<IMp4SequenceCreator*>(creator.Detach());
  return S_OK;
}

}  // namespace MP4G
