// Adapts clips to each other, and tells of it in the words of the workflow.
#pragma once

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "adapt/fit.h"
#include "adapt/times/seams.h"
#include "workflow/assembling/merge_image.h"
#include "workflow/check.h"
#include "workflow/findings/file_findings.h"
#include "workflow/fitting.h"

namespace clipchain {

struct FittedClips {
  // Null if nothing may be adapted, if a clip can't be read, or if the clips fit as they are and
  // nothing speaks against them.
  std::shared_ptr<const Fit> fit{};
  // Indices of those that could not be read.
  std::set<std::size_t> unread{};
  // The sample tables of all clips together, as a multiple of the first one's; 1 if that is not
  // known.
  double growth = 1;
  // When the tracks are shown; empty for a clip alone, and where that is not known.
  ClipClocks clocks{};
};

// Finds out what a merge adapts. `memoryLimit` as for a check.
FittedClips FitOf(const std::vector<std::string>& inputs, const Fitting& fitting,
                  long long memoryLimit);

std::vector<Adapted> AdaptationsOf(const Fit& fit, const std::vector<std::string>& inputs);

// What speaks against a clip; a problem that is found already is not told again.
void AddFitProblems(const Fit& fit, std::size_t clip, FileFindings& findings);

// What a check finds out for a merge of the same clips.
struct CheckedMerge {
  // Null if a merge takes them as they are.
  std::shared_ptr<const Fit> fit;
  // Of the result; without pieces where there will be none.
  MergeImage image;
};

// Checks clips and tells those, too, of a result of that layout, which shares no blocks.
CheckReport CheckFitted(const std::vector<std::string>& inputs, const CheckOptions& options,
                        const Layout& layout, CheckedMerge& merge);

}  // namespace clipchain
