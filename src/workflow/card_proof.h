// Checks whether all that is on cards stands elsewhere, so that they can be erased.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "foundation/export.h"
#include "workflow/finding.h"
#include "workflow/progress.h"

namespace clipchain {

struct CardProofOptions {
  // Folders; all that lies below them is to be kept.
  std::vector<std::string> cards;
  // Folders; what lies below them keeps it.
  std::vector<std::string> against;
  // Other files than clips are counted, and nothing else.
  bool clipsOnly = false;
  // A clip is kept only if every byte of it is, not its samples alone.
  bool whole = false;
  // Told how many files are found so far, then how many bytes of the cards are compared; false ends
  // the work. May be empty.
  Progress progress;
};

struct PathAndReason {
  std::string path;
  // The rest of a sentence that begins with the path.
  std::string reason;
};

struct CardProof {
  // Each file on the cards, or with `clipsOnly` each clip, stands below the folders: every byte of
  // both sides was compared, and nothing changed meanwhile.
  bool kept = false;
  // There is no answer: the findings say why.
  bool failed = false;
  Findings findings;
  // On the cards.
  std::size_t clips = 0;
  // That these clips make.
  std::size_t recordings = 0;
  // Clips whose samples a result has, while nothing keeps what else stands in them.
  std::size_t withoutOtherData = 0;
  // Files on the cards that are no clips.
  std::size_t others = 0;
  // On the cards: links, pipes, devices.
  std::vector<PathAndReason> leftAside;
  // Folders that keep something on the file system of a card: files can be erased there, but not
  // the whole of it.
  std::vector<PathAndReason> besideCards;
  // In the order of the cards; empty if `kept`.
  std::vector<PathAndReason> notKept;
};

// Looks at every regular file below the cards, whatever its name. A clip, which is a file of whole
// boxes with a movie or fragments among them, is kept by an identical file, by a merged file whose
// every byte is what a merge of this clip and other clips of the cards gives, in the order of their
// identifiers if they have any, or by such a file and its archive of originals. Any other file is
// kept by an identical one. What lies on a card keeps nothing, by whatever way it is reached, and
// neither does a file that shares blocks of the disk with one on a card. Nothing is written, but
// what keeps a clip is flushed to its disk.
[[nodiscard]] CLIPCHAIN_API CardProof ProveCards(const CardProofOptions& options);

}  // namespace clipchain
