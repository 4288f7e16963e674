// Tells programs what was found. Not installed, like all that needs a JSON library.
#pragma once

#include "workflow/clips/clip_json.h"
#include "workflow/finding.h"

namespace clipchain {

// Gives all that a finding says; docs/json.md has the fields.
Json FindingJson(const Finding& finding);
Json FindingsJson(const Findings& findings);

}  // namespace clipchain
