// Leads from what clips say to the recordings that are proposed. Where what is found out:
//
//   clip_traits, leaf_values, timecode_traits     one look at each movie box: what the clip says
//        |
//   copies                                        one of all files that are the same
//        |
//   family        the clips of one description, and what only all of them show, in this order:
//     name_index    which names follow which
//     split         limits that there may be
//     renumbering   numbers that no camera gave
//     still_clock   times that are not those of a recording
//     clock         of which moment the times are (its custom)
//     chance_limits the limits that clips are followed at
//     timecode      counts that run on over recordings, too
//     identity      values that tell recordings apart
//        |
//   link          two clips: each kind judges (clock, numbers, timecode, split, identity,
//        |        media_clock, file_times), grade says what that makes of the pair
//        |
//   chains        which links hold where several could
//        |
//   completeness  whether a clip is missing
#pragma once

#include <cstddef>
#include <vector>

#include "workflow/evidence/clip_traits.h"
#include "workflow/proposals.h"

namespace clipchain {

// What may be a part of a proposal: a clip, or a sequence that identifiers leave open.
struct EvidenceUnit {
  // One clip, or the first and the last one.
  std::vector<ClipTraits> ends;
  bool identified = false;
  bool openAtHead = true;
  bool openAtTail = true;
};

struct ProposedChain {
  Grade grade = Grade::kPossible;
  bool complete = true;
  // Indexes of what was given, in the order of recording.
  std::vector<std::size_t> units;
  std::vector<Evidence> evidence;
};

// Near linear in the number of units.
std::vector<ProposedChain> ProposeChains(const std::vector<EvidenceUnit>& units);

}  // namespace clipchain
