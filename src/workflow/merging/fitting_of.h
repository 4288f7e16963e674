// Turns what an application says about fitting clips to each other into what the adaptation takes.
#pragma once

#include <string>
#include <vector>

#include "adapt/fit_options.h"
#include "workflow/check.h"

namespace clipchain {

// The titles of chapters are spelled out, so that they hold wherever the clips lie later.
FitOptions FittingOf(const CheckOptions& options, const std::vector<std::string>& clips);

void SetFitting(CheckOptions& options, const FitOptions& fitting);

// The titles that the result has chapters of, in the order of the clips; empty if it has none.
std::vector<std::string> ChapterTitlesOf(const CheckOptions& options,
                                         const std::vector<std::string>& clips);

}  // namespace clipchain
