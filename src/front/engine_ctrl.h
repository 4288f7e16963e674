// What a front object holds of the engine: one of the two engine objects.
#pragma once

#include "clip/sequence_engine.h"
#include "foundation/com_ptr.h"
#include "foundation/strings.h"
#include "merge/live_merge.h"

class MergerImpl;

// What an operation of a front object answers that has no engine.
inline constexpr HRESULT kNoEngine = -1;

// With a MergerImpl it holds a merge engine and listens to its progress; without one it holds a
// sequence engine. The merge engine knows it as its delegate and must not outlive it.
class CEngineCtrl final : public MP4G::IMp4LiveMergeDelegate {
 public:
  // `front` is not owned and may be null.
  explicit CEngineCtrl(MergerImpl* front);
  ~CEngineCtrl();
  CEngineCtrl(const CEngineCtrl&) = delete;
  CEngineCtrl& operator=(const CEngineCtrl&) = delete;

  // Lets go of both engines.
  void Reset();
  // Makes the engine. A failure is the engine's; an object made so far is kept until Reset.
  [[nodiscard]] HRESULT Initialize();
  // The path by the current locale, valid until the next call.
  const char* FilepathWtoA(const wchar_t* path);
  // What the front object answers; E_POINTER without one.
  [[nodiscard]] HRESULT NotifyProgress(long long current, long long total) override;

  MergerImpl* merger;                                         // not owned; null for sequences
  QUIRVA::ComPtr<MP4G::IMp4SequenceCreator> sequenceCreator;  // for sequences
  QUIRVA::ComPtr<MP4G::IMp4LiveMerge> liveMerge;              // for a merge
  QUIRVA::CEasyStringA narrowPath{""};                        // what FilepathWtoA lent
};

// The controller's merge engine without a new reference; null for a null controller.
MP4G::IMp4LiveMerge* Mp4LiveMerge(CEngineCtrl* control);
