#include "front/merger.h"

#include "foundation/strings.h"
#include "front/engine_ctrl.h"

MergerImpl::MergerImpl() = default;

MergerImpl::~MergerImpl() { reset(); }

void MergerImpl::reset() { engine.reset(); }

HRESULT MergerImpl::initialize() {
  reset();
  engine = std::make_unique<CEngineCtrl>(this);
  return engine->Initialize();
}

HRESULT MergerImpl::setOutputPath(const wchar_t* path) {
  MP4G::IMp4LiveMerge* merge = Mp4LiveMerge(engine.get());
  return merge != nullptr ? merge->SetOutputPath(path) : E_POINTER;
}

HRESULT MergerImpl::inputMp4File(const wchar_t* path) {
  MP4G::IMp4LiveMerge* merge = Mp4LiveMerge(engine.get());
  RETURN_IF(merge == nullptr, E_POINTER);
  // An input that failed at its first block must not make the next one look as if it stood still.
  lastReport = kNoReport;
  return merge->InputMp4File(path);
}

HRESULT MergerImpl::finalize() {
  MP4G::IMp4LiveMerge* merge = Mp4LiveMerge(engine.get());
  return merge != nullptr ? merge->Finalize() : E_POINTER;
}

HRESULT MergerImplEx::notifyProgress(long long current, long long total) {
  if (delegate != nullptr) return delegate->notifyMergeProgress(current, total);
  const bool standsStill = current == lastReport && current < total;
  lastReport = current;
  return standsStill ? MP4G_E_INPUT_READ : S_OK;
}

QVMp4Merger::QVMp4Merger() = default;

QVMp4Merger::~QVMp4Merger() = default;

QVMp4Merger* QVMp4Merger::init() { return prepareEngine() == S_OK ? this : nullptr; }

HRESULT QVMp4Merger::prepareEngine() {
  _pImpl = std::make_unique<MergerImplEx>();
  return _pImpl->initialize() == S_OK ? S_OK : kNoEngine;
}

HRESULT QVMp4Merger::setDelegate(QVMp4MergerDelegate* delegate) {
  RETURN_IF(_pImpl == nullptr, kNoEngine);
  _pImpl->delegate = delegate;
  return S_OK;
}

HRESULT QVMp4Merger::setOutputPath(const char* path) {
  RETURN_IF(_pImpl == nullptr, kNoEngine);
  HRESULT converted = S_OK;
  const QUIRVA::CMacChar widePath(path, converted);
  RETURN_IF_NOT_OK(converted);
  return _pImpl->setOutputPath(widePath);
}

HRESULT QVMp4Merger::inputMp4File(const char* path) {
  RETURN_IF(_pImpl == nullptr, kNoEngine);
  HRESULT converted = S_OK;
  const QUIRVA::CMacChar widePath(path, converted);
  RETURN_IF_NOT_OK(converted);
  return _pImpl->inputMp4File(widePath);
}

HRESULT QVMp4Merger::finalizeMerger() { return _pImpl != nullptr ? _pImpl->finalize() : kNoEngine; }
