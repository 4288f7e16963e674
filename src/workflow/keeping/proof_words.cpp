#include "workflow/proof_words.h"

#include <fmt/format.h>

namespace clipchain {

std::string CountWords(std::size_t number, const char* what) {
  return fmt::format("{} {}{}", number, what, number == 1 ? "" : "s");
}

std::string ProofSumWords(const CardProofOptions& options, const CardProof& proof) {
  const std::string others = CountWords(proof.others, "other file");
  const std::string bare = proof.withoutOtherData == 0
                               ? ""
                               : fmt::format(
                                     ", {} without their other data (thumbnails, notes, "
                                     "dates)",
                                     CountWords(proof.withoutOtherData, "clip"));
  const std::string wanting = CountWords(proof.notKept.size(), "path") + " not kept";
  if (options.clipsOnly)
    return proof.kept ? fmt::format("clips kept: yes, {} NOT looked at{}", others, bare)
                      : fmt::format("clips kept: NO, {}, {} NOT looked at", wanting, others);
  if (!proof.kept) return "NOT safe to erase: " + wanting;
  return fmt::format("safe to erase: yes, {} in {}, {} copied{}", CountWords(proof.clips, "clip"),
                     CountWords(proof.recordings, "recording"), others, bare);
}

}  // namespace clipchain
