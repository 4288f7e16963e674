// Prints what was adapted, or would be, for people and for programs.
#pragma once

#include <string>
#include <vector>

#include "workflow/clips/clip_json.h"
#include "workflow/fitting.h"

namespace clipchain {

// Lists each kind of adaptation in a line, behind `lead`: "adapted: boxes at …  (2 of 3 clips)".
// Empty if nothing is adapted.
std::string AdaptationsText(const std::vector<Adapted>& adaptations, const std::string& lead,
                            std::size_t clips);

// Lists each adaptation of each clip: an array of objects with "name", "path", "track" and "text".
Json AdaptationsJson(const std::vector<Adapted>& adaptations);

}  // namespace clipchain
