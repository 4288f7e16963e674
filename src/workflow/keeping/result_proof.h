// Checks whether a file is what a merge of clips gives, so that they are kept in it.
#pragma once

#include <set>
#include <string>
#include <utility>
#include <vector>

#include "adapt/reason.h"
#include "workflow/assembling/merge_image.h"
#include "workflow/keeping/card_files.h"
#include "workflow/keeping/card_order.h"
#include "workflow/keeping/comparison.h"
#include "workflow/keeping/kept_files.h"
#include "workflow/keeping/media_chains.h"
#include "workflow/keeping/originals_archive.h"

namespace clipchain {

class ResultProof {
 public:
  ResultProof(CardFiles& cards, KeptFiles& kept, CardOrder& order, Meter& meter);

  // Looks whether the file is a result with an archive beside it, and if they and the clips fit
  // each other in every byte, notes that every byte of the clips is kept. With an archive that does
  // not fit the file keeps nothing.
  void TryArchive(KeptFile& result);
  // The same of a result by itself: the samples of its clips are kept. Clips of which it is known
  // already need not be kept once more.
  void TryContent(KeptFile& result);

 private:
  // A clip of an archive, and the files of the cards that have been the same so far.
  using Candidates = std::vector<std::size_t>;
  // Where in the result, and which clip.
  using PlacedClips = std::set<std::pair<unsigned long long, std::size_t>>;

  // `elsewhere` becomes true where the archive has a clip that is not on the cards.
  [[nodiscard]] Reason CheckArchive(KeptFile& result, ListedBytes& bytes, KeptFile& archive,
                                    bool& elsewhere);
  [[nodiscard]] Reason CompareClip(ListedBytes& bytes, OriginalsReader& reader, std::size_t clip,
                                   Candidates& candidates, PassingHash& hash);
  // `ofItsSize` gets those that may be it by their size, too.
  Candidates CandidatesFor(const OriginalClip& clip, ListedBytes& bytes, Candidates& ofItsSize);
  [[nodiscard]] Reason CheckImage(KeptFile& result, ListedBytes& bytes, const Originals& contents,
                                  const std::vector<std::size_t>& clips);

  bool Fits(KeptFile& result, ListedBytes& bytes, const Layout& layout,
            const std::vector<std::size_t>& clips, MergeImage& image);
  bool IsNamed(std::size_t clip, const std::vector<std::string>& titles, std::size_t chapter) const;
  bool AreNamed(const std::vector<std::size_t>& clips,
                const std::vector<std::string>& titles) const;
  [[nodiscard]] Reason LossOf(const std::vector<std::size_t>& clips,
                              const FitOptions& options) const;
  // Whether a merge has one of these clips there.
  static bool HasAny(const PlacedClips& others, const MergeImage& image,
                     const std::vector<std::size_t>& clips);
  // A clip of which other media stands in the result than its own is added to `others`.
  [[nodiscard]] Reason CompareContent(KeptFile& result, ListedBytes& bytes,
                                      const std::vector<std::size_t>& clips,
                                      const MergeImage& image, PlacedClips& others);
  bool OwnBytesFit(KeptFile& result, ListedBytes& bytes, const MergeImage& image);

  void Keep(const std::vector<std::size_t>& clips, Keeping keeping);
  void BlameUnusable(const KeptFile& result);
  void BlameAllOf(ListedBytes& bytes, const std::string& reason);
  void Blame(const std::vector<std::size_t>& clips, const std::string& reason);
  std::vector<std::string> PathsOf(const std::vector<std::size_t>& clips) const;

  CardFiles& cards_;
  KeptFiles& kept_;
  CardOrder& order_;
  Meter& meter_;
  RangeComparison compare_;
  MediaChains chains_;
};

}  // namespace clipchain
