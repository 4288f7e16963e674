// How the result of a join is called.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>

#include "clip/vireo_mp4.h"

namespace clipchain {

// "2024-05-06_07-08-09_C0001.mp4" for a first clip ".../C0001.MP4" of that date, "unknown-date_…"
// without one. Characters that other file systems refuse become "_", bytes that are no UTF-8 stay.
// No longer than a name may be; UTF-8 is not cut inside of a character.
std::string OutputName(const std::optional<MP4G::_tagSequenceTimedate>& date,
                       const std::string& firstClip);

// The name without the number that tells it from an equal one: "…_C0001.mp4" for "…_C0001_2.mp4".
std::string WithoutCount(const std::string& outputName);

// Gives out names that differ from each other, upper and lower case aside, which some file systems
// do not tell apart.
class OutputNames {
 public:
  // OutputName() for the first who asks; "…_C0001_2.mp4" and so on for others.
  std::string Take(const std::optional<MP4G::_tagSequenceTimedate>& date,
                   const std::string& firstClip);

 private:
  std::set<std::string> taken_;
  std::map<std::string, unsigned int>
      counts_;  // by name without a count, the last one that was given
};

}  // namespace clipchain
