#include "merge/live_merge.h"

#include <utility>

#include "merge/merge_core.h"
#include "merge/mp4_writer.h"

namespace MP4G {

CMp4LiveMerge::CMp4LiveMerge() = default;

CMp4LiveMerge::~CMp4LiveMerge() = default;

HRESULT CMp4LiveMerge::CreateInstance(CMp4LiveMerge** out) {
  RETURN_IF(out == nullptr, E_POINTER);
  auto object = std::make_unique<CMp4LiveMerge>();
  RETURN_IF_NOT_OK(object->Init());
  object->AddRef();
  *out = object.release();
  return S_OK;
}

HRESULT CMp4LiveMerge::Init() {
  Reset();
  core = std::make_unique<CMergeCore>(this);
  return S_OK;
}

void CMp4LiveMerge::Reset() {
  core.reset();
  outputPath.clear();
  delegate = nullptr;
}

HRESULT CMp4LiveMerge::QueryInterface(_GUID iid, void** object) {
  RETURN_IF(object == nullptr, E_POINTER);
  RETURN_IF(!(iid == IID_IMp4LiveMerge), E_NOINTERFACE);
  AddRef();
  *object = static_cast<IMp4LiveMerge*>(this);
  return S_OK;
}

std::uint32_t CMp4LiveMerge::AddRef() { return IncreaseRefCount(); }

std::uint32_t CMp4LiveMerge::Release() {
  const std::uint32_t count = DecreaseRefCount();
  if (count == 0) delete this;
  return count;
}

HRESULT CMp4LiveMerge::SetDelegate(_GUID iid, void* newDelegate) {
  RETURN_IF(!(iid == IID_IMp4LiveMergeDelegate), E_NOINTERFACE);
  delegate = static_cast<IMp4LiveMergeDelegate*>(newDelegate);
  return S_OK;
}

HRESULT CMp4LiveMerge::SetOutputPath(const wchar_t* path) {
  RETURN_IF(path == nullptr, E_POINTER);
  outputPath = path;
  return S_OK;
}

HRESULT CMp4LiveMerge::InputMp4File(const wchar_t* path) {
  return core != nullptr ? core->ProcessFile(path) : E_POINTER;
}

HRESULT CMp4LiveMerge::InputMp4Data(const unsigned char* data, unsigned int size) {
  return core != nullptr ? core->ProcessData(data, size) : E_POINTER;
}

HRESULT CMp4LiveMerge::Finalize() { return core != nullptr ? core->Finalize() : E_POINTER; }

HRESULT CMp4LiveMerge::NotifyProgress(long long current, long long total) {
  return delegate != nullptr ? delegate->NotifyProgress(current, total) : S_OK;
}

HRESULT CMp4LiveMerge_Factory::CreateInstance(_GUID iid, void** out) {
  RETURN_IF(out == nullptr, E_POINTER);
  RETURN_IF(!(iid == IID_IMp4LiveMerge), E_NOINTERFACE);
  CMp4LiveMerge* object = nullptr;
  RETURN_IF_NOT_OK(CMp4LiveMerge::CreateInstance(&object));
  *out = static_cast<IMp4LiveMerge*>(object);
  return S_OK;
}

}  // namespace MP4G
