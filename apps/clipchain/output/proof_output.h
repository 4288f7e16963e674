// Prints whether cards can be erased, and which clips were made again.
#pragma once

#include <string>

#include "clipchain/terminal/paint.h"
#include "workflow/card_proof.h"
#include "workflow/split.h"

namespace clipchain {

// Lists what was passed over, each file that is not kept with its reason, and the sum.
std::string ProofText(const CardProofOptions& options, const CardProof& proof, const Paint& paint);

// Lists each clip that was made, and a line that sums up.
std::string SplitText(const SplitReport& report);

}  // namespace clipchain
