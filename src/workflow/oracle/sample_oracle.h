// Checks whether a merged file holds what its clips hold, found out by reading all of them.
#pragma once

#include <cstddef>
#include <set>
#include <string>
#include <vector>

#include "workflow/finding.h"
#include "workflow/progress.h"
#include "workflow/system/file_bytes.h"

namespace clipchain {

// The last sample of one track of a clip is shown longer than in the clip.
struct SeamStretch {
  // Index of the clip that ends there.
  std::size_t clip;
  // Identifier of the track in the result.
  unsigned int track;
  // Ticks of the result's media time scale, no more than these.
  unsigned long long most;
};

// What a merge that adapts its clips did on purpose.
struct Intended {
  // All there are. Whether the rule of `apart` asks for them is found out, too.
  std::vector<SeamStretch> stretches{};
  // Seconds by which the tracks of a clip may lie otherwise to each other than in the clip: a frame
  // of sound. So that they lie no farther apart, the last sample of a track that is behind is shown
  // longer where a clip follows. Negative: no sample is, and tracks lie as they happen to.
  double apart = -1;
  // Tracks that not every clip has are not in the result: those of the first clip by their
  // identifiers, those of later clips whichever they are.
  bool commonTracks = false;
  std::set<unsigned int> leftOut{};
  // Types of boxes below "moov" that the result lacks and a note said so: 'sbgp', 'subs', 'sdtp'.
  std::set<unsigned int> dropped{};
  // Titles of chapters, of which each clip begins one where its first picture is shown; empty: the
  // result has the first clip's chapters, if that has any.
  std::vector<std::string> chapters{};
};

struct OracleTask {
  // The clips themselves, in the order of the merge.
  const std::vector<std::string>& inputs;
  // As findings name it.
  std::string output;
  // Reads the output.
  FileBytes& file;
  // Compare the bytes of all samples, not only around seams and chunks.
  bool everyByte = false;
  // Whatever else differs is found. Null: the engine alone made the result, of which no more is
  // asked than what the samples themselves are.
  const Intended* intended = nullptr;
  // Told how many bytes were compared; false ends the work without a finding.
  Progress progress{};
};

// Reads every sample off the clips and off the result, by a reader of its own that shares nothing
// with what merges, and compares in decode order: number, size, bytes, decode time steps,
// composition offsets, sync flags, dependencies ("sdtp"), groups, sub-samples, and the description
// that each sample points at, byte for byte but for declared bit rates, which must be the largest.
// What an edit list makes of the times must keep a clip's tracks together, and show the media to
// its end. The other boxes of the first clip's movie must stand in the result as they are. Nothing
// is found in a file that passes. Takes time in proportion to the tables, and memory for the tables
// of the result and of one clip.
//
// A track of the result continues in that track of a clip which is of the same kind (handler) with
// the same descriptions; among several the one of the same name and language, else the first.
Findings CompareSamples(const OracleTask& task);

}  // namespace clipchain
