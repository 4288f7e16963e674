// Tells programs what is kept, and which clips were made again; docs/json.md has the fields. Not
// installed, like all that needs a JSON library.
#pragma once

#include <string>

#include "workflow/card_proof.h"
#include "workflow/clips/clip_json.h"
#include "workflow/split.h"

namespace clipchain {

Json ProofJson(const CardProofOptions& options, const CardProof& proof);
Json SplitJson(const std::string& merged, const SplitReport& report);

}  // namespace clipchain
