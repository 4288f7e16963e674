#include "workflow/merging/verify.h"

#include "adapt/fit.h"
#include "workflow/merging/image_comparison.h"
#include "workflow/merging/sample_oracle.h"

namespace clipchain {

namespace {

Intended IntendedBy(const VerifyTask& task) {
  const FitReport& report = task.fit->Report();
  Intended intended;
  for (const FitHold& hold : report.holds)
    intended.stretches.push_back({hold.clip, hold.track, hold.ticks});
  intended.apart = report.apart;
  intended.commonTracks = task.fit->TakesCommonTracks();
  intended.leftOut = report.leftOut;
  intended.dropped = report.dropped;
  intended.chapters = task.chapters;
  return intended;
}

}  // namespace

// The media of what was adapted is compared sample by sample, by a reader that does not take it
// from where the image does.
Findings Verify(const VerifyTask& task) {
  if (task.everyByte) task.file.ForgetCached();
  const bool isAdapted = task.fit != nullptr;
  const bool comparesMedia = task.everyByte && !isAdapted;
  bool goesOn = true;
  Step last;
  const Progress tell = [&](const Step& step) {
    last = step;
    goesOn = !task.progress || task.progress(step);
    return goesOn;
  };
  Findings found =
      CompareWithImage({task.inputs, task.image, task.output, task.file, comparesMedia, tell});
  if (!found.empty() || !goesOn) return found;
  const Intended intended = isAdapted ? IntendedBy(task) : Intended();
  // Media that was compared already is not told again.
  const Progress tellAgain = [&](const Step&) { return tell(last); };
  return CompareSamples({task.inputs, task.output, task.file, task.everyByte && isAdapted,
                         isAdapted ? &intended : nullptr, comparesMedia ? tellAgain : tell});
}

}  // namespace clipchain
