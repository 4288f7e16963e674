// Finds out how a result that is there already was made.
#pragma once

#include <string>
#include <vector>

#include "workflow/fitting.h"

namespace clipchain {

// As it was asked for now, as far as the result does not show otherwise: it was made with chapters
// if it has one for each clip and the first clip brought none. These are to have the names of the
// clips, or the titles that its archive of originals keeps: of any other ones nobody could say that
// they were not changed.
Fitting FittingOfResult(const std::string& result, const std::vector<std::string>& clips,
                        const Fitting& asked);

}  // namespace clipchain
