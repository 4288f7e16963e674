// Reads what a track says about samples beside its sample table proper: groups ("sbgp" with "sgpd",
// ISO/IEC 14496-12, clause 8.9), sub-samples ("subs", clause 8.7.7) and how they are protected.
#pragma once

#include <map>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "workflow/oracle/sample_protection.h"
#include "workflow/oracle/sample_reader.h"

namespace clipchain::samples {

// Numbers for the descriptions of groups: the same one for the same bytes, whatever file they stand
// in and wherever. 0 stands for no group.
class GroupNames {
 public:
  unsigned int Of(std::string description) {
    return numbers_.emplace(std::move(description), numbers_.size() + 1).first->second;
  }

 private:
  std::unordered_map<std::string, unsigned int> numbers_;
};

// One after the other; samples behind the last one belong to no group.
struct GroupRun {
  Number count;
  unsigned int group;
};

// Type and its parameter.
using GroupKey = std::pair<std::uint32_t, std::uint32_t>;

struct SubSamples {
  // Counts from 0.
  Number sample;
  // Of the box.
  std::uint32_t flags;
  // Over all that is said of the sample.
  Number hash;

  bool operator==(const SubSamples&) const = default;
};

struct SampleExtras {
  std::map<GroupKey, std::vector<GroupRun>> groups;
  // By sample.
  std::vector<SubSamples> subSamples;
  ToldProtection protection;
};

// All that a track says, tables and fragments. False where a fragment can't be read again.
bool ReadExtras(const SampleFile& file, const TrackView& track, GroupNames& names,
                SampleExtras& extras);

}  // namespace clipchain::samples
