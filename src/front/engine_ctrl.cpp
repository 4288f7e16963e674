#include "front/engine_ctrl.h"

#include "front/merger.h"

using MP4G::CMp4LiveMerge_Factory;
using MP4G::CVireoMp4AnalyzerFactory;

CEngineCtrl::CEngineCtrl(MergerImpl* front) : merger(front) {}

CEngineCtrl::~CEngineCtrl() { Reset(); }

void CEngineCtrl::Reset() {
  sequenceCreator.Reset();
  liveMerge.Reset();
}

HRESULT CEngineCtrl::Initialize() {
  Reset();
  if (merger == nullptr) {
    RETURN_IF_NOT_OK(CVireoMp4AnalyzerFactory::CreateInstance(MP4G::IID_IMp4SequenceCreator,
                                                              sequenceCreator.Receive()));
    return sequenceCreator ? S_OK : E_POINTER;
  }
  RETURN_IF_NOT_OK(
      CMp4LiveMerge_Factory::CreateInstance(MP4G::IID_IMp4LiveMerge, liveMerge.Receive()));
  RETURN_IF(!liveMerge, E_POINTER);
  return liveMerge->SetDelegate(MP4G::IID_IMp4LiveMergeDelegate,
                                static_cast<MP4G::IMp4LiveMergeDelegate*>(this));
}

const char* CEngineCtrl::FilepathWtoA(const wchar_t* path) {
  narrowPath = QUIRVA::CEasyStringA(path);
  return narrowPath;
}

HRESULT CEngineCtrl::NotifyProgress(long long current, long long total) {
  return merger != nullptr ? merger->notifyProgress(current, total) : E_POINTER;
}

MP4G::IMp4LiveMerge* Mp4LiveMerge(CEngineCtrl* control) {
  return control != nullptr ? control->liveMerge.get() : nullptr;
}
