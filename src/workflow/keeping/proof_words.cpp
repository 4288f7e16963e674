#include "workflow/proof_words.h"

#include <fmt/format.h>

#include "workflow/findings/clip_words.h"

namespace clipchain {

std::string ProofSumWords(const CardProofOptions& options, const CardProof& proof) {
  const std::string others = Counted(proof.others, "other file");
  const std::string bare = proof.withoutOtherData == 0
                               ? ""
                               : fmt::format(
                                     ", {} without their other data (thumbnails, notes, "
                                     "dates)",
                                     Counted(proof.withoutOtherData, "clip"));
  const std::string wanting = Counted(proof.notKept.size(), "path") + " not kept";
  if (options.clipsOnly)
    return proof.kept ? fmt::format("clips kept: yes, {} NOT looked at{}", others, bare)
                      : fmt::format("clips kept: NO, {}, {} NOT looked at", wanting, others);
  if (!proof.kept) return "NOT safe to erase: " + wanting;
  return fmt::format("safe to erase: yes, {} in {}, {} copied{}", Counted(proof.clips, "clip"),
                     Counted(proof.recordings, "recording"), others, bare);
}

}  // namespace clipchain
