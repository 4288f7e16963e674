// Says in words what a proof that cards are kept comes to.
#pragma once

#include <string>

#include "foundation/export.h"
#include "workflow/card_proof.h"

namespace clipchain {

// "safe to erase: yes, 57 clips in 12 recordings, 112 other files copied", or what keeps it from
// being so. Where only clips were looked at, never those words.
CLIPCHAIN_API std::string ProofSumWords(const CardProofOptions& options, const CardProof& proof);

}  // namespace clipchain
