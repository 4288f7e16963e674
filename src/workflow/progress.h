// Tells how far a work on clips is. One form for all of it, so that whoever draws it need not know
// what is at work.
#pragma once

#include <cstddef>
#include <functional>

namespace clipchain {

struct Step {
  enum class Phase {
    // Searching folders for clips, or files; `clip` counts those that were found.
    kSearching,
    // Looking at clips to find out what belongs together.
    kLooking,
    kChecking,
    kCopying,
    // Comes behind the flush where every byte is verified: what is read back must come from the
    // disk.
    kVerifying,
    kFlushing
  };

  Phase phase = Phase::kLooking;
  // Index of the clip at work; of the last one in the phases behind the copy.
  std::size_t clip = 0;
  // Bytes: of a merge those of all its clips; of a join those of all its jobs, to copy, to verify
  // where every byte is, and to compare where an output is there already. 0 of 0 where none are
  // counted.
  long long current = 0;
  long long total = 0;
  // How many clips there are; 0 where that is not known.
  std::size_t clips = 0;
  // The recording at work, counted from 1, and how many there are; of a join alone.
  std::size_t job = 0;
  std::size_t jobs = 0;
};

// Told about each step; false ends the work, which then leaves nothing half done. May be empty.
using Progress = std::function<bool(const Step&)>;

}  // namespace clipchain
