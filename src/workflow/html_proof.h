// Shows a proof that cards are kept, as a page to put away with the results.
#pragma once

#include <string>

#include "foundation/export.h"
#include "workflow/card_proof.h"

namespace clipchain {

// Writes one HTML document in UTF-8 that needs nothing else: what was asked, when, and what came
// out, with each file that is not kept and why. `when` is shown as it is.
CLIPCHAIN_API std::string HtmlProof(const CardProofOptions& options, const CardProof& proof,
                                    const std::string& when);

}  // namespace clipchain
