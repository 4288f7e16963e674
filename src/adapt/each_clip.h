// Looks at clips of which each is adapted by itself.
#pragma once

#include <cstddef>
#include <utility>
#include <vector>

#include "adapt/adaptation.h"
#include "adapt/at_once.h"

namespace clipchain {

// Calls `look` with each clip, its index and a report for what it says of that clip, a few clips at
// once. The report gets all of it in the order of the clips.
template <typename Look>
void ForEachClip(FitClips& clips, FitReport& report, const Look& look) {
  std::vector<FitReport> reports(clips.size());
  ForEachAtOnce(0, clips.size(), [&](std::size_t i) { look(clips[i], i, reports[i]); });
  for (FitReport& ofClip : reports) report.Append(std::move(ofClip));
}

}  // namespace clipchain
