// Checks whether an identical file keeps a file of a card.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "adapt/reason.h"
#include "workflow/keeping/card_files.h"
#include "workflow/keeping/comparison.h"
#include "workflow/keeping/kept_files.h"

namespace clipchain {

class CopyProof {
 public:
  CopyProof(CardFiles& cards, KeptFiles& kept, Meter& meter)
      : cards_(cards), kept_(kept), meter_(meter), compare_(meter) {}

  // Looks for a file of the same bytes below the folders, and notes that every byte is kept where
  // there is one.
  void Try(CardFile& file);
  // The same among clips of the cards that are kept themselves: what is proven of one is true of
  // the other. The clip that it is the same as, or the number of files.
  std::size_t TryTwin(CardFile& file);

 private:
  void TryEmpty(CardFile& file);
  std::vector<std::size_t> CandidatesFor(const CardFile& file, ListedBytes& bytes);
  [[nodiscard]] Reason Compare(CardFile& file, KeptFile& candidate);
  const std::optional<std::string>& HashOf(std::size_t candidate);

  CardFiles& cards_;
  KeptFiles& kept_;
  Meter& meter_;
  RangeComparison compare_;
  // Of files that were compared in vain, and the like.
  std::map<std::size_t, std::optional<std::string>> hashes_;
};

}  // namespace clipchain
