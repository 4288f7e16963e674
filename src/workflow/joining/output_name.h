// Names the results of a join.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>

#include "clip/vireo_mp4.h"

namespace clipchain {

// Whether a result holds its whole recording, which its name says.
enum class Extent { kWhole, kIncomplete };

// Makes "2024-05-06_07-08-09_C0001.mp4" for a first clip ".../C0001.MP4" of that date,
// "unknown-date_…" without one, "…_C0001_incomplete.mp4" for a part of a recording. Characters that
// other file systems refuse become "_", bytes that are no UTF-8 stay. No longer than a name may be;
// UTF-8 is not cut inside of a character.
std::string OutputName(const std::optional<MP4G::_tagSequenceTimedate>& date,
                       const std::string& firstClip, Extent extent = Extent::kWhole);
// The same for a result that holds a rescued clip: "…_C0001-rescued.mp4".
std::string RescuedName(const std::optional<MP4G::_tagSequenceTimedate>& date,
                        const std::string& firstClip, Extent extent);

// Takes off the number that tells a name from an equal one ("…_C0001.mp4" for "…_C0001_2.mp4"), and
// the mark of a part.
std::string WithoutCount(const std::string& outputName);
std::string WithoutMark(const std::string& outputName);

// Puts the mark of a rescue behind a name, and takes it off.
std::string WithRescueMark(const std::string& outputName);
std::string WithoutRescueMark(const std::string& outputName);

// The letters of ASCII in lower case: some file systems do not tell the two apart.
std::string InLowerCase(std::string text);

// Gives out names that differ from each other, upper and lower case aside.
class OutputNames {
 public:
  // Whether a name is to be passed over, because something has it.
  using IsTaken = std::function<bool(const std::string& name)>;

  // Gives OutputName() to the first who asks, "…_C0001_2.mp4" and so on to others.
  std::string Take(const std::optional<MP4G::_tagSequenceTimedate>& date,
                   const std::string& firstClip, Extent extent, const IsTaken& isTaken);
  // The same of RescuedName().
  std::string TakeRescued(const std::optional<MP4G::_tagSequenceTimedate>& date,
                          const std::string& firstClip, Extent extent, const IsTaken& isTaken);
  // Gives that name to nobody else; false if somebody has it.
  bool Reserve(const std::string& name);

 private:
  // Makes a name that ends with the suffix.
  using MakeName = std::function<std::string(const std::string& suffix)>;
  std::string TakeOf(const MakeName& make, const IsTaken& isTaken);

  std::set<std::string> taken_;
  // By name without a count, the last one that was given.
  std::map<std::string, unsigned int> counts_;
};

}  // namespace clipchain
