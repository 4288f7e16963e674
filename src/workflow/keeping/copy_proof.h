// Checks whether an identical file keeps a file of a card.
#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "adapt/reason.h"
#include "workflow/keeping/alike_files.h"
#include "workflow/keeping/card_files.h"
#include "workflow/keeping/comparison.h"
#include "workflow/keeping/kept_files.h"

namespace clipchain {

class CopyProof {
 public:
  CopyProof(CardFiles& cards, KeptFiles& kept, Meter& meter);
  // The files that are compared are found through it.
  CopyProof(const CopyProof&) = delete;
  CopyProof& operator=(const CopyProof&) = delete;

  // Looks for a file of the same bytes below the folders, and notes that every byte is kept where
  // there is one.
  void Try(CardFile& file);

  // Indexes of files of the cards.
  struct Twins {
    std::size_t clip;
    // It is the same, and was kept.
    std::size_t other;
  };
  // Looks for the same among clips of the cards that are kept themselves, for each that is not:
  // what is proven of one is true of the other.
  std::vector<Twins> FindTwins();

 private:
  void TryEmpty(CardFile& file);
  [[nodiscard]] Reason Compare(CardFile& file, KeptFile& candidate);
  std::optional<std::size_t> FindTwin(const CardFile& file, AlikeFiles& keptOnes);

  CardFiles& cards_;
  KeptFiles& kept_;
  Meter& meter_;
  RangeComparison compare_;
  // Those below the folders.
  AlikeFiles alike_;
};

}  // namespace clipchain
