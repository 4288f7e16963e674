// What a proof that cards are kept comes to, in words.
#pragma once

#include <cstddef>
#include <string>

#include "foundation/export.h"
#include "workflow/card_proof.h"

namespace clipchain {

// "1 clip", "57 clips".
CLIPCHAIN_API std::string CountWords(std::size_t number, const char* what);

// "safe to erase: yes, 57 clips in 12 recordings, 112 other files copied", or what keeps it from
// being so. Where only clips were looked at, never those words.
CLIPCHAIN_API std::string ProofSumWords(const CardProofOptions& options, const CardProof& proof);

}  // namespace clipchain
