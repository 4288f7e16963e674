#include "workflow/merging/verify.h"

#include "adapt/fit.h"
#include "workflow/merging/image_comparison.h"
#include "workflow/oracle/sample_oracle.h"

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

Findings VerifySamples(const VerifyTask& task) {
  const bool isAdapted = task.fit != nullptr;
  const Intended intended = isAdapted ? IntendedBy(task) : Intended();
  return CompareSamples({task.inputs, task.output, task.file, task.everyByte,
                         isAdapted ? &intended : nullptr, task.progress});
}

// The media of what was adapted is compared sample by sample, by a reader that does not take it
// from where the image does.
Findings Verify(const VerifyTask& task) {
  const bool comparesMedia = task.everyByte && task.fit == nullptr;
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
  VerifyTask samples = task;
  samples.progress = tell;
  if (comparesMedia) {
    // What was compared already is not told again.
    samples.everyByte = false;
    samples.progress = [&](const Step&) { return tell(last); };
  }
  return VerifySamples(samples);
}

}  // namespace clipchain
