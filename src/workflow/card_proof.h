// Whether all that is on cards stands elsewhere, so that they can be erased.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "foundation/export.h"
#include "workflow/finding.h"
#include "workflow/progress.h"

namespace clipchain {

struct CardProofOptions {
  std::vector<std::string> cards;    // folders; all that lies below them is to be kept
  std::vector<std::string> against;  // folders; what lies below them keeps it
  bool clipsOnly = false;            // other files than clips are counted, and nothing else
  bool whole = false;  // a clip is kept only if every byte of it is, not its samples alone
  // Told how many bytes of the cards were compared; false ends the work. May be empty.
  Progress progress;
};

struct PathAndReason {
  std::string path;
  std::string reason;  // the rest of a sentence that begins with the path
};

struct CardProof {
  // Each file on the cards, or with `clipsOnly` each clip, stands below the folders: every byte of
  // both sides was compared, and nothing changed meanwhile.
  bool kept = false;
  bool failed = false;  // there is no answer: the findings say why
  Findings findings;
  std::size_t clips = 0;       // on the cards
  std::size_t recordings = 0;  // that they make
  std::size_t withoutOtherData =
      0;                   // clips of which a result has the samples, and nothing the rest
  std::size_t others = 0;  // files on the cards that are no clips
  std::vector<PathAndReason> leftAside;  // on the cards: links, pipes, devices
  // Folders that keep something on the file system of a card: files can be erased there, but not
  // the whole of it.
  std::vector<PathAndReason> besideCards;
  std::vector<PathAndReason> notKept;  // in the order of the cards; empty if `kept`
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
